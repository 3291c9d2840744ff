// Questions about classes, answered across the inheritance.
//
// Built once over class declarations (repository.h), which it refers to and never copies.
// Immutable afterwards, so that every thread may ask.
#pragma once

#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "broker/name.h"
#include "broker/repository.h"
#include "broker/value.h"

namespace broker {

class ClassInfo;

// A property as a class has it, inherited or own.
struct PropertyInfo {
  const Feature* feature;  // the nearest declaration
  const Class* declared;   // the class with that declaration
  const Class* origin;     // the class that introduced the property
  Name name;               // in the spelling of the declaration, borrowed
  Type type;               // element type; Instance for a string that embeds an instance
  bool array;
  bool key;
};

struct ParameterInfo {
  const Feature* feature;
  Name name;
  Type type;
  bool array;
};

struct MethodInfo {
  const Method* method;
  const Class* declared;
  const Class* origin;
  Name name;
  Type type;
  bool array;
  std::vector<ParameterInfo> parameters;

  const ParameterInfo* find_parameter(std::string_view parameter) const;
};

class ClassInfo {
 public:
  const Class& declaration() const { return *class_; }
  Name name() const { return Name::borrowed(class_->name); }
  bool association() const { return class_->association; }
  bool abstract() const { return class_->abstract; }
  const ClassInfo* superclass() const { return superclass_; }
  std::span<const ClassInfo* const> subclasses() const { return subclasses_; }  // direct ones

  // This class or one that derives from the other.
  bool is_a(const ClassInfo& other) const { return first_ >= other.first_ && last_ <= other.last_; }
  // This class and everything below it, in depth-first order.
  std::vector<const ClassInfo*> with_subclasses() const;

  // Every property; an overriding one keeps the place of the one it overrides.
  std::span<const PropertyInfo> properties() const { return properties_; }
  const PropertyInfo* find_property(std::string_view name) const;
  // The same, quicker for names in the order of the properties, as most providers set them: see
  // InstanceObject::last.
  // previous: the one found before; null at the beginning.
  const PropertyInfo* find_next_property(const PropertyInfo* previous, std::string_view name) const;
  std::span<const PropertyInfo* const> keys() const { return keys_; }

  std::span<const MethodInfo> methods() const { return methods_; }
  const MethodInfo* find_method(std::string_view name) const;
  // A parameter of a method. A class that declares an inherited method anew may name its parameters
  // differently; the names that superclasses use are found too.
  const ParameterInfo* find_parameter(std::string_view method, std::string_view parameter) const;

  // The class's own qualifier, or an inherited one that passes to subclasses; null when there is
  // none.
  const Qualifier* find_qualifier(std::string_view name) const;
  const Qualifier* find_property_qualifier(std::string_view property, std::string_view name) const;
  const Qualifier* find_method_qualifier(std::string_view method, std::string_view name) const;
  const Qualifier* find_parameter_qualifier(std::string_view method, std::string_view parameter,
                                            std::string_view name) const;

 private:
  friend class Schema;

  const Class* class_ = nullptr;
  const ClassInfo* superclass_ = nullptr;
  std::vector<const ClassInfo*> subclasses_;
  // Classes are numbered depth first, so that a class and its subclasses are an interval.
  unsigned first_ = 0, last_ = 0;
  std::vector<PropertyInfo> properties_;
  std::vector<const PropertyInfo*> keys_;
  std::vector<MethodInfo> methods_;
  std::unordered_map<std::string_view, const PropertyInfo*, NameHash, NameEqual> property_index_;
};

class Schema {
 public:
  // The classes, the qualifiers and all they refer to must live as long as the schema. Superclasses
  // must stand before their subclasses.
  explicit Schema(std::span<const Class> classes,
                  std::span<const QualifierDeclaration> qualifiers = {});
  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;

  const ClassInfo* find(std::string_view name) const;  // null when there is no such class
  const ClassInfo& get(std::string_view name) const;   // throws Error (InvalidClass)

  // Every class, superclasses before their subclasses.
  std::span<const ClassInfo> classes() const { return classes_; }

  std::span<const QualifierDeclaration> qualifiers() const { return qualifiers_; }

 private:
  static void add_properties(ClassInfo& info);
  static void add_methods(ClassInfo& info);
  static void number(ClassInfo& info, unsigned& counter);

  std::vector<ClassInfo> classes_;
  const std::span<const QualifierDeclaration> qualifiers_;
  std::unordered_map<std::string_view, ClassInfo*, NameHash, NameEqual> index_;
};

// The schema of the generated repository. Made at the first call, lives as long as the process.
const Schema& generated_schema();

}  // namespace broker
