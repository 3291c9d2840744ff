// The lock around one access to what all providers share.
#pragma once

#include <mutex>

namespace engine {

// Held around one access to the engine's lists, to the pointer of its instance or to the job
// counter; never over a call to the object manager, to a program or to another holder. The
// engine's members take it themselves; the records and jobs they hand out are copies.
std::mutex& store_lock();

}  // namespace engine
