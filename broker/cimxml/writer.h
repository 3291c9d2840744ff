// CIM elements into text: values, names, paths and instances (DSP0201).
//
// A writer lives for one reply and remembers the start tags of the classes that it has written:
// most replies hold many instances of one class. Without that, CIM-XML over HTTP would miss its
// goal (bench/table.py).
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "broker/cimxml/xml_text.h"
#include "broker/instance_value.h"
#include "broker/object_path.h"
#include "broker/schema.h"

namespace broker::cimxml {

// The name of this machine, as the host in complete paths.
const std::string& host_name();

class Writer {
 public:
  // class_origin: whether properties say which class introduced them.
  Writer(Text& text, const Schema& schema, bool class_origin = false)
      : text_(text), schema_(schema), class_origin_(class_origin) {}

  Text& text() { return text_; }

  void class_name(std::string_view name);             // CLASSNAME
  void instance_name(const ObjectPath& path);         // INSTANCENAME
  void name_space_path(const ObjectPath& path);       // NAMESPACEPATH
  void local_name_space_path(std::string_view name);  // LOCALNAMESPACEPATH
  void instance_path(const ObjectPath& path);         // INSTANCEPATH
  void class_path(const ObjectPath& path);            // CLASSPATH
  void instance(const Instance& instance);            // INSTANCE
  void named_instance(const Instance& instance);      // VALUE.NAMEDINSTANCE
  void instance_with_path(const Instance& instance);  // VALUE.INSTANCEWITHPATH
  void object_with_path(const Instance& instance);    // VALUE.OBJECTWITHPATH
  void object_path(const ObjectPath& path);           // OBJECTPATH
  // VALUE, VALUE.ARRAY, VALUE.REFERENCE or VALUE.REFARRAY; nothing for null.
  void value(const Value& value);

 private:
  struct Tag {
    std::string name;
    Type type = Type::None;
    bool array = false;
    std::string open;  // with the start of a single VALUE, which a null goes without
    std::string_view close;
  };
  struct ClassTags {
    const ClassInfo* info = nullptr;
    std::vector<Tag> tags;  // in the order in which the last instance had its properties
  };

  ClassTags& tags_of(std::string_view class_name);
  static bool fits(const Tag& tag, const Property& property);
  Tag make_tag(const ClassInfo* info, const Property& property) const;
  void property(const Tag& tag, const Value& value);
  void key(const Value& value);
  void scalar(const Value& value);  // the text of a VALUE
  void reference(const ObjectPath& path);

  Text& text_;
  const Schema& schema_;
  bool class_origin_;
  // At null: those of the latest class that the schema does not have.
  std::unordered_map<const ClassInfo*, ClassTags> classes_;
};

// The value of the attributes TYPE and PARAMTYPE: an embedded instance is a string.
std::string_view wire_type(Type type);
// Of a property, parameter or result that holds embedded instances: "instance", or "object" where
// the declaration leaves open which class.
std::string_view embedding(const Qualifier* embedded_instance);

}  // namespace broker::cimxml
