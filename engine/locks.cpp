#include "engine/locks.h"

#include <type_traits>

namespace engine {

std::mutex& store_lock() {
  // Never destroyed, since the object manager may still call from other threads while the process
  // ends.
  static_assert(std::is_trivially_destructible_v<std::mutex>);
  static std::mutex lock;
  return lock;
}

}  // namespace engine
