// Values, names and instances out of the elements of a request (DSP0201).
//
// What does not have the form of the standard throws Refusal (not valid): then the whole message
// is refused. What has the form but is no value throws Error (InvalidParameter) and concerns the
// one operation. Text without a type stays a string value; the object manager gives it the
// declared type.
#pragma once

#include <string>
#include <string_view>

#include "broker/cimxml/document.h"
#include "broker/instance.h"
#include "broker/object_path.h"
#include "broker/schema.h"
#include "broker/value.h"

namespace broker::cimxml {

// Of "uint32", "string", ..., also "reference"; None for a text that names no type.
Type type_of(std::string_view name);

class Decoder {
 public:
  // schema: for key values that leave their key's name away. allowance: of the request, for the
  // texts of embedded instances.
  Decoder(const Schema& schema, Allowance& allowance) : schema_(schema), allowance_(allowance) {}

  static std::string local_name_space(const Element& element);  // LOCALNAMESPACEPATH
  ObjectPath class_name(const Element& element) const;          // CLASSNAME
  ObjectPath instance_name(const Element& element) const;       // INSTANCENAME
  // Any of the seven forms that may stand in a VALUE.REFERENCE.
  ObjectPath path(const Element& element) const;
  // VALUE, VALUE.ARRAY, VALUE.REFERENCE and VALUE.REFARRAY, the element types None and String
  // leaving the text as it is. embedded: VALUE holds the text of instances.
  Value value(const Element& element, Type type, bool embedded) const;
  Instance instance(const Element& element) const;        // INSTANCE
  Instance named_instance(const Element& element) const;  // VALUE.NAMEDINSTANCE

  // Whether the attribute EmbeddedObject is there.
  static bool embeds(const Element& element);
  // The instance in the text of a VALUE.
  Instance embedded_instance(std::string_view text) const;

 private:
  Value key_value(const Element& element) const;
  Value scalar(const Element& element, Type type, bool embedded) const;

  const Schema& schema_;
  Allowance& allowance_;
  // Instances within the text of instances, each parsed by a decoder of its own.
  static constexpr int kDeepestEmbedding = 8;
  int embedding_ = 0;
};

}  // namespace broker::cimxml
