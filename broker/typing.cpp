// Values from outside get the types that their classes declare.
#include "broker/core.h"
#include "platform/words.h"

namespace broker {
namespace {

// A key of a client as text. White space around it says nothing, but in a key that is a text.
Value key_of(const Value& value, Type type) {
  const bool text = type == Type::String || type == Type::Char16;
  if (text || value.type() != Type::String || value.is_null() || value.is_array()) return value;
  return Value(platform::trim(value.as_text()));
}

}  // namespace

Value Core::typed(const Value& value, Type type, bool array, const std::string& what) const {
  try {
    Value converted = convert(value, type, array);
    if (converted.is_null() || (type != Type::Reference && type != Type::Instance)) {
      return converted;
    }
    const auto complete = [this, type](const Value& item) {
      if (item.is_null()) return item;
      if (type == Type::Reference) {
        ObjectPath path = item.as_path();
        if (path.name_space.empty()) path.name_space = Name::borrowed(kServedNameSpace);
        // The class may be one of another object manager. Then the reference stays as it came.
        const ClassInfo* info = schema_.find(path.class_name);
        return Value(info ? typed_path(path, *info) : std::move(path));
      }
      const ClassInfo* info = schema_.find(item.as_instance().class_name());
      return info ? Value(typed_instance(item.as_instance(), *info, Status::InvalidParameter))
                  : item;
    };
    if (!array) return complete(converted);
    std::vector<Value> elements;
    for (const Value& element : converted.elements()) elements.push_back(complete(element));
    return Value::array(type, std::move(elements));
  } catch (const Error& error) {
    throw Error(Status::InvalidParameter, what + ": " + error.description());
  }
}

ObjectPath Core::typed_path(const ObjectPath& path, const ClassInfo& info) const {
  ObjectPath result(path.name_space, info.name());
  if (path.name_space.empty() || path.name_space == kServedNameSpace) {
    result.name_space = Name::borrowed(kServedNameSpace);
  }
  result.host = path.host;
  for (const Key& key : path.keys) {
    const PropertyInfo* property = info.find_property(key.name);
    if (!property || !property->key) {
      throw Error(Status::InvalidParameter,
                  "class " + info.name().str() + " has no key " + key.name.str());
    }
    Value value =
        typed(key_of(key.value, property->type), property->type, false, "key " + key.name.str());
    if (value.is_null())
      throw Error(Status::InvalidParameter, "key " + key.name.str() + " is null");
    if (result.key(property->name)) {
      throw Error(Status::InvalidParameter, "key " + key.name.str() + " is given twice");
    }
    result.keys.push_back({property->name, std::move(value)});
  }
  return result;
}

// A path may lack some of its keys but not all: some providers leave keys out of the paths that
// they deliver, and a client can only repeat what it was given.
ObjectPath Core::instance_path(const ObjectPath& path, const ClassInfo& info) const {
  if (path.keys.empty() && !info.keys().empty()) {
    throw Error(Status::InvalidParameter,
                "\"" + path.to_text() + "\" has no keys, so it is no path of an instance");
  }
  return typed_path(path, info);
}

Instance Core::typed_instance(const Instance& instance, const ClassInfo& info,
                              Status unknown) const {
  Instance result(typed_path(instance.path, info));
  for (const Property& property : instance.properties) {
    const PropertyInfo* declared = info.find_property(property.name);
    if (!declared) {
      throw Error(unknown,
                  "class " + info.name().str() + " has no property " + property.name.str());
    }
    Value value =
        typed(property.value, declared->type, declared->array, "property " + property.name.str());
    if (declared->key && !value.is_null()) result.path.set_key(declared->name, value);
    result.set(declared->name, std::move(value));
  }
  for (const Key& key : result.path.keys) {
    if (!result.property(key.name)) result.set(key.name, key.value);
  }
  return result;
}

}  // namespace broker
