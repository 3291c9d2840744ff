// Random numbers that are the same on every machine, from a seed.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>

namespace random_lives {

class Dice {
 public:
  explicit Dice(std::uint64_t seed) : numbers_(seed) {}

  // 0 to below - 1.
  std::int64_t below(std::int64_t below) {
    return static_cast<std::int64_t>(numbers_() % static_cast<std::uint64_t>(below));
  }
  // True once in so many times.
  bool once_in(std::int64_t times) { return below(times) == 0; }

  template <class Value>
  Value one_of(std::initializer_list<Value> values) {
    return values.begin()[below(static_cast<std::int64_t>(values.size()))];
  }

 private:
  std::mt19937_64 numbers_;
};

}  // namespace random_lives
