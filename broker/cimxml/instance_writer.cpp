// Instances, property by property.

#include "broker/cimxml/writer.h"

namespace broker::cimxml {

void Writer::property(const ClassInfo* info, const Property& property) {
  const Type type = property.value.type();
  const bool array = property.value.is_array();
  const bool reference = type == Type::Reference && !array;
  const bool by_declaration = reference || class_origin_ || type == Type::Instance;
  const PropertyInfo* declared =
      info && by_declaration ? info->find_property(property.name) : nullptr;
  std::string_view element = "PROPERTY";
  if (array) element = "PROPERTY.ARRAY";
  if (reference) element = "PROPERTY.REFERENCE";
  text_ << "<" << element << " NAME=\"";
  text_.attribute(property.name);
  text_ << "\"";
  if (!reference) text_ << " TYPE=\"" << wire_type(type) << "\"";
  if (reference && declared && !declared->feature->reference_class.empty()) {
    text_ << " REFERENCECLASS=\"";
    text_.attribute(declared->feature->reference_class);
    text_ << "\"";
  }
  if (class_origin_ && declared) {
    text_ << " CLASSORIGIN=\"";
    text_.attribute(declared->origin->name);
    text_ << "\"";
  }
  if (type == Type::Instance) {
    const Qualifier* qualifier =
        declared ? info->find_property_qualifier(property.name, "EmbeddedInstance") : nullptr;
    text_ << " EmbeddedObject=\"" << embedding(qualifier) << "\"";
  }
  text_ << ">";
  value(property.value);
  text_ << "</" << element << ">";
}

void Writer::instance(const Instance& instance) {
  const ClassInfo* info = schema_.find(instance.class_name());
  text_ << "<INSTANCE CLASSNAME=\"";
  text_.attribute(instance.class_name());
  text_ << "\">";
  for (const Property& each : instance.properties) property(info, each);
  text_ << "</INSTANCE>";
}

}  // namespace broker::cimxml
