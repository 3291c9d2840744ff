#include "broker/cimxml/class_writer.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

Type element_type(CMPIType type) { return static_cast<Type>(type & ~CMPI_ARRAY); }
bool is_array(CMPIType type) { return (type & CMPI_ARRAY) != 0; }

template <class Values>
void write_values(Text& text, bool array, const Values& values) {
  if (array) text << "<VALUE.ARRAY>";
  for (const std::string_view value : values) {
    text << "<VALUE>";
    text.content(value);
    text << "</VALUE>";
  }
  if (array) text << "</VALUE.ARRAY>";
}

// Flavors are written only where they differ from the standard's defaults.
void write_flavors(Text& text, bool overridable, bool to_subclass) {
  if (!overridable) text << " OVERRIDABLE=\"false\"";
  if (!to_subclass) text << " TOSUBCLASS=\"false\"";
}

class ClassWriter {
 public:
  ClassWriter(Text& text, const ClassInfo& info, const ClassChoice& choice)
      : text_(text), info_(info), choice_(choice) {}

  void write() {
    text_ << "<CLASS NAME=\"";
    text_.attribute(info_.name());
    if (const ClassInfo* superclass = info_.superclass()) {
      text_ << "\" SUPERCLASS=\"";
      text_.attribute(superclass->name());
    }
    text_ << "\">";
    qualifiers([](const Class& at) { return at.qualifiers; });
    for (const PropertyInfo& property : info_.properties()) {
      if (wanted(property)) this->property(property);
    }
    for (const MethodInfo& method : info_.methods()) {
      if (!choice_.local_only || own(method.declared)) this->method(method);
    }
    text_ << "</CLASS>";
  }

 private:
  using Lookup = std::function<std::span<const Qualifier>(const Class&)>;

  bool own(const Class* declared) const { return declared == &info_.declaration(); }

  bool wanted(const PropertyInfo& property) const {
    if (choice_.local_only && !own(property.declared)) return false;
    if (!choice_.properties) return true;
    return std::any_of(choice_.properties->begin(), choice_.properties->end(),
                       [&](const std::string& name) { return property.name == name; });
  }

  // Writes the qualifiers of the class itself, then those that its superclasses pass on and that
  // are not overridden. lookup: gives those that one class declares for the feature.
  void qualifiers(const Lookup& lookup) {
    if (!choice_.qualifiers) return;
    std::vector<std::string_view> seen;
    for (const Class* at = &info_.declaration(); at; at = at->superclass) {
      const bool propagated = !own(at);
      for (const Qualifier& qualifier : lookup(*at)) {
        if (propagated && !qualifier.to_subclass) continue;
        if (propagated && choice_.local_only) continue;
        const bool overridden = std::any_of(seen.begin(), seen.end(), [&](std::string_view name) {
          return same_name(name, qualifier.name);
        });
        if (overridden) continue;
        seen.push_back(qualifier.name);
        this->qualifier(qualifier, propagated);
      }
    }
  }

  void qualifier(const Qualifier& qualifier, bool propagated) {
    text_ << "<QUALIFIER NAME=\"";
    text_.attribute(qualifier.name);
    text_ << "\" TYPE=\"" << wire_type(element_type(qualifier.type)) << "\"";
    if (propagated) text_ << " PROPAGATED=\"true\"";
    write_flavors(text_, qualifier.overridable, qualifier.to_subclass);
    text_ << ">";
    write_values(text_, is_array(qualifier.type), qualifier.values);
    text_ << "</QUALIFIER>";
  }

  void origin(const Class* declared, const Class* origin) {
    if (choice_.class_origin) {
      text_ << " CLASSORIGIN=\"";
      text_.attribute(origin->name);
      text_ << "\"";
    }
    if (!own(declared)) text_ << " PROPAGATED=\"true\"";
  }

  // The start of a property or parameter, without the closing bracket. Returns the element's name.
  std::string_view feature(std::string_view single, std::string_view reference,
                           std::string_view array, std::string_view references,
                           const Feature& feature) {
    const bool refers = element_type(feature.type) == Type::Reference;
    const bool many = is_array(feature.type);
    std::string_view element = many ? array : single;
    if (refers) element = many ? references : reference;
    text_ << "<" << element << " NAME=\"";
    text_.attribute(feature.name);
    text_ << "\"";
    if (!refers) text_ << " TYPE=\"" << wire_type(element_type(feature.type)) << "\"";
    if (refers && !feature.reference_class.empty()) {
      text_ << " REFERENCECLASS=\"";
      text_.attribute(feature.reference_class);
      text_ << "\"";
    }
    return element;
  }

  void property(const PropertyInfo& property) {
    const std::string_view element = feature("PROPERTY", "PROPERTY.REFERENCE", "PROPERTY.ARRAY",
                                             "PROPERTY.ARRAY", *property.feature);
    origin(property.declared, property.origin);
    if (property.type == Type::Instance) {
      const Qualifier* instance = info_.find_property_qualifier(property.name, "EmbeddedInstance");
      text_ << " EmbeddedObject=\"" << embedding(instance) << "\"";
    }
    text_ << ">";
    qualifiers([&](const Class& at) { return qualifiers_in(at.properties, property.name); });
    if (property.feature->default_value) {
      text_ << "<VALUE>";
      text_.content(property.feature->default_value);
      text_ << "</VALUE>";
    }
    text_ << "</" << element << ">";
  }

  template <class Declaration>
  static std::span<const Qualifier> qualifiers_in(std::span<const Declaration> declarations,
                                                  std::string_view name) {
    for (const Declaration& declaration : declarations) {
      if (same_name(declaration.name, name)) return declaration.qualifiers;
    }
    return {};
  }

  void method(const MethodInfo& method) {
    text_ << "<METHOD NAME=\"";
    text_.attribute(method.name);
    text_ << "\" TYPE=\"" << wire_type(method.type) << "\"";
    origin(method.declared, method.origin);
    text_ << ">";
    qualifiers([&](const Class& at) { return qualifiers_in(at.methods, method.name); });
    for (const ParameterInfo& parameter : method.parameters) this->parameter(method, parameter);
    text_ << "</METHOD>";
  }

  // Without the attribute EmbeddedObject, which some clients refuse here. The qualifiers tell which
  // parameters embed instances.
  void parameter(const MethodInfo& method, const ParameterInfo& parameter) {
    const std::string_view element = feature("PARAMETER", "PARAMETER.REFERENCE", "PARAMETER.ARRAY",
                                             "PARAMETER.REFARRAY", *parameter.feature);
    text_ << ">";
    qualifiers([&](const Class& at) -> std::span<const Qualifier> {
      for (const Method& declared : at.methods) {
        if (same_name(declared.name, method.name)) {
          return qualifiers_in(declared.parameters, parameter.name);
        }
      }
      return {};
    });
    text_ << "</" << element << ">";
  }

  Text& text_;
  const ClassInfo& info_;
  const ClassChoice& choice_;
};

}  // namespace

void write_qualifier_declaration(Text& text, const QualifierDeclaration& declared) {
  using Declaration = QualifierDeclaration;
  static constexpr std::pair<Declaration::Scope, std::string_view> kScopes[] = {
      {Declaration::ClassScope, "CLASS"},     {Declaration::Association, "ASSOCIATION"},
      {Declaration::Reference, "REFERENCE"},  {Declaration::Property, "PROPERTY"},
      {Declaration::Method, "METHOD"},        {Declaration::Parameter, "PARAMETER"},
      {Declaration::Indication, "INDICATION"}};
  text << "<QUALIFIER.DECLARATION NAME=\"";
  text.attribute(declared.name);
  text << "\" TYPE=\"" << wire_type(element_type(declared.type)) << "\" ISARRAY=\""
       << (is_array(declared.type) ? "true" : "false") << "\"";
  write_flavors(text, declared.overridable, declared.to_subclass);
  if (declared.translatable) text << " TRANSLATABLE=\"true\"";
  text << "><SCOPE";
  for (const auto& [scope, name] : kScopes)
    if ((declared.scopes & scope) != 0) text << " " << name << "=\"true\"";
  text << "/>";
  if (declared.has_default) write_values(text, is_array(declared.type), declared.default_values);
  text << "</QUALIFIER.DECLARATION>";
}

void write_class(Text& text, const ClassInfo& info, const ClassChoice& choice) {
  ClassWriter(text, info, choice).write();
}

}  // namespace broker::cimxml
