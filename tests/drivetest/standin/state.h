/* The folder that holds the stand-in's drives and its clock, so that several processes see the
 * same. */
#pragma once

#include "tests/drivetest/standin/drive_file.h"

/* Holds the folder's lock, for it alone, until state_unlock. Blocks. Returns -1 when it cannot. */
int state_lock(const char* folder);
void state_unlock(int lock);

/* Seconds; 0 when there is no clock yet. */
int64_t state_clock(const char* folder);
bool state_set_clock(const char* folder, int64_t seconds);

/* The file of a drive. `path` has PathSize bytes. */
void state_drive_path(const char* folder, const char* name, char* path);
bool state_load(const char* folder, const char* name, struct StandInDrive* drive);
bool state_save(const char* folder, const char* name, const struct StandInDrive* drive);

/* Calls `each` with the name of every drive, in the order of names, until it returns true. */
bool state_each(const char* folder, bool (*each)(const char* name, void* what), void* what);
/* The name of the drive at a node such as /dev/sda, into PathSize bytes; false when there is none.
 */
bool state_find(const char* folder, const char* node, char* name);
