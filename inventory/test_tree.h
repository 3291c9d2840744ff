// A made-up sysfs in a temporary directory, laid out and linked as the kernel does.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "inventory/scsi.h"
#include "inventory/sysfs.h"

namespace inventory {

class TestTree {
 public:
  TestTree() {
    std::string name = std::filesystem::temp_directory_path() / "inventory_test.XXXXXX";
    root_ = mkdtemp(name.data());
    std::filesystem::create_directories(root_ / "sys/block");
  }
  TestTree(const TestTree&) = delete;
  ~TestTree() { std::filesystem::remove_all(root_); }

  std::string root() const { return root_; }
  Sysfs sysfs() const { return Sysfs(root_); }
  std::filesystem::path place(const std::string& path) const {
    return root_ / std::filesystem::path(path).relative_path();
  }

  void file(const std::string& path, const std::string& content) const {
    std::filesystem::create_directories(place(path).parent_path());
    std::ofstream(place(path), std::ios::binary) << content;
  }
  void link(const std::string& path, const std::string& target) const {
    std::filesystem::create_directories(place(path).parent_path());
    std::filesystem::create_symlink(
        std::filesystem::path(target).is_absolute()
            ? std::filesystem::relative(place(target), place(path).parent_path())
            : std::filesystem::path(target),
        place(path));
  }
  void remove(const std::string& path) const { std::filesystem::remove_all(place(path)); }

  void scsi_host(int number, const std::string& driver) const {
    file("/sys/class/scsi_host/host" + std::to_string(number) + "/proc_name", driver + "\n");
  }

  // A SCSI device behind a controller ("pci0000:00/0000:00:01.1/ata1"); returns its directory.
  std::string scsi_device(const std::string& controller, const std::string& address,
                          const std::string& vendor, const std::string& model,
                          const std::string& type = "0") const {
    const auto parts = parse_address(address).value();
    std::string path = "/sys/devices/" + controller + "/host" + std::to_string(parts.host) +
                       "/target" + address.substr(0, address.rfind(':')) + "/" + address;
    file(path + "/vendor", vendor + "\n");
    file(path + "/model", model + "\n");
    file(path + "/rev", "2.5+\n");
    file(path + "/type", type + "\n");
    file(path + "/state", "running\n");
    link("/sys/bus/scsi/devices/" + address, path);
    return path;
  }
  void scsi_generic(const std::string& device, const std::string& name) const {
    file(device + "/scsi_generic/" + name + "/dev", "21:0\n");
  }

  // The block device of a device, in its directory's "block" as SCSI and virtio have it.
  void block(const std::string& device, const std::string& name) const {
    whole_disk(device + "/block/" + name, device, name);
  }
  // The same in any directory.
  void whole_disk(const std::string& path, const std::string& device,
                  const std::string& name) const {
    file(path + "/size", "131072\n");
    file(path + "/removable", "0\n");
    file(path + "/ro", "0\n");
    file(path + "/hidden", "0\n");
    file(path + "/queue/logical_block_size", "512\n");
    if (!device.empty()) link(path + "/device", device);
    link("/sys/block/" + name, path);
  }

  // An ordinary onboard drive on a host adapter of its own; returns its device's directory.
  std::string ahci_disk(int host, const std::string& name) const {
    const std::string number = std::to_string(host);
    scsi_host(host, "ahci");
    std::string device = scsi_device("pci0000:00/0000:00:1f.2/ata" + std::to_string(host + 1),
                                     number + ":0:0:0", "ATA     ", "QEMU HARDDISK   ");
    scsi_generic(device, "sg" + number);
    block(device, name);
    return device;
  }

 private:
  std::filesystem::path root_;
};

}  // namespace inventory
