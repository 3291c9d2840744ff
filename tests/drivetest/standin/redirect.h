/* Which paths of a tool lead to the stand-in's machine instead of the real one. */
#pragma once

#include "tests/drivetest/standin/drive_file.h"

/* The folder that STANDIN_STATE names; null when it is not set: then nothing is redirected. */
const char* stand_in_folder(void);

/* The place of `path` below the stand-in's machine, in `place` of PathSize bytes, if it is one of
 * the paths by which tools find drives; else `path` itself. Everything else stays as it is. */
const char* redirected(const char* path, char* place);

/* The node that a path names, through links as of /dev/disk/by-id, into `node` of PathSize bytes.
 * False when it is no node of the stand-in's machine; errno is then set. */
bool resolve_node(const char* path, char* node);
