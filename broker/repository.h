// The classes that the object manager knows: constant data generated from the MOF.
//
// This is the broker's own view of the model (it reaches providers through CMPI alone and knows
// nothing of the framework): declarations as they stand, without inherited features; Class
// answers questions across the inheritance. All names compare without regard to case.
#pragma once

#include <span>
#include <string_view>

#include "platform/cmpi/cmpi.h"

namespace broker {

// A qualifier's value in MOF spelling without quotes, one text per array element. A boolean
// qualifier holds "true" or "false".
struct Qualifier {
  std::string_view name;
  CMPIType type;  // with CMPI_ARRAY for an array
  std::span<const std::string_view> values;
  bool overridable;  // flavor EnableOverride
  bool to_subclass;  // flavor ToSubclass
};

// The declaration of a qualifier.
struct QualifierDeclaration {
  enum Scope : unsigned {
    ClassScope = 1,
    Association = 2,
    Reference = 4,
    Property = 8,
    Method = 16,
    Parameter = 32,
    Indication = 64
  };
  std::string_view name;
  CMPIType type;     // with CMPI_ARRAY for an array
  bool has_default;  // whether it has a value where it is not given
  std::span<const std::string_view> default_values;
  unsigned scopes;  // what it may be given for
  bool overridable;
  bool to_subclass;
  bool translatable;
};

// One property or parameter.
struct Feature {
  std::string_view name;
  CMPIType type;                     // CMPI_ref for a reference, with CMPI_ARRAY for an array
  std::string_view reference_class;  // of a reference, else empty
  const char* default_value;         // in MOF spelling without quotes; null when there is none
  bool key;
  bool in;
  bool out;
  std::span<const Qualifier> qualifiers;
};

struct Method {
  std::string_view name;
  CMPIType type;
  std::span<const Feature> parameters;
  std::span<const Qualifier> qualifiers;
};

struct Class {
  std::string_view name;
  const Class* superclass;              // null for a root class
  std::span<const Feature> properties;  // declared here, overriding ones included; "key" is
                                        // true for an overriding one whose original is a key
  std::span<const Method> methods;      // declared here
  std::span<const Qualifier> qualifiers;
  bool association;
  bool abstract;
};

// Every class, superclasses before their subclasses. Defined by the generated source.
std::span<const Class> all_classes();
// Every declared qualifier, in the order of the MOF. As above.
std::span<const QualifierDeclaration> all_qualifiers();

}  // namespace broker
