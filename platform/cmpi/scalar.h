// Converts single values by their meaning, since object managers deliver keys and untyped arguments
// in wider or other types than the class declares.
#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

#include "platform/framework/types.h"

namespace ovk_cimple {

using Scalar = std::variant<bool, std::uint64_t, std::int64_t, double, std::string>;

// The value as a T, or nothing when a T cannot hold it: a number out of range, a fraction for an
// integer, a text that is more than a number.
template <class T>
std::optional<T> convert(const Scalar& scalar);

namespace detail {

template <class T>
std::optional<T> parse(const std::string& text) {
  T value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

template <class T>
std::string print(T value) {
  char digits[32];
  return std::string(digits, std::to_chars(digits, std::end(digits), value).ptr);
}

template <class T>
struct Convert;

template <std::integral T>
struct Convert<T> {
  using Converted = std::optional<T>;
  Converted operator()(bool value) const { return static_cast<T>(value); }
  template <std::integral From>
  Converted operator()(From value) const {
    return std::in_range<T>(value) ? Converted(static_cast<T>(value)) : std::nullopt;
  }
  Converted operator()(double value) const {
    // Both limits are powers of two, so that a floating-point number holds them exactly.
    constexpr int kBits = 8 * sizeof(T) - std::signed_integral<T>;
    const double beyond = std::ldexp(1.0, kBits);
    const double least = std::signed_integral<T> ? -beyond : 0.0;
    if (!(value >= least && value < beyond) || value != std::trunc(value)) return std::nullopt;
    return static_cast<T>(value);
  }
  Converted operator()(const std::string& text) const { return parse<T>(text); }
};

template <>
struct Convert<bool> {
  using Converted = std::optional<bool>;
  Converted operator()(bool value) const { return value; }
  template <class Number>
  Converted operator()(Number value) const {
    if (value == Number(0)) return false;
    return value == Number(1) ? Converted(true) : std::nullopt;
  }
  Converted operator()(const std::string& text) const {
    if (same_name(text.c_str(), "true")) return true;
    return same_name(text.c_str(), "false") ? Converted(false) : std::nullopt;
  }
};

template <>
struct Convert<char16> {
  using Converted = std::optional<char16>;
  template <class From>
  Converted operator()(From value) const {
    const auto unit = Convert<std::uint16_t>()(value);
    return unit ? Converted(*unit) : std::nullopt;
  }
  Converted operator()(const std::string& text) const {
    if (text.size() != 1 || static_cast<unsigned char>(text[0]) >= 0x80) return std::nullopt;
    return static_cast<char16>(text[0]);
  }
};

template <std::floating_point T>
struct Convert<T> {
  using Converted = std::optional<T>;
  template <class Number>
  Converted operator()(Number value) const {
    return static_cast<T>(value);
  }
  Converted operator()(const std::string& text) const { return parse<T>(text); }
};

template <>
struct Convert<String> {
  using Converted = std::optional<String>;
  Converted operator()(bool value) const { return value ? "true" : "false"; }
  template <class Number>
  Converted operator()(Number value) const {
    return print(value);
  }
  Converted operator()(const std::string& text) const { return text; }
};

}  // namespace detail

template <class T>
std::optional<T> convert(const Scalar& scalar) {
  return std::visit(detail::Convert<T>(), scalar);
}

}  // namespace ovk_cimple
