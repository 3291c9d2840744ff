// The object manager's values, paths and instances as the framework's.
//
// Whatever an object manager may leave out is taken as null. Nothing here keeps or releases an
// object of the object manager.
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
Reading read(const CMPIData& data, Instance& holder, const Meta_Property& property, int depth = 0);

// Empty when missing; a leading slash of the name space is left away.
String class_name(const CMPIObjectPath* path);
String name_space(const CMPIObjectPath* path);

// The declared class's repository knows the class of that name, or it is null.
const Meta_Class* find_class(const Meta_Class& declared, const String& name);

// Sets the key properties from the path's keys.
void read_keys(const CMPIObjectPath* path, Instance& instance, int depth = 0);

// An instance of the path's class, or of the declared one when that is unknown, that holds the
// path's keys and name space. Null for no path, and for keys that refer to each other too deeply.
Ref<Instance> read_path(const CMPIObjectPath* path, const Meta_Class& declared, int depth = 0);

// The same with all properties. name_space stands in for a missing one.
Ref<Instance> read_instance(const CMPIInstance* instance, const Meta_Class& declared,
                            const String& name_space);

}  // namespace ovk_cimple
