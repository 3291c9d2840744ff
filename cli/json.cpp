#include "cli/json.h"

#include <fmt/format.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

#include "platform/utf8.h"

namespace cli {

using broker::Type;

Json to_json(const broker::Value& value) {
  if (value.is_null()) return nullptr;
  if (value.is_array()) {
    Json array = Json::array();
    for (const broker::Value& element : value.elements()) array.push_back(to_json(element));
    return array;
  }
  const Type type = value.type();
  if (type == Type::Boolean) return value.as_boolean();
  if (broker::is_unsigned(type)) return value.as_unsigned();
  if (broker::is_signed(type)) return value.as_signed();
  if (broker::is_real(type)) return value.as_real();
  if (type == Type::Instance) return to_json(value.as_instance());
  return broker::to_text(value);
}

Json to_json(const broker::Instance& instance) {
  Json object = Json::object();
  for (const broker::Property& property : instance.properties)
    object[property.name.str()] = to_json(property.value);
  return object;
}

std::string dump(const Json& json) {
  const std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace);
  // JSON leaves characters as they are that a terminal obeys or that change the direction of
  // writing. They are escaped here; control characters below the blank can only be JSON's own
  // layout.
  std::string result;
  result.reserve(text.size() + 1);
  for (std::string_view rest = text; !rest.empty();) {
    const auto [character, length] = platform::first_utf8(rest);
    if (character >= ' ' && character <= 0xFFFF && platform::misleads(character)) {
      result += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(character));
    } else {
      result += rest.substr(0, length);
    }
    rest.remove_prefix(length);
  }
  return result + '\n';
}

std::string dump_line(const Json& json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
}

}  // namespace cli
