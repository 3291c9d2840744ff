// Which operations are served, in the groups of the standard (DSP0200). Clients are told the groups
// that are complete: those that ask with OPTIONS, and those that read the object manager's
// CIM_CIMXMLCommunicationMechanism.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace broker::cimxml {

struct FunctionalGroup {
  std::string_view name;
  std::uint16_t number;         // in CIM_CIMXMLCommunicationMechanism.FunctionalProfilesSupported
  bool in_options;              // OPTIONS has a word for it
  std::string_view operations;  // with blanks between
};

inline constexpr FunctionalGroup kFunctionalGroups[] = {
    {"Basic Read", 2, true,
     "GetClass EnumerateClasses EnumerateClassNames GetInstance EnumerateInstances "
     "EnumerateInstanceNames GetProperty"},
    {"Association Traversal", 6, true, "Associators AssociatorNames References ReferenceNames"},
    {"Pulled Read", 10, false,
     "OpenEnumerateInstances OpenEnumerateInstancePaths OpenAssociatorInstances "
     "OpenAssociatorInstancePaths OpenReferenceInstances OpenReferenceInstancePaths "
     "PullInstancesWithPath PullInstancePaths CloseEnumeration"},
};

// Those of groups that are served in part. Operations that write are handed to the providers, none
// of which writes, so that clients are not told of them.
inline constexpr std::string_view kOtherOperations =
    "EnumerateQualifiers GetQualifier SetProperty CreateInstance ModifyInstance DeleteInstance";

// The names of the groups, as the field CIMSupportedFunctionalGroups has them.
inline std::string functional_groups() {
  std::string names;
  for (const FunctionalGroup& group : kFunctionalGroups) {
    if (!group.in_options) continue;
    if (!names.empty()) names += ", ";
    names += group.name;
  }
  return names;
}

inline std::vector<std::uint16_t> functional_group_numbers() {
  std::vector<std::uint16_t> numbers;
  for (const FunctionalGroup& group : kFunctionalGroups) numbers.push_back(group.number);
  return numbers;
}

}  // namespace broker::cimxml
