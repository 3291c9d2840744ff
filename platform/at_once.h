// Work on many things, several at a time. A leaf: any folder may use it.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace platform {

// Calls work(index) for each index below count, at most so many at a time, one of them on this
// thread; where no thread can be started there are fewer. Blocks until all is done. What one call
// throws is thrown here at the end, once the others were made.
template <class Work>
void at_once(std::size_t count, std::size_t most, const Work& work) {
  std::atomic<std::size_t> next = 0;
  std::exception_ptr thrown;
  std::mutex lock;
  const auto work_on = [&] {
    for (std::size_t index = next++; index < count; index = next++) {
      try {
        work(index);
      } catch (...) {
        const std::lock_guard guard(lock);
        if (!thrown) thrown = std::current_exception();
      }
    }
  };
  {
    std::vector<std::jthread> threads;
    try {
      for (std::size_t i = 1; i < std::min(most, count); ++i) threads.emplace_back(work_on);
    } catch (const std::system_error&) {
      // Fewer at once, then.
    } catch (const std::bad_alloc&) {
      // The same.
    }
    work_on();
  }
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace platform
