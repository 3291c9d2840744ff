#include "cli/json.h"

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
  // JSON lets delete and the C1 controls stand as they are, and terminals obey the latter.
  constexpr char digits[] = "0123456789abcdef";
  std::string result;
  result.reserve(text.size() + 1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto byte = static_cast<unsigned char>(text[i]);
    const bool c1 = byte == 0xc2 && static_cast<unsigned char>(text[i + 1]) < 0xa0;
    if (c1) byte = static_cast<unsigned char>(text[++i]);
    if (c1 || byte == 0x7f) {
      result += "\\u00";
      result += digits[byte >> 4];
      result += digits[byte & 15];
    } else {
      result += text[i];
    }
  }
  return result + '\n';
}

}  // namespace cli
