// The text forms of values, and the conversions between types.
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>

#include "broker/date_time.h"
#include "broker/error.h"
#include "broker/instance_value.h"
#include "broker/object_path.h"
#include "broker/value.h"
#include "platform/utf8.h"

namespace broker {
namespace {

[[noreturn]] void refuse(std::string_view text, std::string_view reason) {
  throw Error(Status::InvalidParameter, "\"" + std::string(text) + "\" " + std::string(reason));
}

unsigned bits_of(Type type) {
  switch (type) {
    case Type::Uint8:
    case Type::Sint8:
      return 8;
    case Type::Uint16:
    case Type::Sint16:
      return 16;
    case Type::Uint32:
    case Type::Sint32:
      return 32;
    default:
      return 64;
  }
}

// The integer with this sign and size as a value of the type, if it fits.
std::optional<Value> fit_integer(Type type, bool negative, std::uint64_t magnitude) {
  const unsigned bits = bits_of(type);
  const std::uint64_t top = std::numeric_limits<std::uint64_t>::max() >> (64 - bits);
  if (is_unsigned(type)) {
    if (magnitude > (negative ? 0 : top)) return std::nullopt;
    return Value::integer(type, magnitude);
  }
  if (magnitude > top / 2 + (negative ? 1 : 0)) return std::nullopt;
  return Value::integer(type, negative ? 0 - magnitude : magnitude);
}

Value parse_integer(Type type, std::string_view text) {
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (!digits.empty() && (negative || digits.front() == '+')) digits.remove_prefix(1);
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits.remove_prefix(2);
    base = 16;
  }
  std::uint64_t magnitude = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
  if (digits.empty() || end != digits.data() + digits.size() ||
      error == std::errc::invalid_argument) {
    refuse(text, "is no integer");
  }
  std::optional<Value> value;
  if (error == std::errc()) value = fit_integer(type, negative, magnitude);
  if (!value) refuse(text, "does not fit into " + std::string(type_name(type)));
  return *value;
}

Value parse_real(Type type, std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || end != text.data() + text.size() || error != std::errc()) {
    refuse(text, "is no real number");
  }
  if (type == Type::Real64) return Value(value);
  if (std::isfinite(value) && std::fabs(value) > std::numeric_limits<float>::max()) {
    refuse(text, "does not fit into real32");
  }
  return Value(static_cast<float>(value));
}

// One character of the basic plane.
Value parse_char16(std::string_view text) {
  if (!text.empty()) {
    const auto [character, length] = platform::first_utf8(text);
    if (length == text.size() && character <= 0xFFFF)
      return Value(static_cast<char16_t>(character));
  }
  refuse(text, "is not one character");
}

Value parse_scalar(Type type, std::string_view text) {
  if (is_integer(type)) return parse_integer(type, text);
  if (is_real(type)) return parse_real(type, text);
  switch (type) {
    case Type::Boolean:
      if (same_name(text, "true")) return Value(true);
      if (same_name(text, "false")) return Value(false);
      refuse(text, "is neither true nor false");
    case Type::Char16:
      return parse_char16(text);
    case Type::None:
    case Type::String:
      return Value(text);
    case Type::Datetime:
      if (is_datetime(text)) return Value::datetime(std::string(text));
      refuse(text, "is no datetime (yyyymmddhhmmss.uuuuuu+ooo or ddddddddhhmmss.uuuuuu:000)");
    case Type::Reference:
      return Value(ObjectPath::parse(text));
    default:
      refuse(text, "cannot be read as " + std::string(type_name(type)));
  }
}

std::string number_text(double value) {
  std::string text(32, '\0');
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  text.resize(error == std::errc() ? static_cast<std::size_t>(end - text.data()) : 0);
  return text;
}

std::string char_text(std::uint64_t unit) {
  std::string text;
  platform::append_utf8(text, static_cast<char16_t>(unit));
  return text;
}

std::string in_quotes(std::string_view text) {
  std::string result = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + '"';
}

std::string mof_instance(const Instance& instance) {
  std::string text = "instance of " + instance.class_name().str() + " {";
  for (const Property& property : instance.properties) {
    text += " " + property.name.str() + " = " + to_mof(property.value) + ";";
  }
  return text + " }";
}

std::string scalar_text(const Value& value) {
  if (is_unsigned(value.type())) return std::to_string(value.as_unsigned());
  if (is_signed(value.type())) return std::to_string(value.as_signed());
  if (is_real(value.type())) {
    // The shortest text that gives the same number back differs between the two widths.
    if (value.type() == Type::Real64) return number_text(value.as_real());
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, static_cast<float>(value.as_real()));
    return std::string(text, end.ptr);
  }
  switch (value.type()) {
    case Type::Boolean:
      return value.as_boolean() ? "true" : "false";
    case Type::Char16:
      return char_text(value.as_unsigned());
    case Type::Reference:
      return value.as_path().to_text();
    case Type::Instance:
      return mof_instance(value.as_instance());
    default:
      return value.as_text();
  }
}

template <class Text>
std::string join(const std::vector<Value>& elements, Text text) {
  std::string result;
  for (const Value& element : elements) {
    if (&element != elements.data()) result += ", ";
    result += text(element);
  }
  return result;
}

Value convert_scalar(const Value& value, Type type) {
  if (value.type() == type || type == Type::None) return value;
  if (value.is_null()) return Value::null(type);
  const auto mismatch = [&]() {
    return Error(Status::TypeMismatch, "\"" + to_text(value) + "\" of type " +
                                           std::string(type_name(value.type())) +
                                           " is no value of type " + std::string(type_name(type)));
  };
  if (value.type() == Type::String && type != Type::Instance) {
    try {
      return parse_scalar(type, value.as_text());
    } catch (const Error& error) {
      throw Error(Status::TypeMismatch, error.description());
    }
  }
  if (is_integer(value.type()) && is_integer(type)) {
    const bool negative = is_signed(value.type()) && value.as_signed() < 0;
    const std::uint64_t magnitude =
        negative ? 0 - static_cast<std::uint64_t>(value.as_signed()) : value.as_unsigned();
    if (auto result = fit_integer(type, negative, magnitude)) return *result;
    throw mismatch();
  }
  if (is_real(value.type()) && type == Type::Real64) return Value(value.as_real());
  if (is_real(value.type()) && type == Type::Real32) {
    const auto narrow = static_cast<float>(value.as_real());
    if (static_cast<double>(narrow) == value.as_real()) return Value(narrow);
  }
  throw mismatch();
}

}  // namespace

std::string to_text(const Value& value) {
  if (value.is_null()) return {};
  if (value.is_array()) return join(value.elements(), [](const Value& v) { return to_text(v); });
  return scalar_text(value);
}

std::string to_mof(const Value& value) {
  if (value.is_null()) return "NULL";
  if (value.is_array()) {
    if (value.elements().empty()) return "{ }";
    return "{ " + join(value.elements(), [](const Value& v) { return to_mof(v); }) + " }";
  }
  switch (value.type()) {
    case Type::Boolean:
      return value.as_boolean() ? "TRUE" : "FALSE";
    case Type::Char16:
    case Type::String:
    case Type::Datetime:
    case Type::Reference:
      return in_quotes(scalar_text(value));
    default:
      return scalar_text(value);
  }
}

Value parse_value(Type type, bool array, std::string_view text) {
  if (!array) return parse_scalar(type, text);
  std::vector<Value> elements;
  std::string element;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\') {
      if (++i == text.size()) refuse(text, "ends in a backslash");
      element += text[i];
    } else if (text[i] == ',') {
      elements.push_back(parse_scalar(type, std::exchange(element, {})));
    } else {
      element += text[i];
    }
  }
  if (!text.empty()) elements.push_back(parse_scalar(type, element));
  return Value::array(type, std::move(elements));
}

Value convert(const Value& value, Type type, bool array) {
  if (value.type() == type && value.is_array() == array) return value;
  if (value.is_null()) return Value::null(type, array);
  if (value.is_array() != array) {
    throw Error(Status::TypeMismatch, array ? "a single value stands where an array is wanted"
                                            : "an array stands where a single value is wanted");
  }
  if (!array) return convert_scalar(value, type);
  std::vector<Value> elements;
  elements.reserve(value.elements().size());
  for (const Value& element : value.elements()) elements.push_back(convert_scalar(element, type));
  return Value::array(type, std::move(elements));
}

}  // namespace broker
