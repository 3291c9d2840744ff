// SMBIOS tables made by tests.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

namespace smbios {

using Table = std::vector<std::uint8_t>;

// A structure: the header, the rest of the formatted area, and its strings as they stand.
inline Table structure(std::uint8_t type, const std::string& rest, const std::string& strings) {
  Table result = {type, static_cast<std::uint8_t>(4 + rest.size()), 0x34, 0x12};
  result.insert(result.end(), rest.begin(), rest.end());
  result.insert(result.end(), strings.begin(), strings.end());
  return result;
}

// Structure type 1 with 27 formatted bytes; product is the number of its product name string.
inline Table system_information(std::uint8_t product, const std::vector<std::string>& strings) {
  std::string rest(23, '\0');
  rest[1] = static_cast<char>(product);
  std::string set;
  for (const std::string& string : strings) set += string + '\0';
  return structure(1, rest, strings.empty() ? std::string(2, '\0') : set + '\0');
}

inline Table joined(std::initializer_list<Table> structures) {
  Table result;
  for (const Table& one : structures) result.insert(result.end(), one.begin(), one.end());
  return result;
}

inline void set_checksum(Table& bytes, std::size_t begin, std::size_t count, std::size_t at) {
  bytes[at] = 0;
  std::uint8_t sum = 0;
  for (std::size_t i = begin; i < begin + count; ++i)
    sum = static_cast<std::uint8_t>(sum + bytes[i]);
  bytes[at] = static_cast<std::uint8_t>(-sum);
}

inline Table entry_point_2(std::size_t table_bytes, std::size_t structures) {
  Table bytes(0x1f);
  const std::string anchors = std::string("_SM_") + '\0' + '\x1f' + "\x02\x08";
  std::copy(anchors.begin(), anchors.end(), bytes.begin());
  const std::string dmi = "_DMI_";
  std::copy(dmi.begin(), dmi.end(), bytes.begin() + 0x10);
  bytes[0x16] = static_cast<std::uint8_t>(table_bytes);
  bytes[0x17] = static_cast<std::uint8_t>(table_bytes >> 8);
  bytes[0x1c] = static_cast<std::uint8_t>(structures);
  bytes[0x1d] = static_cast<std::uint8_t>(structures >> 8);
  set_checksum(bytes, 0x10, 0x0f, 0x15);
  set_checksum(bytes, 0, 0x1f, 0x04);
  return bytes;
}

inline Table entry_point_3(std::size_t most_bytes) {
  Table bytes(0x18);
  const std::string anchor = std::string("_SM3_") + '\0' + '\x18' + "\x03\x02";
  std::copy(anchor.begin(), anchor.end(), bytes.begin());
  for (std::size_t i = 0; i < 4; ++i)
    bytes[0x0c + i] = static_cast<std::uint8_t>(most_bytes >> (8 * i));
  set_checksum(bytes, 0, 0x18, 0x05);
  return bytes;
}

// A made-up root of the file system that holds the two files; HVX_SYSFS_ROOT points to it.
class TestRoot {
 public:
  TestRoot() {
    std::string name = std::filesystem::temp_directory_path() / "smbios_test.XXXXXX";
    root_ = mkdtemp(name.data());
    std::filesystem::create_directories(root_ / "sys/firmware/dmi/tables");
    setenv("HVX_SYSFS_ROOT", root_.c_str(), 1);
  }
  ~TestRoot() {
    unsetenv("HVX_SYSFS_ROOT");
    std::filesystem::remove_all(root_);
  }
  void write(const Table& entry_point, const Table& table) const {
    write_file("smbios_entry_point", entry_point);
    write_file("DMI", table);
  }

 private:
  void write_file(const char* name, const Table& bytes) const {
    std::ofstream file(root_ / "sys/firmware/dmi/tables" / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  std::filesystem::path root_;
};

}  // namespace smbios
