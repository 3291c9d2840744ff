// Instances, property by property.

#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

constexpr std::string_view kValue = "<VALUE>";

}  // namespace

Writer::ClassTags& Writer::tags_of(std::string_view class_name) {
  const ClassInfo* const info = schema_.find(class_name);
  ClassTags& known = classes_[info];
  if (!info) known.tags.clear();
  known.info = info;
  return known;
}

bool Writer::fits(const Tag& tag, const Property& property) {
  return tag.type == property.value.type() && tag.array == property.value.is_array() &&
         tag.name == property.name.view();
}

Writer::Tag Writer::make_tag(const ClassInfo* info, const Property& property) const {
  const PropertyInfo* declared = info ? info->find_property(property.name) : nullptr;
  Tag tag{property.name.str(), property.value.type(), property.value.is_array(), {}, {}};
  const bool reference = tag.type == Type::Reference && !tag.array;
  Text open;
  std::string_view element = "<PROPERTY";
  if (tag.array) element = "<PROPERTY.ARRAY";
  if (reference) element = "<PROPERTY.REFERENCE";
  open << element << " NAME=\"";
  open.attribute(tag.name);
  open << "\"";
  if (!reference) open << " TYPE=\"" << wire_type(tag.type) << "\"";
  if (reference && declared && !declared->feature->reference_class.empty()) {
    open << " REFERENCECLASS=\"";
    open.attribute(declared->feature->reference_class);
    open << "\"";
  }
  if (class_origin_ && declared) {
    open << " CLASSORIGIN=\"";
    open.attribute(declared->origin->name);
    open << "\"";
  }
  if (tag.type == Type::Instance) {
    const Qualifier* qualifier =
        declared ? info->find_property_qualifier(tag.name, "EmbeddedInstance") : nullptr;
    open << " EmbeddedObject=\"" << embedding(qualifier) << "\"";
  }
  open << ">";
  if (!reference && !tag.array) open << kValue;
  tag.open = open.view();
  tag.close = "</VALUE></PROPERTY>";
  if (tag.array) tag.close = "</PROPERTY.ARRAY>";
  if (reference) tag.close = "</PROPERTY.REFERENCE>";
  return tag;
}

void Writer::property(const Tag& tag, const Value& value) {
  const bool scalar = !tag.array && tag.type != Type::Reference;
  if (value.is_null()) {
    const std::string_view open = tag.open;
    constexpr std::string_view kValueEnd = "</VALUE>";
    text_ << open.substr(0, open.size() - (scalar ? kValue.size() : 0))
          << tag.close.substr(scalar ? kValueEnd.size() : 0);
    return;
  }
  text_ << tag.open;
  if (scalar) {
    this->scalar(value);
  } else {
    this->value(value);
  }
  text_ << tag.close;
}

void Writer::instance(const Instance& instance) {
  ClassTags& known = tags_of(instance.class_name());
  text_ << "<INSTANCE CLASSNAME=\"";
  text_.attribute(instance.class_name());
  text_ << "\">";
  if (known.tags.size() < instance.properties.size()) known.tags.resize(instance.properties.size());
  for (std::size_t i = 0; i < instance.properties.size(); ++i) {
    const Property& property = instance.properties[i];
    if (!fits(known.tags[i], property)) known.tags[i] = make_tag(known.info, property);
    this->property(known.tags[i], property.value);
  }
  text_ << "</INSTANCE>";
}

}  // namespace broker::cimxml
