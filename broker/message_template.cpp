#include "broker/message_template.h"

#include <vector>

#include "broker/error.h"
#include "broker/marshal.h"

namespace broker {
namespace {

constexpr CMPICount kMost = 10;

// In variable arguments, integers narrower than int come as int, and floats as double.
std::string next_text(std::va_list& arguments) {
  const auto type = static_cast<CMPIType>(va_arg(arguments, int));
  switch (type) {
    case CMPI_boolean:
      return va_arg(arguments, int) ? "true" : "false";
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
      return std::to_string(va_arg(arguments, CMPISint32));
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
      return std::to_string(va_arg(arguments, CMPIUint32));
    case CMPI_sint64:
      return std::to_string(va_arg(arguments, CMPISint64));
    case CMPI_uint64:
      return std::to_string(va_arg(arguments, CMPIUint64));
    case CMPI_real64:
      return to_text(Value(va_arg(arguments, CMPIReal64)));
    case CMPI_chars:
      return optional(va_arg(arguments, const char*));
    case CMPI_string:
      return text_of(va_arg(arguments, const CMPIString*));
    default:
      throw Error(Status::TypeMismatch,
                  "type code " + std::to_string(type) + " cannot be part of a message");
  }
}

}  // namespace

std::string expand_message(const std::string& text, CMPICount count, std::va_list arguments) {
  if (count > kMost) throw Error(Status::InvalidParameter, "a message has at most ten arguments");
  std::va_list rest;
  va_copy(rest, arguments);
  std::vector<std::string> texts;
  try {
    for (CMPICount i = 0; i < count; ++i) texts.push_back(next_text(rest));
  } catch (...) {
    va_end(rest);
    throw;
  }
  va_end(rest);
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t place =
        i + 1 < text.size() ? static_cast<std::size_t>(text[i + 1] - '0') : kMost;
    if (text[i] == '$' && place < texts.size()) {
      result += texts[place];
      ++i;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace broker
