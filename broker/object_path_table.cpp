// Object paths.
#include <utility>

#include "broker/core.h"
#include "broker/family.h"
#include "broker/marshal.h"

namespace broker {
namespace {

ObjectPathObject& path_object(const CMPIObjectPath* path) { return object<ObjectPathObject>(path); }

template <Name ObjectPath::*member>
CMPIStatus set_name(const CMPIObjectPath* path, const char* text) {
  return answer([&] { path_object(path).path.*member = Name(optional(text)); });
}

template <Name ObjectPath::*member>
CMPIString* get_name(const CMPIObjectPath* path, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIString*>(nullptr),
                [&] { return new_string(path_object(path).path.*member); });
}

CMPIStatus set_class_name(const CMPIObjectPath* path, const char* text) {
  return answer([&] {
    ObjectPathObject& target = path_object(path);
    target.info = Operation::get().core().schema().find(required(text, "the class name"));
    target.path.class_name = Name(text);
  });
}

CMPIStatus add_key(const CMPIObjectPath* path, const char* name, const CMPIValue* value,
                   const CMPIType type) {
  return answer([&] {
    ObjectPathObject& target = path_object(path);
    const std::string_view wanted = required(name, "the key name");
    const PropertyInfo* property = target.info ? target.info->find_property(wanted) : nullptr;
    Name added = property ? property->name : Name(wanted);
    Value copy = from_cmpi(value, type);
    if (copy.is_array() || copy.type() == Type::Instance) {
      throw Error(Status::InvalidDataType, "key " + added.str() + " can be no array or instance");
    }
    if (copy.is_null()) throw Error(Status::InvalidParameter, "key " + added.str() + " is null");
    if (target.info) {
      if (!property || !property->key) {
        throw Error(Status::InvalidParameter,
                    "class " + target.info->name().str() + " has no key " + added.str());
      }
      if (property->type != copy.type()) {
        throw Error(Status::InvalidDataType, "key " + added.str() + " is of type " +
                                                 std::string(type_name(property->type)) + ", not " +
                                                 std::string(type_name(copy.type())));
      }
    }
    target.path.set_key(std::move(added), std::move(copy));
  });
}

CMPIData get_key(const CMPIObjectPath* path, const char* name, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const ObjectPathObject& source = path_object(path);
    const Value* value = source.path.key(required(name, "the key name"));
    if (!value) throw Error(Status::NoSuchProperty, std::string("there is no key ") + name);
    return to_cmpi(*value, CMPI_keyValue);
  });
}

CMPIData get_key_at(const CMPIObjectPath* path, CMPICount index, CMPIString** name,
                    CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const auto& keys = path_object(path).path.keys;
    if (index >= keys.size()) {
      throw Error(Status::NoSuchProperty, "there is no key " + std::to_string(index));
    }
    if (name) *name = new_string(keys[index].name);
    return to_cmpi(keys[index].value, CMPI_keyValue);
  });
}

CMPICount get_key_count(const CMPIObjectPath* path, CMPIStatus* rc) {
  return answer(rc, CMPICount{0},
                [&] { return static_cast<CMPICount>(path_object(path).path.keys.size()); });
}

CMPIStatus set_name_space_from(const CMPIObjectPath* path, const CMPIObjectPath* source) {
  return answer([&] {
    const ObjectPathObject& from = path_object(source);
    ObjectPathObject& target = path_object(path);
    target.path.name_space = from.path.name_space;
    target.path.class_name = from.path.class_name;
    target.info = from.info;
  });
}

CMPIStatus set_host_and_name_space_from(const CMPIObjectPath* path, const CMPIObjectPath* source) {
  const CMPIStatus status = set_name_space_from(path, source);
  if (status.rc != CMPI_RC_OK) return status;
  return answer([&] { path_object(path).path.host = path_object(source).path.host; });
}

CMPIString* to_string(const CMPIObjectPath* path, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIString*>(nullptr),
                [&] { return new_string(path_object(path).path.to_text()); });
}

// Qualifiers.

const ClassInfo& class_behind(const CMPIObjectPath* path) {
  const ObjectPathObject& source = path_object(path);
  if (!source.info) {
    throw Error(Status::InvalidClass, "there is no class " + source.path.class_name.str());
  }
  return *source.info;
}

template <class T>
T& existing(T* found, const char* kind, const char* name) {
  if (!found) {
    throw Error(Status::InvalidParameter, std::string("there is no ") + kind + " " + name);
  }
  return *found;
}

CMPIData qualifier_data(const Qualifier* qualifier, const char* name) {
  if (!qualifier) throw Error(Status::NotFound, std::string("there is no qualifier ") + name);
  const Type type = element_type(qualifier->type);
  std::vector<Value> values;
  for (std::string_view text : qualifier->values) values.push_back(parse_value(type, false, text));
  if (qualifier->type & CMPI_ARRAY) return to_cmpi(Value::array(type, std::move(values)));
  return to_cmpi(values.empty() ? Value::null(type) : values.front());
}

CMPIData get_class_qualifier(const CMPIObjectPath* path, const char* qualifier, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const ClassInfo& info = class_behind(path);
    required(qualifier, "the qualifier name");
    return qualifier_data(info.find_qualifier(qualifier), qualifier);
  });
}

CMPIData get_property_qualifier(const CMPIObjectPath* path, const char* property,
                                const char* qualifier, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const ClassInfo& info = class_behind(path);
    required(qualifier, "the qualifier name");
    existing(info.find_property(required(property, "the property name")), "property", property);
    return qualifier_data(info.find_property_qualifier(property, qualifier), qualifier);
  });
}

CMPIData get_method_qualifier(const CMPIObjectPath* path, const char* method, const char* qualifier,
                              CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const ClassInfo& info = class_behind(path);
    required(qualifier, "the qualifier name");
    existing(info.find_method(required(method, "the method name")), "method", method);
    return qualifier_data(info.find_method_qualifier(method, qualifier), qualifier);
  });
}

CMPIData get_parameter_qualifier(const CMPIObjectPath* path, const char* method,
                                 const char* parameter, const char* qualifier, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const ClassInfo& info = class_behind(path);
    required(qualifier, "the qualifier name");
    const MethodInfo& owner =
        existing(info.find_method(required(method, "the method name")), "method", method);
    existing(owner.find_parameter(required(parameter, "the parameter name")), "parameter",
             parameter);
    return qualifier_data(info.find_parameter_qualifier(method, parameter, qualifier), qualifier);
  });
}

}  // namespace

void fill_object_path_table(Tables& tables) {
  tables.object_path = {
      .ftVersion = CMPIVersion210,
      .release = release<ObjectPathObject>,
      .clone = clone<ObjectPathObject>,
      .setNameSpace = set_name<&ObjectPath::name_space>,
      .getNameSpace = get_name<&ObjectPath::name_space>,
      .setHostname = set_name<&ObjectPath::host>,
      .getHostname = get_name<&ObjectPath::host>,
      .setClassName = set_class_name,
      .getClassName = get_name<&ObjectPath::class_name>,
      .addKey = add_key,
      .getKey = get_key,
      .getKeyAt = get_key_at,
      .getKeyCount = get_key_count,
      .setNameSpaceFromObjectPath = set_name_space_from,
      .setHostAndNameSpaceFromObjectPath = set_host_and_name_space_from,
      .getClassQualifier = get_class_qualifier,
      .getPropertyQualifier = get_property_qualifier,
      .getMethodQualifier = get_method_qualifier,
      .getParameterQualifier = get_parameter_qualifier,
      .toString = to_string,
  };
}

}  // namespace broker
