#include "tests/scripted/rendering.h"

#include "broker/date_time.h"
#include "broker/object_path.h"
#include "broker/schema.h"

namespace scripted {

Moment now() { return broker::datetime_microseconds(broker::now_text()); }

std::string render(const broker::Value& value, Moment earliest) {
  if (value.is_null()) return "NULL";
  if (value.is_array()) {
    std::string text;
    for (const broker::Value& element : value.elements())
      text += (text.empty() ? "" : ", ") + render(element, earliest);
    return "{" + text + "}";
  }
  if (value.type() == broker::Type::String) return '"' + value.as_text() + '"';
  if (value.type() == broker::Type::Datetime && !broker::is_interval(value.as_text())) {
    const Moment moment = broker::datetime_microseconds(value.as_text());
    if (earliest <= moment && moment <= now()) return "now";
  }
  return broker::to_text(value);
}

std::vector<std::string> render(const broker::Instance& instance, Moment earliest) {
  std::vector<std::string> lines{"< " + instance.class_name().str()};
  const broker::ClassInfo& info = broker::generated_schema().get(instance.class_name());
  for (const broker::PropertyInfo& property : info.properties()) {
    const broker::Value* const value = instance.property(property.name);
    if (value && !value->is_null())
      lines.push_back(". " + property.name.str() + " = " + render(*value, earliest));
  }
  for (const broker::Property& property : instance.properties)
    if (!info.find_property(property.name)) lines.push_back(". unknown " + property.name.str());
  return lines;
}

}  // namespace scripted
