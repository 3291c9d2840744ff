// For tests: work on the smallest stack that object managers give their requests, 256 KiB.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>

// Returns when the work has ended; the work must not throw. Fails an assertion when no thread can
// be started. Instrumented code gets a larger stack.
inline void on_small_stack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, std::size_t{256} * 1024);
  pthread_t thread;
  const auto perform = [](void* data) -> void* {
    (*static_cast<const std::function<void()>*>(data))();
    return nullptr;
  };
  const int error =
      pthread_create(&thread, &attributes, perform, const_cast<std::function<void()>*>(&work));
  pthread_attr_destroy(&attributes);
  ASSERT_EQ(error, 0);
  pthread_join(thread, nullptr);
}
