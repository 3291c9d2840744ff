// Converts the object manager's values, paths and instances to those of the framework.
//
// Whatever an object manager leaves out counts as null. Nothing here keeps or releases an object of
// the object manager.
#pragma once

#include "platform/cmpi/cmpi.h"
#include "platform/framework/meta.h"

namespace ovk_cimple {

enum class Reading {
  SET,
  EMPTY,  // null or missing; the property is null
  UNFIT,  // of a kind or value that the property cannot hold; the property is null
};

// Sets a property from a value, converting by meaning where the types differ.
Reading read(const CMPIData& data, Instance& holder, const MetaProperty& property, int depth = 0);

// What a path holds, or empty when it holds none. A leading slash of the name space is removed.
String class_name(const CMPIObjectPath* path);
String name_space(const CMPIObjectPath* path);

// The class of that name, from the repository of the declared class. Null for a name that the
// repository does not know.
const MetaClass* find_class(const MetaClass& declared, const String& name);

// Sets the key properties from the path's keys.
void read_keys(const CMPIObjectPath* path, Instance& instance, int depth = 0);

// An instance with the path's keys and name space. Its class is the path's, or the declared one if
// the path's is unknown. Null for a null path, and for keys that refer to each other too deeply.
Ref<Instance> read_path(const CMPIObjectPath* path, const MetaClass& declared, int depth = 0);

// The same for an instance, with all its properties. name_space replaces one that is missing.
Ref<Instance> read_instance(const CMPIInstance* instance, const MetaClass& declared,
                            const String& name_space);

}  // namespace ovk_cimple
