// Shell commands whose output is read back through a scratch file.
#pragma once

#include <optional>
#include <string>

namespace discovery {

// What the shell command leaves in /tmp/sgMap.txt, up to the first NUL. Not set when it cannot be
// known: the file cannot be made or read, the shell has not written to it, or not to this one, the
// command has not ended after 300 seconds, the report is larger than 16 MiB, or there is no memory.
// Blocks until the command has ended, or for that time, and removes the file; while another process
// is at it, waits (process_lock.h). One caller at a time in a process.
//
// The file is made before the shell opens it by its name, and is read by the descriptor of its
// making. Whatever stood in its place is removed first. So no file, link or pipe of somebody else
// is written, and none is believed.
//
// Kept on purpose: a fixed name that everybody knows, and a report made anew for every question,
// since the answer depends on the report at that moment.
std::optional<std::string> through_scratch_file(const std::string& command);

}  // namespace discovery
