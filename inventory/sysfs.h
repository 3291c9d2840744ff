// Reading of the kernel's sysfs, in which drives come and go while they are read: what is
// missing, unreadable, no number or vanishes meanwhile is absent, and nothing here fails.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace inventory {

// The tree below one root. Paths begin with a slash and are taken below that root. Reading does
// not wait for the drive: the kernel answers from memory. Any thread may read.
class Sysfs {
 public:
  // The root that the environment variable HVX_SYSFS_ROOT names, else the machine's own.
  Sysfs();
  explicit Sysfs(std::string root);

  // A file's bytes, at most 4096 of them: the kernel's text attributes are one page.
  std::optional<std::string> bytes(const std::string& path) const;

  // A text attribute, cleaned (device_text.h); empty when it is absent.
  std::string text(const std::string& path) const;

  // An attribute that holds one unsigned decimal number.
  std::optional<std::uint64_t> number(const std::string& path) const;

  // An attribute of 0 or 1; absent counts as 0.
  bool flag(const std::string& path) const { return number(path) == 1; }

  // The names in a directory, unsorted, those that begin with a dot left out.
  std::vector<std::string> entries(const std::string& path) const;

  // Where a path leads when every link in it is followed, as a path below the root; empty when
  // it leads nowhere, in circles, or out of the root.
  std::string target(const std::string& path) const;

 private:
  std::string root_;  // without links in it and without a slash at its end
};

// The whole text as an unsigned decimal number.
std::optional<std::uint64_t> parse_number(std::string_view text);

}  // namespace inventory
