// Reports of hwinfo from machines of many makers. HDDTEST_CORPUS names the directory, whose folders
// hwinfo-disk and hwinfo-usb hold a report per file. What is expected is read from the report as
// what it is, a list of devices with fields; the classification knows nothing of that.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <vector>

#include "discovery/classification.h"

namespace discovery {
namespace {

struct Device {
  std::size_t place;  // of its block in the report
  std::map<std::string, std::string> fields;

  std::string field(const char* name) const {
    const auto found = fields.find(name);
    return found == fields.end() ? "" : found->second;
  }
  std::string file() const {
    return field("Device File").substr(0, field("Device File").find(' '));
  }
  // "ahci" of a field `"ahci", "sd"`.
  std::string driver() const {
    const std::string text = field("Driver");
    return text.empty() ? "" : text.substr(1, text.find('"', 1) - 1);
  }
  bool is_disk() const { return field("Hardware Class") == "disk" && !file().empty(); }
};

struct Report {
  std::string name;
  std::string text;
  std::vector<Device> devices;
};

// A device opens with a line "12: BUS ID: CLASS Name"; its fields are indented "Name: value".
std::vector<Device> devices_in(const std::string& text) {
  std::vector<Device> devices;
  std::istringstream lines(text);
  std::size_t place = 0;
  for (std::string line; std::getline(lines, line); place += line.size() + 1) {
    const std::size_t colon = line.find(": ");
    if (colon == line.npos) continue;
    const std::size_t name = line.find_first_not_of(' ');
    if (line.find_first_not_of("0123456789") == colon)
      devices.push_back({place, {}});
    else if (!devices.empty() && name >= 2)
      devices.back().fields.emplace(line.substr(name, colon - name), line.substr(colon + 2));
  }
  return devices;
}

// Such as "0:0:1:0".
bool has_one_digit_each(const std::string& address) {
  return address.size() == 7 && address.find_first_not_of("0123456789:") == address.npos &&
         address[1] == ':' && address[3] == ':' && address[5] == ':';
}

std::vector<Report> reports(const std::string& kind) {
  std::vector<Report> found;
  const std::filesystem::path corpus = std::getenv("HDDTEST_CORPUS");
  for (const auto& entry : std::filesystem::directory_iterator(corpus / kind)) {
    if (entry.path().extension() != ".txt") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    found.push_back({entry.path().filename(), text, devices_in(text)});
  }
  return found;
}

// Where a text stands in the report for the first time is in this device's block.
bool first_stands_in(const Report& report, std::size_t index, const std::string& text) {
  const std::size_t place = report.text.find(text);
  const bool last = index + 1 == report.devices.size();
  return place >= report.devices[index].place && (last || place < report.devices[index + 1].place);
}

TEST(CorpusOfReports, EveryDiskIsListed) {
  int disks = 0;
  for (const Report& report : reports("hwinfo-disk")) {
    SCOPED_TRACE(report.name);
    for (const Device& device : report.devices) {
      if (!device.is_disk()) continue;
      ++disks;
      EXPECT_TRUE(lists_device(report.text, device.file())) << device.file();
      EXPECT_FALSE(lists_device(report.text, device.file() + "?"));
    }
  }
  EXPECT_GE(disks, 50);
}

TEST(CorpusOfReports, TheDriverThatIsReadIsTheDisksOwn) {
  std::map<std::string, int> drivers;
  for (const Report& report : reports("hwinfo-disk")) {
    SCOPED_TRACE(report.name);
    for (std::size_t i = 0; i < report.devices.size(); ++i) {
      const Device& device = report.devices[i];
      // A disk without a driver, or whose name another's begins with, is decided on by another.
      if (!device.is_disk() || device.driver().empty()) continue;
      if (!first_stands_in(report, i, device.file())) continue;
      const Driver driver = driver_of(report.text, device.file());
      ASSERT_EQ(driver.lookup, DriverLookup::Found) << device.file();
      EXPECT_TRUE(driver.information.starts_with("Driver: \"" + device.driver() + "\""))
          << device.file() << ": " << driver.information;
      ++drivers[device.driver()];
    }
  }
  EXPECT_GE(drivers.size(), 8u);
  EXPECT_GE(drivers["ahci"], 5);
  EXPECT_GE(drivers["megaraid_sas"], 1);
}

TEST(CorpusOfReports, TheControllerIsThatOfTheBlockWithTheAddress) {
  std::map<Controller, int> controllers;
  for (const Report& report : reports("hwinfo-disk")) {
    SCOPED_TRACE(report.name);
    for (std::size_t i = 0; i < report.devices.size(); ++i) {
      const Device& device = report.devices[i];
      const std::string address = device.field("SysFS BusID");
      if (!device.is_disk() || !has_one_digit_each(address)) continue;
      if (!first_stands_in(report, i, address)) continue;
      const bool onboard = device.driver() == "ahci" || device.driver() == "ata_piix";
      const Controller controller = controller_of(report.text, address, device.file());
      EXPECT_EQ(controller, onboard ? Controller::Onboard : Controller::Raid) << device.file();
      ++controllers[controller];
      EXPECT_EQ(controller_of(report.text, address, "/dev/other"), Controller::AnotherDevice);
    }
    EXPECT_EQ(controller_of(report.text, "x:x:x:x", "/dev/sda"), Controller::BusIdNotListed);
  }
  EXPECT_GE(controllers[Controller::Onboard], 10);
  EXPECT_GE(controllers[Controller::Raid], 10);
}

// No stick was in any of these machines.
TEST(CorpusOfReports, UsbReportsListTheirDevicesAndNoDisk) {
  int read = 0, listed = 0;
  for (const Report& report : reports("hwinfo-usb")) {
    SCOPED_TRACE(report.name);
    ++read;
    for (const Device& device : report.devices) {
      EXPECT_FALSE(device.is_disk());
      if (device.file().empty()) continue;
      ++listed;
      EXPECT_TRUE(lists_device(report.text, device.file())) << device.file();
    }
    for (const char* name : {"/dev/sda", "/dev/sdb", "/dev/sr0", "/dev/nvme0n1"})
      EXPECT_FALSE(lists_device(report.text, name)) << name;
  }
  EXPECT_GE(read, 18);
  EXPECT_GE(listed, 20);
}

}  // namespace
}  // namespace discovery
