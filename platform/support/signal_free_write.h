// Writing without the signals that would end the host. Internal to the logger.
#pragma once

#include <string_view>

namespace NKVRHVX20 {

// One write of the whole text; returns the error number, or 0. A broken pipe or a file size limit
// sends the calling thread a signal, which is held back and taken away again; its disposition stays
// the host's.
int write_without_signal(int descriptor, std::string_view text);

}  // namespace NKVRHVX20
