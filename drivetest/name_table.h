// Enumerators and their names, as users read them and as the history holds them.
#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace drivetest {

template <class Value, std::size_t kCount>
using NameTable = std::array<std::pair<Value, std::string_view>, kCount>;

// The table has every enumerator.
template <class Value, std::size_t kCount>
constexpr std::string_view name_in(const NameTable<Value, kCount>& table, Value value) {
  for (const auto& [one, name] : table)
    if (one == value) return name;
  return {};
}

template <class Value, std::size_t kCount>
constexpr std::optional<Value> named_in(const NameTable<Value, kCount>& table,
                                        std::string_view name) {
  for (const auto& [value, one] : table)
    if (one == name) return value;
  return std::nullopt;
}

}  // namespace drivetest
