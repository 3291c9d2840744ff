#include "inventory/sysfs.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <memory>
#include <system_error>

#include "inventory/device_text.h"
#include "platform/descriptor.h"

namespace inventory {

namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
  void operator()(DIR* directory) const { closedir(directory); }
};

std::string resolved(const std::string& path) {
  const std::unique_ptr<char, Free> result(realpath(path.c_str(), nullptr));
  return result ? result.get() : std::string();
}

std::string root_from_environment() {
  const char* root = std::getenv("HVX_SYSFS_ROOT");
  return root ? root : "";
}

}  // namespace

Sysfs::Sysfs() : Sysfs(root_from_environment()) {}

Sysfs::Sysfs(std::string root) : root_(std::move(root)) {
  if (root_.empty()) return;
  if (std::string path = resolved(root_); !path.empty()) root_ = std::move(path);
  if (root_ == "/") root_.clear();
}

std::optional<std::string> Sysfs::bytes(const std::string& path) const {
  const platform::Descriptor file(
      open((root_ + path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return std::nullopt;
  char buffer[4096];
  const ssize_t size = read(file.get(), buffer, sizeof buffer);
  if (size < 0) return std::nullopt;
  return std::string(buffer, static_cast<std::size_t>(size));
}

std::string Sysfs::text(const std::string& path) const { return cleaned(bytes(path).value_or("")); }

std::optional<std::uint64_t> Sysfs::number(const std::string& path) const {
  return parse_number(text(path));
}

std::vector<std::string> Sysfs::entries(const std::string& path) const {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, Free> directory(opendir((root_ + path).c_str()));
  if (!directory) return names;
  while (const dirent* entry = readdir(directory.get()))
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  return names;
}

std::string Sysfs::target(const std::string& path) const {
  const std::string place = resolved(root_ + path);
  return place.starts_with(root_ + "/") ? place.substr(root_.size()) : std::string();
}

std::optional<std::uint64_t> parse_number(std::string_view text) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
  return value;
}

}  // namespace inventory
