// The id of this process without a system call for each log line. Internal to the logger.
#pragma once

#include <sys/types.h>

namespace NKVRHVX20 {

// Right in a forked child too, also where the host forked it: the kernel empties the page where the
// id is kept. May be called by any thread. The child of a vfork, which shares our memory, gets its
// parent's.
pid_t process_id() noexcept;

}  // namespace NKVRHVX20
