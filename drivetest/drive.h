// A drive: what it says of itself, where it is now, and which tests it can do.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace drivetest {

enum class Protocol { Unknown, Ata, Scsi, Nvme };

// The tests that can be started. Others that a log may tell of (selective, off-line, captive,
// vendor's) are known by the drive's own code alone.
enum class TestKind { Short, Long, Conveyance };
inline constexpr std::array kTestKinds = {TestKind::Short, TestKind::Long, TestKind::Conveyance};

// "ATA", "short" and so on, as users read them and as the history holds them; "unknown" for a
// protocol that is not known. The reverse is not set for any other word.
std::string_view name_of(Protocol protocol);
std::string_view name_of(TestKind kind);
std::optional<Protocol> protocol_named(std::string_view name);
std::optional<TestKind> test_kind_named(std::string_view name);

// How to reach a drive: a device name and, where smartctl needs it, its -d type ("sat",
// "megaraid,0"). Both belong together and hold for the moment only: after a reboot the name may be
// another drive's.
struct Place {
  std::string device;  // "/dev/sda"; for NVMe the controller, "/dev/nvme0"
  std::string type;    // empty: smartctl's own choice

  bool operator==(const Place&) const = default;
};

// The part of a -d type that chooses one of several drives which share a device: "megaraid,5" of
// "sat+megaraid,5". Empty: the type says only how the drive is reached.
std::string member_type(const std::string& type);

// Whether both have the same device and, behind a controller, the same member; how the type reaches
// it does not count.
bool is_same_place(const Place& a, const Place& b);

// What a drive says of itself. Texts are as the drive gives them without blanks at the ends, valid
// UTF-8 and otherwise unchecked: escape them before a terminal or a page sees them. Empty: not
// told.
struct Drive {
  Place place;
  Protocol protocol = Protocol::Unknown;
  std::string model;
  std::string serial_number;
  std::string firmware;
  // The identifier that no other drive has: "wwn-0x5000c500a1b2c3d4", "eui-0025385b71b0a7c1",
  // "nguid-0025385b71b0a7c10025385b71b0a7c1"; in lower case. An NVMe drive has that of its only
  // namespace, the NGUID where there is no EUI-64.
  std::string world_wide_name;
  std::optional<std::uint64_t> size;  // bytes
  std::optional<bool> is_rotational;

  // The bridge between may do what the drive would not: let it rest during a test. The kernel
  // tells.
  bool is_on_usb = false;

  // Another drive claims to be the same one, or did before. Told by those who know all drives.
  bool shares_identity = false;

  // The world wide name, else model and serial number with a line feed between, which neither
  // holds; empty for a drive that says neither.
  std::string claimed_identity() const;

  // The name under which the history keeps the drive: its claimed identity. Its place is added
  // where the drive claims none, or shares it with another drive. A type that only says how the
  // drive is reached is no part of it.
  std::string identity() const;
};

// Which tests a drive can do, and how many minutes it says that each takes. Not set: it does not
// say, or does not say in a way that can be believed.
struct Ability {
  bool is_able = false;
  std::optional<unsigned> minutes;
};
using Abilities = std::array<Ability, kTestKinds.size()>;  // by TestKind

}  // namespace drivetest
