// Values, names and instances out of the elements of a request (DSP0201).
//
// An element without the standard's form throws HttpError (not valid), and the whole message is
// refused. One that has the form but holds no value of its type throws Error (InvalidParameter),
// which concerns the one operation. Text without a type stays a string value; the object manager
// gives it the declared type.
#pragma once

#include <string>
#include <string_view>

#include "broker/cimxml/document.h"
#include "broker/instance_value.h"
#include "broker/object_path.h"
#include "broker/schema.h"
#include "broker/value.h"

namespace broker::cimxml {

// Of "uint32", "string", ..., also "reference"; None for a text that names no type.
Type type_of(std::string_view name);

class Decoder {
 public:
  // schema: names the key of a key value that comes without a name. allowance: of the request; the
  // texts of embedded instances count too.
  Decoder(const Schema& schema, Allowance& allowance) : schema_(schema), allowance_(allowance) {}

  static std::string local_name_space(const Element& element);  // LOCALNAMESPACEPATH
  ObjectPath class_name(const Element& element) const;          // CLASSNAME
  ObjectPath instance_name(const Element& element) const;       // INSTANCENAME
  // Any of the seven forms that may stand in a VALUE.REFERENCE.
  ObjectPath path(const Element& element) const;
  // VALUE, VALUE.ARRAY, VALUE.REFERENCE and VALUE.REFARRAY. With the types None and String a text
  // stays as it is. embedded: each VALUE holds the text of an instance.
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
  // How deep instances may stand within the text of instances.
  static constexpr int kDeepestEmbedding = 8;
  int embedding_ = 0;
};

}  // namespace broker::cimxml
