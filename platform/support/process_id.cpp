#include "platform/support/process_id.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace NKVRHVX20 {

namespace {

using KnownId = std::atomic<pid_t>;  // 0: not known

// Stays for the life of the process.
constinit std::atomic<KnownId*> place{nullptr};

// Null where the kernel (before 4.14) does not empty pages.
KnownId* make_place() noexcept {
  constexpr std::size_t kSize = 4096;
  void* const page =
      mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) return nullptr;
  KnownId* present = nullptr;
  if (madvise(page, kSize, MADV_WIPEONFORK) == 0) {
    auto* const made = new (page) KnownId(0);
    if (place.compare_exchange_strong(present, made)) return made;
  }
  munmap(page, kSize);
  return present;
}

}  // namespace

pid_t process_id() noexcept {
  KnownId* known = place.load(std::memory_order_acquire);
  if (known == nullptr) known = make_place();
  if (known == nullptr) return getpid();
  pid_t id = known->load(std::memory_order_relaxed);
  if (id != 0) return id;
  id = getpid();
  known->store(id, std::memory_order_relaxed);
  return id;
}

}  // namespace NKVRHVX20
