// The inventory over a made-up sysfs: every line of the input lays out one file (PATH=CONTENT, \n
// in it a line end) or one link (PATH -> PATH) below the tree's root, or beside it where the path
// begins with "..", and what is read of drives, bus devices and machine must be fit for publishing.
#include "fuzz/target.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

#include "inventory/bus_device.h"
#include "inventory/device_text.h"
#include "inventory/disk.h"
#include "inventory/machine.h"
#include "tests/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using fuzz::require;

constexpr std::size_t kMostLines = 400;

// Makes files and links in the folder and nowhere else, whatever the paths are.
class Tree {
 public:
  explicit Tree(const fs::path& folder) : folder_(folder) {
    fs::create_directories(folder_ / "root/sys");
  }
  ~Tree() {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder_)) fs::remove_all(entry.path(), error);
  }
  Tree(const Tree&) = delete;

  std::string root() const { return folder_ / "root"; }

  void lay_out(std::string_view line) const {
    constexpr std::string_view kArrow = " -> ";
    if (const std::size_t at = line.find(kArrow); at != line.npos) {
      const auto from = place(line.substr(0, at)), to = inside(line.substr(at + kArrow.size()));
      std::error_code error;
      if (from && to) fs::create_symlink(to->lexically_relative(from->parent_path()), *from, error);
    } else if (const std::size_t equals = line.find('='); equals != line.npos) {
      const auto file = place(line.substr(0, equals));
      if (!file || fs::exists(fs::symlink_status(*file))) return;
      std::ofstream(*file, std::ios::binary) << unescaped(line.substr(equals + 1));
    }
  }

 private:
  static std::string unescaped(std::string_view text) {
    std::string result;
    for (; !text.empty(); text.remove_prefix(1)) {
      const bool line_end = text.starts_with("\\n");
      result += line_end ? '\n' : text.front();
      if (line_end) text.remove_prefix(1);
    }
    return result;
  }

  // The path below the folder, without "." and ".."; unset for a path that leads out of it.
  std::optional<fs::path> inside(std::string_view text) const {
    if (text.size() > 300 || text.find('\0') != text.npos) return std::nullopt;
    fs::path path = (folder_ / "root" / fs::path(text).relative_path()).lexically_normal();
    const auto [end, rest] =
        std::mismatch(folder_.begin(), folder_.end(), path.begin(), path.end());
    if (end != folder_.end() || rest == path.end() || rest->empty()) return std::nullopt;
    return path;
  }

  // The same, after the folders above it were made, none of which is a link.
  std::optional<fs::path> place(std::string_view text) const {
    auto path = inside(text);
    if (!path) return std::nullopt;
    fs::path parent = folder_;
    for (const fs::path& step : path->parent_path().lexically_relative(folder_)) {
      parent /= step;
      std::error_code error;
      fs::create_directory(parent, error);
      if (!fs::is_directory(fs::symlink_status(parent, error))) return std::nullopt;
    }
    return path;
  }

  const fs::path folder_;
};

void require_clean(std::initializer_list<std::string> texts) {
  for (const std::string& text : texts) {
    require(inventory::cleaned(text) == text, "texts are valid and on one line");
    require(text.size() <= std::size_t{3} * 4096,
            "texts are no longer than what the kernel offers");
  }
}

void require_device(const std::string& device) {
  require(device.starts_with("/dev/") && inventory::is_device_name(device.substr(5)),
          "devices have names fit for publishing");
}

void read_disks_of(const inventory::Sysfs& sysfs) {
  std::string before;
  for (const inventory::Disk& disk : inventory::read_disks(sysfs)) {
    require_device(disk.device);
    require_clean({disk.vendor, disk.model, disk.revision, disk.serial, disk.world_wide_name,
                   disk.connection, disk.state});
    // The kernel writes an exclamation mark for a slash.
    std::string name = disk.device.substr(5);
    std::replace(name.begin(), name.end(), '/', '!');
    const std::string key = inventory::natural_key(name);
    require(before <= key, "drives come in natural order");
    before = key;
    if (disk.address)
      require(inventory::parse_address(inventory::to_string(*disk.address)) == disk.address,
              "addresses can be read again");
  }
}

void read_bus_devices_of(const inventory::Sysfs& sysfs) {
  inventory::ScsiAddress before;
  for (const inventory::BusDevice& device : inventory::read_bus_devices(sysfs)) {
    require(before <= device.address, "bus devices come in numeric order");
    before = device.address;
    require_clean({device.vendor, device.model, device.state});
    if (!device.generic.empty()) require_device(device.generic);
    if (!device.block.empty()) require_device(device.block);
  }
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  static const ScratchFolder scratch;
  const Tree tree(scratch.path());
  for (std::size_t line = 0; line < kMostLines && !input.empty(); ++line)
    tree.lay_out(take_line(input));

  const inventory::Sysfs sysfs(tree.root());
  for (const char* const path : {"/sys/block/sda", "/sys/block/sda/device", "/sys/block"}) {
    const std::string target = sysfs.target(path);
    require(target.empty() || target.starts_with("/"), "what a link leads to lies below the root");
    require(target.find("/../") == target.npos, "without a way out");
  }
  read_disks_of(sysfs);
  read_bus_devices_of(sysfs);
  const inventory::Machine machine = inventory::read_machine(sysfs);
  require_clean({machine.vendor, machine.product, machine.version, machine.uuid, machine.serial});
}
