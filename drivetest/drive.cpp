#include "drivetest/drive.h"

#include <algorithm>

#include "drivetest/name_table.h"

namespace drivetest {

namespace {

constexpr NameTable<Protocol, 4> kProtocols = {{{Protocol::Unknown, "unknown"},
                                                {Protocol::Ata, "ATA"},
                                                {Protocol::Scsi, "SCSI"},
                                                {Protocol::Nvme, "NVMe"}}};
constexpr NameTable<TestKind, 3> kKinds = {
    {{TestKind::Short, "short"}, {TestKind::Long, "long"}, {TestKind::Conveyance, "conveyance"}}};

}  // namespace

std::string_view name_of(Protocol protocol) { return name_in(kProtocols, protocol); }
std::string_view name_of(TestKind kind) { return name_in(kKinds, kind); }
std::optional<Protocol> protocol_named(std::string_view name) { return named_in(kProtocols, name); }
std::optional<TestKind> test_kind_named(std::string_view name) { return named_in(kKinds, name); }

std::string Drive::claimed_identity() const {
  if (!world_wide_name.empty()) return world_wide_name;
  if (model.empty() || serial_number.empty()) return {};
  std::string identity = model + "\n" + serial_number;
  // A line feed of the drive's own would make two drives one.
  std::replace(identity.begin(), identity.begin() + static_cast<std::ptrdiff_t>(model.size()), '\n',
               ' ');
  return identity;
}

std::string Drive::identity() const {
  std::string identity = claimed_identity();
  if (!identity.empty() && !shares_identity) return identity;
  return identity + "\nat " + place.device + (place.type.empty() ? "" : " -d " + place.type);
}

}  // namespace drivetest
