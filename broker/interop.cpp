#include "broker/interop.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace broker {
namespace {

constexpr std::array<std::string_view, 2> kNames{kInteropNameSpace, "root/interop"};

// Values as CIM declares them; the labels stand in model/interop.mof.
constexpr std::uint16_t kOk = 2;                 // OperationalStatus
constexpr std::uint16_t kEnabled = 2;            // EnabledState
constexpr std::uint16_t kNotRequested = 12;      // RequestedState: not applicable
constexpr std::uint16_t kCim = 2;                // ClassType
constexpr std::uint16_t kCimXml = 2;             // CommunicationMechanism
constexpr std::uint16_t kNotAdvertised = 2;      // AdvertiseTypes of a mechanism and of a profile
constexpr std::uint16_t kVersionOne = 1;         // CIMXMLProtocolVersion
constexpr std::uint16_t kNoLogIn = 2;            // AuthenticationMechanismsSupported
constexpr std::uint16_t kBasic = 3;              // the same
constexpr std::uint16_t kOtherOrganization = 1;  // RegisteredOrganization
constexpr std::uint16_t kProfile = 2;            // SpecificationType

Value numbers(const std::vector<std::uint16_t>& values) {
  return Value::array(Type::Uint16, std::vector<Value>(values.begin(), values.end()));
}

// An instance of "interop"; keys and properties are set by the names that follow.
Instance made(const char* class_name, std::initializer_list<Property> keys,
              std::initializer_list<Property> others) {
  Instance result(ObjectPath(Name::borrowed(kInteropNameSpace), Name::borrowed(class_name)));
  for (const Property& key : keys) {
    result.path.set_key(key.name, key.value);
    result.set(key.name, key.value);
  }
  for (const Property& other : others) result.set(other.name, other.value);
  return result;
}

Instance object_manager(const InteropFacts& facts) {
  return made("CIM_ObjectManager",
              {{"SystemCreationClassName", facts.system_class},
               {"SystemName", facts.system_name},
               {"CreationClassName", "CIM_ObjectManager"},
               {"Name", facts.name}},
              {{"ElementName", facts.product},
               {"Caption", facts.product},
               // Clients read the version behind the last word of that name.
               {"Description", facts.product + " Version " + facts.version},
               {"GatherStatisticalData", false},
               {"Started", true},
               {"EnabledState", kEnabled},
               {"RequestedState", kNotRequested},
               {"OperationalStatus", numbers({kOk})}});
}

Instance name_space(const Instance& manager, std::string_view name) {
  const auto same = [&](const char* property) { return *manager.property(property); };
  return made("CIM_Namespace",
              {{"SystemCreationClassName", same("SystemCreationClassName")},
               {"SystemName", same("SystemName")},
               {"ObjectManagerCreationClassName", same("CreationClassName")},
               {"ObjectManagerName", same("Name")},
               {"CreationClassName", "CIM_Namespace"},
               {"Name", name}},
              {{"ElementName", name},
               {"ClassInfo", std::uint16_t{0}},
               {"ClassType", kCim},
               {"ClassTypeVersion", "2.13.1"}});
}

Instance mechanism(const Instance& manager, const InteropFacts& facts) {
  const auto same = [&](const char* property) { return *manager.property(property); };
  return made(
      "CIM_CIMXMLCommunicationMechanism",
      {{"SystemCreationClassName", same("SystemCreationClassName")},
       {"SystemName", same("SystemName")},
       {"CreationClassName", "CIM_CIMXMLCommunicationMechanism"},
       {"Name", facts.name + ":CIM-XML"}},
      {{"ElementName", facts.encrypts ? "CIM-XML over HTTPS" : "CIM-XML over HTTP"},
       {"EnabledState", kEnabled},
       {"RequestedState", kNotRequested},
       {"OperationalStatus", numbers({kOk})},
       {"CommunicationMechanism", kCimXml},
       {"Version", "1.0"},
       {"CIMXMLProtocolVersion", kVersionOne},
       {"CIMValidated", false},
       {"MultipleOperationsSupported", true},
       {"FunctionalProfilesSupported", numbers(facts.operations)},
       {"AuthenticationMechanismsSupported", numbers({facts.authenticates ? kBasic : kNoLogIn})},
       {"AdvertiseTypes", numbers({kNotAdvertised})},
       {"PulledEnumerationClosureOnExceedingServerLimitsSupported", false},
       {"PulledEnumerationContinuationOnErrorSupported", false},
       {"PulledEnumerationMinimumOperationTimeout", std::uint32_t{1}},
       {"PulledEnumerationMaximumOperationTimeout", facts.longest_timeout},
       {"PulledEnumerationNoOperationTimeoutSupported", false}});
}

Instance registered(const ProfileFacts& profile) {
  return made("CIM_RegisteredProfile",
              {{"InstanceID", profile.organization + ":" + profile.name + "/" + profile.version}},
              {{"ElementName", profile.name},
               {"RegisteredOrganization", kOtherOrganization},
               {"OtherRegisteredOrganization", profile.organization},
               {"RegisteredName", profile.name},
               {"RegisteredVersion", profile.version},
               {"SpecificationType", kProfile},
               {"AdvertiseTypes", numbers({kNotAdvertised})}});
}

Instance association(const char* class_name, const char* one_role, const ObjectPath& one,
                     const char* other_role, const ObjectPath& other) {
  return made(class_name, {{one_role, one}, {other_role, other}}, {});
}

}  // namespace

bool is_interop(std::string_view name_space) {
  return std::any_of(kNames.begin(), kNames.end(),
                     [&](std::string_view name) { return same_name(name, name_space); });
}

std::vector<Instance> interop_instances(const InteropFacts& facts,
                                        const std::vector<Conforming>& conforming) {
  const Instance manager = object_manager(facts);
  const Instance spoken = mechanism(manager, facts);
  std::vector<Instance> result{manager, spoken,
                               association("CIM_CommMechanismForManager", "Antecedent",
                                           manager.path, "Dependent", spoken.path)};
  std::vector<std::string_view> names{kServedNameSpace};
  names.insert(names.end(), kNames.begin(), kNames.end());
  for (const std::string_view name : names) {
    const Instance one = name_space(manager, name);
    result.push_back(one);
    result.push_back(
        association("CIM_NamespaceInManager", "Antecedent", manager.path, "Dependent", one.path));
  }
  for (const Conforming& profile : conforming) {
    const Instance standard = registered(*profile.profile);
    result.push_back(standard);
    for (const ObjectPath& element : profile.instances) {
      result.push_back(association("CIM_ElementConformsToProfile", "ConformantStandard",
                                   standard.path, "ManagedElement", element));
    }
  }
  return result;
}

std::vector<std::string_view> interop_classes() {
  return {"CIM_ObjectManager",           "CIM_Namespace",
          "CIM_NamespaceInManager",      "CIM_CIMXMLCommunicationMechanism",
          "CIM_CommMechanismForManager", "CIM_RegisteredProfile",
          "CIM_ElementConformsToProfile"};
}

}  // namespace broker
