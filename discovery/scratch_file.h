// Shell commands whose output is read back through a scratch file.
#pragma once

#include <optional>
#include <string>

namespace discovery {

// What the shell command leaves in /tmp/sgMap.txt, up to the first NUL; not set when the file
// cannot be opened or is a pipe, is larger than 16 MiB, or there is no memory for it. Blocks until
// the command has ended, and removes the file. Throws std::bad_alloc only before the command runs.
// One caller at a time: the file is one for the whole machine.
//
// Kept on purpose: a fixed name that everybody knows, and a report made anew for every question,
// since the answer depends on the report at that moment.
std::optional<std::string> through_scratch_file(const std::string& command);

}  // namespace discovery
