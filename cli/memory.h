// Memory of a process that now and then serves many clients. The C library keeps what they used;
// this gives it back.
#pragma once

#include <cstddef>

namespace cli {

// Limits the number of heaps that threads share. Otherwise there are several for each processor,
// and each keeps the memory that was freed in it last. Call it before there are threads.
// MALLOC_ARENA_MAX in the environment takes precedence.
void bound_heaps();

// Gives free memory back to the system.
class FreeMemory {
 public:
  // To be called every few seconds. Costs next to nothing when nothing was done meanwhile.
  void look();

 private:
  // All work changes one of these, if only by a page.
  struct State {
    std::size_t resident = 0;
    std::size_t used = 0;  // of the heaps
    bool operator==(const State&) const = default;
  };
  static State state();

  State last_;  // when memory was given back last
};

}  // namespace cli
