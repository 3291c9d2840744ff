// Which operations are served, in the groups of the standard (DSP0200). A client that asks with
// OPTIONS is told the groups that are complete.
#pragma once

#include <string>
#include <string_view>

namespace broker::cimxml {

struct FunctionalGroup {
  std::string_view name;
  std::string_view operations;  // with blanks between
};

inline constexpr FunctionalGroup kFunctionalGroups[] = {
    {"Basic Read",
     "GetClass EnumerateClasses EnumerateClassNames GetInstance EnumerateInstances "
     "EnumerateInstanceNames GetProperty"},
    {"Basic Write", "SetProperty"},
    {"Instance Manipulation", "CreateInstance ModifyInstance DeleteInstance"},
    {"Association Traversal", "Associators AssociatorNames References ReferenceNames"},
};

// Those of a group that is served in part, and the pulled ones, for which OPTIONS has no word.
inline constexpr std::string_view kOtherOperations =
    "EnumerateQualifiers GetQualifier OpenEnumerateInstances OpenEnumerateInstancePaths "
    "OpenAssociatorInstances OpenAssociatorInstancePaths OpenReferenceInstances "
    "OpenReferenceInstancePaths PullInstancesWithPath PullInstancePaths CloseEnumeration";

// The names of the groups, as the field CIMSupportedFunctionalGroups has them.
inline std::string functional_groups() {
  std::string names;
  for (const FunctionalGroup& group : kFunctionalGroups) {
    if (!names.empty()) names += ", ";
    names += group.name;
  }
  return names;
}

}  // namespace broker::cimxml
