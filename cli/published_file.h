// A file that other programs read while it is written anew.
#pragma once

#include <string>
#include <string_view>

namespace cli {

// Puts the text in the file's place, for everybody to read (mode 0644). Readers find the former
// file or the new one, never a part of it, also when the process is killed or the disk is full. A
// link, a folder or a device in the file's place is left as it is. Blocks until the disk has the
// text. Throws CommandFailure, and then nothing has changed.
void publish(const std::string& file, std::string_view text);

}  // namespace cli
