// The rows of contract.def as data, and how tests tell what differs from them.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace contract {

// How the class's provider answers; contract.def says what each word means.
enum class ProviderKind { Inert, Logged, Own, Inventory, Unregistered };

struct Class {
  const char* name;
  const char* superclass;
  bool association;
  ProviderKind provider;
  std::size_t properties;
  const char* keys;     // with blanks between
  const char* methods;  // likewise

  bool in_module() const { return provider <= ProviderKind::Own; }
};

inline constexpr Class kClasses[] = {
#define INSTANCE(name, superclass, provider, properties, keys, methods) \
  {#name, #superclass, false, ProviderKind::provider, properties, keys, methods},
#define ASSOCIATION(name, superclass, provider, properties, keys, methods) \
  {#name, #superclass, true, ProviderKind::provider, properties, keys, methods},
#include "model/contract.def"
};

// Null for a class that has no row.
inline const Class* find(std::string_view name) {
  for (const Class& row : kClasses)
    if (row.name == name) return &row;
  return nullptr;
}

// A line for each name that only one of the two has; empty when they are equal.
inline std::string difference(const std::set<std::string>& found,
                              const std::set<std::string>& in_contract) {
  std::string lines;
  for (const std::string& name : found)
    if (!in_contract.contains(name)) lines += "not in the contract: " + name + '\n';
  for (const std::string& name : in_contract)
    if (!found.contains(name)) lines += "missing: " + name + '\n';
  return lines;
}

}  // namespace contract
