#include "cli/memory.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace cli {
namespace {

// In bytes; 0 where it cannot be told.
std::size_t resident() {
  std::ifstream file("/proc/self/statm");
  std::size_t all = 0, resident = 0;
  file >> all >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

void bound_heaps() {
  constexpr int kHeaps = 4;
  if (!std::getenv("MALLOC_ARENA_MAX")) mallopt(M_ARENA_MAX, kHeaps);
}

FreeMemory::State FreeMemory::state() { return {resident(), mallinfo2().uordblks}; }

void FreeMemory::look() {
  if (state() == last_) return;
  malloc_trim(0);
  last_ = state();
}

}  // namespace cli
