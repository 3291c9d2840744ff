#include "platform/smbios/smbios_table.h"

#include <cstring>
#include <numeric>
#include <string_view>

namespace smbios {

namespace {

constexpr std::uint8_t kEndOfTable = 127;
constexpr std::size_t kHeaderSize = 4;

std::size_t little_endian(Bytes bytes, std::size_t offset, std::size_t count) {
  std::size_t value = 0;
  while (count-- > 0) value = value << 8 | bytes[offset + count];
  return value;
}

bool has_text(Bytes bytes, std::size_t offset, std::string_view text) {
  return bytes.size() >= offset + text.size() &&
         std::memcmp(bytes.data() + offset, text.data(), text.size()) == 0;
}

std::uint8_t sum(Bytes bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), std::uint8_t{0},
                         [](std::uint8_t before, std::uint8_t byte) {
                           return static_cast<std::uint8_t>(before + byte);
                         });
}

// The bytes of an area with a checksum add up to 0.
bool checks(Bytes bytes) { return sum(bytes) == 0; }

// Of the inner part of an entry point of version 2: fifteen bytes from "_DMI_" on, whatever the
// length of the whole. Of an entry point of 30 bytes the kernel shows all but the last of them. It
// is the revision as a decimal in two halves, or 0 where the two bytes of the version say it.
bool checks_inside(Bytes entry_point) {
  constexpr std::size_t kBegin = 0x10, kSize = 0x0f;
  if (entry_point.size() >= kBegin + kSize) return checks(entry_point.subspan(kBegin, kSize));
  const auto revision = static_cast<std::uint8_t>(entry_point[6] << 4 | entry_point[7]);
  const Bytes shown = entry_point.subspan(kBegin);
  return sum(shown) == 0 || static_cast<std::uint8_t>(sum(shown) + revision) == 0;
}

// The size of the structure that begins the bytes, its string set included; 0 when it does not
// end within them.
std::size_t structure_size(Bytes bytes) {
  if (bytes.size() < kHeaderSize || bytes[1] < kHeaderSize || bytes[1] > bytes.size()) return 0;
  for (std::size_t end = bytes[1]; end + 2 <= bytes.size(); ++end)
    if (bytes[end] == 0 && bytes[end + 1] == 0) return end + 2;
  return 0;
}

}  // namespace

std::optional<Extent> read_entry_point(Bytes entry_point) {
  if (has_text(entry_point, 0, "_SM3_") && entry_point.size() >= 0x18) {
    const std::size_t length = entry_point[6];
    if (length < 0x18 || length > entry_point.size() || !checks(entry_point.first(length)))
      return std::nullopt;
    return Extent{little_endian(entry_point, 0x0c, 4), false, 0};
  }
  if (has_text(entry_point, 0, "_SM_") && entry_point.size() >= 0x1e) {
    // 0x1f; 0x1e in tables that follow an error of the standard's 2.1 edition.
    const std::size_t length = entry_point[5];
    if (length < 0x1e || length > entry_point.size() || !checks(entry_point.first(length)) ||
        !has_text(entry_point, 0x10, "_DMI_") || !checks_inside(entry_point))
      return std::nullopt;
    return Extent{little_endian(entry_point, 0x16, 2), true, little_endian(entry_point, 0x1c, 2)};
  }
  return std::nullopt;
}

Found find_structure(Bytes table, std::size_t structures, std::uint8_t type) {
  for (std::size_t number = 0; structures == 0 || number < structures; ++number) {
    // A table that does not say how many structures it has ends where its bytes end.
    if (table.empty() && structures == 0) break;
    const std::size_t size = structure_size(table);
    if (size == 0) return {SmbiosBadTable, {}};
    if (table[0] == type) return {SmbiosOk, table.first(size)};
    if (table[0] == kEndOfTable) break;
    table = table.subspan(size);
  }
  return {SmbiosNotFound, {}};
}

}  // namespace smbios
