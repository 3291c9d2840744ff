#include "broker/cimxml/task.h"

namespace broker::cimxml {
namespace {

// Every name of the list is compared with every property of every instance.
constexpr std::size_t kLongestPropertyList = 1000;

Value read(const Parameter& parameter, Type type) {
  try {
    return convert(parameter.value, type, false);
  } catch (const Error& error) {
    throw Error(Status::InvalidParameter,
                "parameter " + parameter.name + ": " + error.description());
  }
}

}  // namespace

const Parameter* Task::find(std::string_view name) const {
  for (const Parameter& parameter : asked.parameters) {
    if (same_name(parameter.name, name)) return parameter.form == Form::Null ? nullptr : &parameter;
  }
  return nullptr;
}

bool Task::boolean(std::string_view name, bool otherwise) const {
  const Parameter* parameter = find(name);
  return parameter ? read(*parameter, Type::Boolean).as_boolean() : otherwise;
}

std::optional<std::uint32_t> Task::number(std::string_view name) const {
  const Parameter* parameter = find(name);
  if (!parameter) return std::nullopt;
  return static_cast<std::uint32_t>(read(*parameter, Type::Uint32).as_unsigned());
}

std::string Task::text(std::string_view name) const {
  const Parameter* parameter = find(name);
  return parameter ? read(*parameter, Type::String).as_text() : std::string();
}

ObjectPath Task::path(std::string_view name) const {
  ObjectPath path;
  if (const Parameter* parameter = find(name)) path = parameter->value.as_path();
  path.name_space = asked.target.name_space;
  return path;
}

std::string Task::class_name(std::string_view name) const { return path(name).class_name.str(); }

Request Task::request() const {
  Request request = caller;
  const Parameter* list = find("PropertyList");
  if (!list) return request;
  if (list->value.elements().size() > kLongestPropertyList) {
    throw Error(Status::InvalidParameter, "the property list is too long");
  }
  request.properties.emplace();
  for (const Value& name : list->value.elements()) {
    if (name.is_null() || name.type() != Type::String) {
      throw Error(Status::InvalidParameter, "the property list holds something else than names");
    }
    request.properties->push_back(name.as_text());
  }
  return request;
}

}  // namespace broker::cimxml
