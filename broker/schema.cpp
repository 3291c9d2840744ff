#include "broker/schema.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "broker/error.h"

namespace broker {
namespace {

const Qualifier* find_in(std::span<const Qualifier> qualifiers, std::string_view name) {
  for (const Qualifier& qualifier : qualifiers) {
    if (same_name(qualifier.name, name)) return &qualifier;
  }
  return nullptr;
}

template <class Declaration>
const Declaration* find_in(std::span<const Declaration> declarations, std::string_view name) {
  for (const Declaration& declaration : declarations) {
    if (same_name(declaration.name, name)) return &declaration;
  }
  return nullptr;
}

bool is_array(CMPIType type) { return (type & CMPI_ARRAY) != 0; }

Type element_type(const Feature& feature) {
  const auto type = static_cast<Type>(feature.type & ~CMPI_ARRAY);
  const bool embeds = find_in(feature.qualifiers, "EmbeddedInstance") ||
                      find_in(feature.qualifiers, "EmbeddedObject");
  return type == Type::String && embeds ? Type::Instance : type;
}

// Looks in a class and then in its superclasses, where only what passes to subclasses counts.
template <class Lookup>
const Qualifier* find_inherited(const Class* start, Lookup lookup) {
  for (const Class* at = start; at; at = at->superclass) {
    const Qualifier* found = lookup(*at);
    if (found && (at == start || found->to_subclass)) return found;
  }
  return nullptr;
}

}  // namespace

const ParameterInfo* MethodInfo::find_parameter(std::string_view parameter) const {
  for (const ParameterInfo& info : parameters) {
    if (info.name == parameter) return &info;
  }
  return nullptr;
}

std::vector<const ClassInfo*> ClassInfo::with_subclasses() const {
  std::vector<const ClassInfo*> result{this};
  for (std::size_t i = 0; i < subclasses_.size(); ++i) {
    const auto below = subclasses_[i]->with_subclasses();
    result.insert(result.end(), below.begin(), below.end());
  }
  return result;
}

const PropertyInfo* ClassInfo::find_property(std::string_view name) const {
  const auto found = property_index_.find(name);
  return found == property_index_.end() ? nullptr : found->second;
}

const PropertyInfo* ClassInfo::find_next_property(const PropertyInfo* previous,
                                                  std::string_view name) const {
  const std::size_t next =
      previous ? static_cast<std::size_t>(previous - properties_.data()) + 1 : 0;
  for (std::size_t i = next; i < properties_.size(); ++i)
    if (properties_[i].name == name) return &properties_[i];
  return find_property(name);
}

const MethodInfo* ClassInfo::find_method(std::string_view name) const {
  for (const MethodInfo& info : methods_) {
    if (info.name == name) return &info;
  }
  return nullptr;
}

const ParameterInfo* ClassInfo::find_parameter(std::string_view method,
                                               std::string_view parameter) const {
  for (const ClassInfo* at = this; at; at = at->superclass_) {
    const MethodInfo* const info = at->find_method(method);
    const ParameterInfo* const found = info ? info->find_parameter(parameter) : nullptr;
    if (found) return found;
  }
  return nullptr;
}

const Qualifier* ClassInfo::find_qualifier(std::string_view name) const {
  return find_inherited(class_, [&](const Class& at) { return find_in(at.qualifiers, name); });
}

const Qualifier* ClassInfo::find_property_qualifier(std::string_view property,
                                                    std::string_view name) const {
  const PropertyInfo* info = find_property(property);
  if (!info) return nullptr;
  return find_inherited(info->declared, [&](const Class& at) {
    const Feature* feature = find_in(at.properties, property);
    return feature ? find_in(feature->qualifiers, name) : nullptr;
  });
}

const Qualifier* ClassInfo::find_method_qualifier(std::string_view method,
                                                  std::string_view name) const {
  const MethodInfo* info = find_method(method);
  if (!info) return nullptr;
  return find_inherited(info->declared, [&](const Class& at) {
    const Method* declaration = find_in(at.methods, method);
    return declaration ? find_in(declaration->qualifiers, name) : nullptr;
  });
}

const Qualifier* ClassInfo::find_parameter_qualifier(std::string_view method,
                                                     std::string_view parameter,
                                                     std::string_view name) const {
  const MethodInfo* info = find_method(method);
  if (!info) return nullptr;
  return find_inherited(info->declared, [&](const Class& at) -> const Qualifier* {
    const Method* declaration = find_in(at.methods, method);
    const Feature* feature = declaration ? find_in(declaration->parameters, parameter) : nullptr;
    return feature ? find_in(feature->qualifiers, name) : nullptr;
  });
}

Schema::Schema(std::span<const Class> classes, std::span<const QualifierDeclaration> qualifiers)
    : qualifiers_(qualifiers) {
  classes_.reserve(classes.size());  // they point at each other and must not move
  for (const Class& declaration : classes) {
    ClassInfo& info = classes_.emplace_back();
    info.class_ = &declaration;
    if (!index_.emplace(declaration.name, &info).second) {
      throw std::logic_error("class " + std::string(declaration.name) + " is declared twice");
    }
    if (declaration.superclass) {
      const auto parent = index_.find(declaration.superclass->name);
      if (parent == index_.end()) {
        throw std::logic_error("class " + std::string(declaration.name) +
                               " stands before its superclass");
      }
      info.superclass_ = parent->second;
      parent->second->subclasses_.push_back(&info);
      info.properties_ = parent->second->properties_;
      info.methods_ = parent->second->methods_;
    }
    add_properties(info);
    add_methods(info);
  }
  unsigned counter = 0;
  for (ClassInfo& info : classes_) {
    if (!info.superclass_) number(info, counter);
  }
}

void Schema::add_properties(ClassInfo& info) {
  const Class& declaration = *info.class_;
  for (const Feature& feature : declaration.properties) {
    const PropertyInfo own{&feature,
                           &declaration,
                           &declaration,
                           Name::borrowed(feature.name),
                           element_type(feature),
                           is_array(feature.type),
                           feature.key};
    const auto overridden =
        std::find_if(info.properties_.begin(), info.properties_.end(),
                     [&](const PropertyInfo& property) { return property.name == own.name; });
    if (overridden == info.properties_.end()) {
      info.properties_.push_back(own);
      continue;
    }
    const Class* origin = overridden->origin;
    const bool key = overridden->key;
    const Type type = overridden->type;
    *overridden = own;
    overridden->origin = origin;
    overridden->key |= key;
    if (type == Type::Instance && own.type == Type::String) overridden->type = type;
  }
  for (const PropertyInfo& property : info.properties_) {
    info.property_index_.emplace(property.name.view(), &property);
    if (property.key) info.keys_.push_back(&property);
  }
}

void Schema::add_methods(ClassInfo& info) {
  const Class& declaration = *info.class_;
  for (const Method& method : declaration.methods) {
    MethodInfo own{&method,
                   &declaration,
                   &declaration,
                   Name::borrowed(method.name),
                   static_cast<Type>(method.type & ~CMPI_ARRAY),
                   is_array(method.type),
                   {}};
    for (const Feature& feature : method.parameters) {
      own.parameters.push_back(
          {&feature, Name::borrowed(feature.name), element_type(feature), is_array(feature.type)});
    }
    const auto overridden =
        std::find_if(info.methods_.begin(), info.methods_.end(),
                     [&](const MethodInfo& inherited) { return inherited.name == own.name; });
    if (overridden == info.methods_.end()) {
      info.methods_.push_back(std::move(own));
    } else {
      own.origin = overridden->origin;
      *overridden = std::move(own);
    }
  }
}

void Schema::number(ClassInfo& info, unsigned& counter) {
  info.first_ = counter++;
  for (const ClassInfo* below : info.subclasses_) number(const_cast<ClassInfo&>(*below), counter);
  info.last_ = counter - 1;
}

const ClassInfo* Schema::find(std::string_view name) const {
  const auto found = index_.find(name);
  return found == index_.end() ? nullptr : found->second;
}

const ClassInfo& Schema::get(std::string_view name) const {
  if (const ClassInfo* info = find(name)) return *info;
  throw Error(Status::InvalidClass, "there is no class " + std::string(name));
}

}  // namespace broker
