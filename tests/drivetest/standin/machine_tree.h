/* The machine that the stand-in's drives are in: sysfs, nodes and links by identity, in the folder
 * "machine" of the state folder, laid out and linked as the kernel and udev do. */
#pragma once

/* Makes it anew from the drives. A program that reads it at this moment may find it half made. */
void machine_tree_make(const char* folder);
