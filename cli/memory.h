// Memory of a process that serves a crowd now and then: what the crowd took, the C library keeps.
#pragma once

#include <cstddef>

namespace cli {

// Bounds the number of heaps that threads share, which is otherwise a multiple of the processors:
// each keeps what was free in it last. Before there are threads. MALLOC_ARENA_MAX in the
// environment has precedence.
void bound_heaps();

// Gives free memory back to the system.
class FreeMemory {
 public:
  // To be called every few seconds. Costs next to nothing when nothing was done meanwhile.
  void look();

 private:
  // Whoever works changes one of these, and be it by a page.
  struct State {
    std::size_t resident = 0;
    std::size_t used = 0;  // of the heaps
    bool operator==(const State&) const = default;
  };
  static State state();

  State last_;  // when memory was given back last
};

}  // namespace cli
