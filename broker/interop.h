// What the object manager tells of itself, for clients that were not written for it: one
// CIM_ObjectManager, a CIM_Namespace for each name of a name space, how it is spoken to, and the
// profiles that its providers implement, each with the instances that conform to it.
//
// All of it stands in the name space "interop", read-only; "root/interop", which older clients ask
// for, is another name of it. Source of the classes: DMTF CIM schema 2.49.0 (model/interop.mof), of
// their use: DSP1033.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "broker/instance_value.h"

namespace broker {

inline constexpr std::string_view kInteropNameSpace = "interop";

// Whether the name is one of the name space's two names.
bool is_interop(std::string_view name_space);

// What providers implement as a text describes it, told to clients as a CIM_RegisteredProfile.
struct ProfileFacts {
  std::string organization;  // that of the text, in words
  std::string name;
  std::string version;        // as "1.0.0"
  std::string central_class;  // whose instances, in root/cimv2, conform to it
};

// What only the program knows in which the object manager runs.
struct InteropFacts {
  std::string name;     // of this object manager: no other has it, and it lasts
  std::string product;  // in words
  std::string version;
  // The machine on which it runs, as root/cimv2 has it.
  std::string system_class;
  std::string system_name;
  // How it is spoken to.
  std::vector<std::uint16_t> operations;  // groups, by their numbers in CIM
  bool encrypts = false;                  // by TLS
  bool authenticates = false;             // clients log in
  std::uint32_t longest_timeout = 0;  // in seconds, that a client may wish for an open enumeration
  std::vector<ProfileFacts> profiles;
};

struct Conforming {
  const ProfileFacts* profile;
  std::vector<ObjectPath> instances;
};

// With whole paths. Properties that are null are left out.
std::vector<Instance> interop_instances(const InteropFacts& facts,
                                        const std::vector<Conforming>& conforming);

// The classes that "interop" has, besides their superclasses and those to which they refer.
std::vector<std::string_view> interop_classes();

}  // namespace broker
