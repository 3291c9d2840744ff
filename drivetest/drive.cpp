#include "drivetest/drive.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "drivetest/name_table.h"

namespace drivetest {

namespace {

constexpr NameTable<Protocol, 4> kProtocols = {{{Protocol::Unknown, "unknown"},
                                                {Protocol::Ata, "ATA"},
                                                {Protocol::Scsi, "SCSI"},
                                                {Protocol::Nvme, "NVMe"}}};
constexpr NameTable<TestKind, 3> kKinds = {
    {{TestKind::Short, "short"}, {TestKind::Long, "long"}, {TestKind::Conveyance, "conveyance"}}};

constexpr std::string_view kAtPlace = "\nat ";

}  // namespace

std::string_view name_of(Protocol protocol) { return name_in(kProtocols, protocol); }
std::string_view name_of(TestKind kind) { return name_in(kKinds, kind); }
std::optional<Protocol> protocol_named(std::string_view name) { return named_in(kProtocols, name); }
std::optional<TestKind> test_kind_named(std::string_view name) { return named_in(kKinds, name); }

std::string member_type(const std::string& type) {
  // The device is that of a controller, or of a bridge of several drives.
  constexpr std::array<std::string_view, 14> kControllers = {
      "megaraid",     "cciss",        "areca",          "3ware",         "aacraid",
      "hpt",          "sssraid",      "jmb39x",         "jms56x",        "usbasm1352r",
      "usbjmicron,0", "usbjmicron,1", "usbjmicron,x,0", "usbjmicron,x,1"};
  for (const std::string_view controller : kControllers)
    if (const std::size_t found = type.find(controller); found != type.npos)
      return type.substr(found, type.find('+', found) - found);
  return {};
}

bool is_same_place(const Place& a, const Place& b) {
  return a.device == b.device && member_type(a.type) == member_type(b.type);
}

std::string Drive::claimed_identity() const {
  if (!world_wide_name.empty()) return world_wide_name;
  if (model.empty() || serial_number.empty()) return {};
  std::string identity = model + "\n" + serial_number;
  // A line feed of the drive's own would make two drives one.
  std::replace(identity.begin(), identity.begin() + static_cast<std::ptrdiff_t>(model.size()), '\n',
               ' ');
  // Nor may its words make it another drive at its place: a blank tells them from a place.
  for (auto at = identity.find(kAtPlace); at != identity.npos; at = identity.find(kAtPlace, at))
    identity.insert(at + 1, " ");
  return identity;
}

std::string Drive::identity() const {
  std::string identity = claimed_identity();
  if (!identity.empty() && !shares_identity) return identity;
  const std::string member = member_type(place.type);
  identity += kAtPlace;
  return identity + place.device + (member.empty() ? "" : " -d " + member);
}

}  // namespace drivetest
