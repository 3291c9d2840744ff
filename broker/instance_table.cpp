// Instances and the results that take them.
#include <algorithm>

#include "broker/core.h"
#include "broker/delivery.h"
#include "broker/family.h"
#include "broker/marshal.h"

namespace broker {
namespace {

bool keeps(const InstanceObject& target, const Name& name) {
  return !target.filtered || std::ranges::find(target.filter, name) != target.filter.end();
}

// A key property that is null is a property of the instance, but no key of its path.
void set_value(InstanceObject& target, const PropertyInfo& property, Value value) {
  if (property.key && !value.is_null()) target.instance.path.set_key(property.name, value);
  if (!keeps(target, property.name)) return;
  auto& properties = target.instance.properties;
  const bool is_new = target.last ? &property > target.last : properties.empty();
  if (is_new) {
    properties.push_back({property.name, std::move(value)});
    target.last = &property;
  } else {
    target.instance.set(property.name, std::move(value));
  }
}

CMPIStatus set_property_with_origin(const CMPIInstance* instance, const char* name,
                                    const CMPIValue* value, CMPIType type, const char* origin) {
  return answer([&] {
    InstanceObject& target = object<InstanceObject>(instance);
    required(name, "the property name");
    Value copy = from_cmpi(value, type);
    if (!target.info) {  // an embedded instance of a class that nobody declared
      Name added(name);
      if (keeps(target, added)) target.instance.set(std::move(added), std::move(copy));
      return;
    }
    const PropertyInfo* property = target.info->find_next_property(target.last, name);
    if (!property) {
      throw Error(Status::NoSuchProperty,
                  "class " + target.info->name().str() + " has no property " + name);
    }
    if (copy.type() != property->type || copy.is_array() != property->array) {
      throw Error(Status::TypeMismatch, "property " + property->name.str() + " is of type " +
                                            std::string(type_name(property->type)) +
                                            (property->array ? " array" : "") + ", not " +
                                            std::string(type_name(copy.type())) +
                                            (copy.is_array() ? " array" : ""));
    }
    if (origin && !same_name(origin, property->origin->name)) {
      throw Error(Status::TypeMismatch, "property " + property->name.str() +
                                            " was introduced by class " +
                                            std::string(property->origin->name));
    }
    set_value(target, *property, std::move(copy));
  });
}

CMPIStatus set_property(const CMPIInstance* instance, const char* name, const CMPIValue* value,
                        CMPIType type) {
  return set_property_with_origin(instance, name, value, type, nullptr);
}

CMPIData property_data(const InstanceObject& source, const Property& property) {
  const PropertyInfo* info = source.info ? source.info->find_property(property.name) : nullptr;
  return to_cmpi(property.value, info && info->key ? CMPI_keyValue : CMPI_goodValue);
}

CMPIData get_property(const CMPIInstance* instance, const char* name, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const InstanceObject& source = object<InstanceObject>(instance);
    const std::string_view wanted = required(name, "the property name");
    for (const Property& property : source.instance.properties) {
      if (property.name == wanted) return property_data(source, property);
    }
    throw Error(Status::NoSuchProperty, "there is no property " + std::string(wanted));
  });
}

CMPIData get_property_at(const CMPIInstance* instance, CMPICount index, CMPIString** name,
                         CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const InstanceObject& source = object<InstanceObject>(instance);
    if (index >= source.instance.properties.size()) {
      throw Error(Status::NoSuchProperty, "there is no property " + std::to_string(index));
    }
    const Property& property = source.instance.properties[index];
    if (name) *name = new_string(property.name);
    return property_data(source, property);
  });
}

CMPICount get_property_count(const CMPIInstance* instance, CMPIStatus* rc) {
  return answer(rc, CMPICount{0}, [&] {
    return static_cast<CMPICount>(object<InstanceObject>(instance).instance.properties.size());
  });
}

CMPIObjectPath* get_object_path(const CMPIInstance* instance, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIObjectPath*>(nullptr), [&] {
    const InstanceObject& source = object<InstanceObject>(instance);
    return handle(make<ObjectPathObject>(source.instance.path, source.info));
  });
}

CMPIStatus set_property_filter(const CMPIInstance* instance, const char** properties,
                               const char**) {
  return answer([&] {
    InstanceObject& target = object<InstanceObject>(instance);
    target.filter.clear();
    target.filtered = properties;
    if (!properties) return;
    // The list nearly always names the properties that are present, in their order. Then nothing
    // is searched for, copied or erased. Otherwise CIM-XML over HTTP would miss its goal
    // (bench/table.py).
    const auto& present = target.instance.properties;
    bool as_present = true;
    for (; *properties; ++properties) {
      const std::size_t place = target.filter.size();
      const auto is_it = [&](const Property& property) { return property.name == *properties; };
      auto found = present.begin() + static_cast<std::ptrdiff_t>(std::min(place, present.size()));
      if (found == present.end() || !is_it(*found)) {
        as_present = false;
        found = std::ranges::find_if(present, is_it);
      }
      target.filter.push_back(found != present.end() ? found->name : Name(*properties));
    }
    if (as_present && target.filter.size() == present.size()) return;
    std::erase_if(target.instance.properties,
                  [&](const Property& property) { return !keeps(target, property.name); });
  });
}

CMPIStatus set_object_path(const CMPIInstance* instance, const CMPIObjectPath* path) {
  return answer([&] {
    InstanceObject& target = object<InstanceObject>(instance);
    const ObjectPathObject& source = object<ObjectPathObject>(path);
    if (source.info != target.info || source.path.name_space.empty()) {
      throw Error(Status::InvalidParameter, "the path needs a name space and the instance's class");
    }
    if (source.info) {
      for (const PropertyInfo* key : source.info->keys()) {
        if (!source.path.key(key->name)) {
          throw Error(Status::InvalidParameter, "the path has no key " + key->name.str());
        }
      }
    }
    target.instance.path = source.path;
  });
}

// Results.

Delivery& delivery(const CMPIResult* result) { return *object<ResultObject>(result).delivery; }

CMPIStatus return_data(const CMPIResult* result, const CMPIValue* value, const CMPIType type) {
  return answer([&] {
    Delivery& target = delivery(result);
    if (!value) {
      throw Error(Status::InvalidParameter, "a null is returned by not returning a value");
    }
    target.value(from_cmpi(value, type));
  });
}

CMPIStatus return_instance(const CMPIResult* result, const CMPIInstance* instance) {
  return answer([&] { delivery(result).instance(object<InstanceObject>(instance)); });
}

CMPIStatus return_object_path(const CMPIResult* result, const CMPIObjectPath* path) {
  return answer([&] { delivery(result).path(object<ObjectPathObject>(path)); });
}

CMPIStatus return_done(const CMPIResult* result) {
  return answer([&] { delivery(result).done(); });
}

CMPIStatus return_error(const CMPIResult* result, const CMPIError* error) {
  return answer([&] {
    const ErrorObject& source = object<ErrorObject>(error);
    delivery(result).error(source.message.value_or(""));
  });
}

// A copy could outlive the call, and nobody would receive what it is given.
CMPIResult* clone_result(const CMPIResult* result, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIResult*>(nullptr), [&]() -> CMPIResult* {
    object<ResultObject>(result);
    throw Error(Status::NotSupported, "results cannot be cloned");
  });
}

}  // namespace

void fill_instance_table(Tables& tables) {
  tables.instance = {
      .ftVersion = CMPIVersion210,
      .release = release<InstanceObject>,
      .clone = clone<InstanceObject>,
      .getProperty = get_property,
      .getPropertyAt = get_property_at,
      .getPropertyCount = get_property_count,
      .setProperty = set_property,
      .getObjectPath = get_object_path,
      .setPropertyFilter = set_property_filter,
      .setObjectPath = set_object_path,
      .setPropertyWithOrigin = set_property_with_origin,
  };
  tables.result = {
      .ftVersion = CMPIVersion210,
      .release = release<ResultObject>,
      .clone = clone_result,
      .returnData = return_data,
      .returnInstance = return_instance,
      .returnObjectPath = return_object_path,
      .returnDone = return_done,
      .returnError = return_error,
  };
}

}  // namespace broker
