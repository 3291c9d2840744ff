// The registration of classes to providers, in the form that sfcb reads:
//
//   [KAVRO_DiskDrive]
//      provider: KAVRO_DiskDrive_Provider
//      location: hddtest.cmpi
//      type: instance method
//      namespace: root/cimv2
//      group: hddtest
//      unload: never
//
// A class may have several sections, each for types of its own; location is the library
// lib<location>.so in the provider folders; group names the process that the provider runs in,
// where an object manager has processes for providers. Empty lines and lines that begin with # are
// skipped. Other keys are refused, as sfcb refuses them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace broker {

struct RegistrationEntry {
  std::string class_name;
  std::string provider;
  std::string location;
  bool instance = false;
  bool association = false;
  bool method = false;
  std::vector<std::string> name_spaces;
  std::string group;  // empty when not given
  bool unload_never = false;
};

// Throws Error (Failed) with "name:line: reason" for text that is no registration. A missing
// line end after the last line is accepted.
std::vector<RegistrationEntry> parse_registration(std::string_view text, std::string_view name);

// Throws Error (Failed) also when the file cannot be read.
std::vector<RegistrationEntry> read_registration(const std::filesystem::path& file);

}  // namespace broker
