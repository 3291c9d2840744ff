// Discovery as a management client has it: module and inventory behind the object manager, with a
// stand-in hwinfo, while others ask for records. The thread sanitizer build looks at what happens
// here, forks included.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "broker/cimxml/memory_of_process.h"
#include "broker/object_manager.h"
#include "discovery/scratch_file_lock.h"
#include "inventory/test_tree.h"
#include "platform/support/logger.h"
#include "tests/adapter/empty_keys.h"

namespace discovery {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr char kOfferClass[] = "KAVRO_HDDTest_AvailableDiagnosticService";
constexpr char kRecordClass[] = "KAVRO_HDDTest_DiagnosticCompletionRecord";

struct Event {
  std::thread::id thread;
  std::string line;
};

// Two drives on AHCI, one behind a RAID adapter, one on USB, in that order.
class Machine : public testing::Test {
 protected:
  Machine() {
    add("ahci", "pci0000:00/0000:00:1f.2/ata1", 0, "sda");
    add("ahci", "pci0000:00/0000:00:1f.2/ata2", 1, "sdb");
    add("megaraid_sas", "pci0000:00/0000:00:04.0", 2, "sdc");
    add("usb-storage", "pci0000:00/0000:00:0a.0/usb2/2-1/2-1:1.0", 3, "sdd");
    tree_.file("/report--disk", disks_);
    tree_.file("/report--usb", "  Device File: /dev/sdd (/dev/sg3)\n");
    const std::string root = tree_.root();
    tree_.file("/bin/hwinfo",
               "#!/bin/sh\necho \"$@\" >> " + root + "/calls\ncat " + root + "/report$1\n");
    chmod(tree_.place("/bin/hwinfo").c_str(), 0755);
    setenv("PATH", (root + "/bin:" + getenv("PATH")).c_str(), 1);
    setenv("HVX_SYSFS_ROOT", root.c_str(), 1);
    NKVRHVX20::set_log_sink(&note, this);
    restart({});
  }
  ~Machine() override {
    manager_.reset();
    NKVRHVX20::set_log_sink(nullptr, nullptr);
  }

  void add(const std::string& driver, const std::string& controller, int host,
           const std::string& name) {
    const std::string number = std::to_string(host), address = number + ":0:0:0";
    tree_.scsi_host(host, driver);
    const std::string device = tree_.scsi_device(controller, address, "MAKER", "DISK");
    tree_.scsi_generic(device, "sg" + number);
    tree_.block(device, name);
    disks_ += "30: SCSI 300.0: 10600 Disk\n  Unique ID: " + number + "\n  SysFS BusID: " + address +
              "\n  Driver: \"" + driver + "\", \"sd\"\n  Device File: /dev/" + name + " (/dev/sg" +
              number + ")\n\n";
  }

  // Starts an object manager, with other habits if wanted.
  void restart(const std::function<void(broker::Tables&)>& habits) {
    broker::Options options;
    options.registration = broker::read_registration(HDDTEST_REGISTRATION_FILE);
    options.library_folders = {HDDTEST_LIBRARY_FOLDER};
    options.adjust_tables = habits;
    options.idle_time = std::chrono::milliseconds(0);
    manager_.reset();
    manager_ = std::make_unique<broker::ObjectManager>(broker::generated_schema(), options);
  }

  std::vector<std::string> offered() {
    std::vector<std::string> drives;
    for (const broker::Instance& offer : manager_->enumerate_instances(kOfferClass)) {
      const std::string drive = offer.text("UserOfService");
      drives.push_back(drive.substr(drive.find("DeviceID=")));
    }
    return drives;
  }

  // On the thread that logs. A discovery that has begun to decide goes on when a listing was
  // answered meanwhile.
  static void note(NKVRHVX20::ILogger::EHVXLogSeverity, const std::string& text, void* data) {
    auto& machine = *static_cast<Machine*>(data);
    std::unique_lock guard(machine.lock_);
    machine.events_.push_back({std::this_thread::get_id(), text});
    if (!machine.waits_for_listings_ || !text.ends_with("::getDiskDeviceList")) return;
    const int wanted = machine.listings_ + 1;
    if (!machine.listed_.wait_for(guard, std::chrono::minutes(1),
                                  [&] { return machine.listings_ >= wanted; }))
      ++machine.discoveries_without_listing_;
  }

  std::vector<std::string> calls() const {
    std::ifstream file(tree_.place("/calls"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  const ScratchFileLock scratch_file_;
  inventory::TestTree tree_;
  std::string disks_;
  std::unique_ptr<broker::ObjectManager> manager_;
  std::mutex lock_;
  std::condition_variable listed_;
  std::vector<Event> events_;
  bool waits_for_listings_ = false;
  int listings_ = 0;
  int discoveries_without_listing_ = 0;
};

// What is decided in one discovery, from the report of disks to the last decision.
void expect_one_at_a_time(const std::vector<Event>& events) {
  std::thread::id deciding;
  for (const auto& [thread, line] : events) {
    if (line.starts_with("cimom::enum_instances rc=")) {
      EXPECT_EQ(deciding, std::thread::id()) << "two discoveries at once";
      deciding = thread;
    } else if (line.ends_with("Device /dev/sdd is a USB device, omitting from HDD Test")) {
      EXPECT_EQ(deciding, thread);
      deciding = {};
    } else if (line.find("AvailableDiagnosticService_Provider::is") != line.npos) {
      EXPECT_EQ(deciding, thread) << line;
    }
  }
}

TEST_F(Machine, OffersItsOnboardDrives) {
  EXPECT_THAT(offered(), ElementsAre("DeviceID=\"/dev/sda\"", "DeviceID=\"/dev/sdb\""));
  // Two reports, then a run for each address that is looked at up to the drive's own: one, two and
  // three. The USB drive publishes none, so all three are looked at for it.
  EXPECT_THAT(calls(), SizeIs(2 + 1 + 2 + 3 + 3));
  EXPECT_FALSE(std::filesystem::exists("/tmp/sgMap.txt"));
}

TEST_F(Machine, DiscoveriesWaitForEachOtherAndRecordsForNone) {
  constexpr int kDiscoverers = 2, kRounds = 1, kListers = 3;
  waits_for_listings_ = true;
  int running = kDiscoverers;
  std::vector<std::vector<std::string>> answers;
  std::vector<std::thread> threads;
  for (int i = 0; i < kDiscoverers; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        auto answer = offered();
        const std::lock_guard guard(lock_);
        answers.push_back(std::move(answer));
      }
      const std::lock_guard guard(lock_);
      --running;
    });
  }
  for (int i = 0; i < kListers; ++i) {
    threads.emplace_back([&] {
      for (bool more = true; more;) {
        EXPECT_THAT(manager_->enumerate_instances(kRecordClass), SizeIs(0));
        const std::lock_guard guard(lock_);
        ++listings_;
        listed_.notify_all();
        more = running > 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_THAT(answers, SizeIs(kDiscoverers * kRounds));
  for (const auto& answer : answers)
    EXPECT_THAT(answer, ElementsAre("DeviceID=\"/dev/sda\"", "DeviceID=\"/dev/sdb\""));
  EXPECT_EQ(discoveries_without_listing_, 0) << "listings waited for a discovery";
  expect_one_at_a_time(events_);
  // One provider serves them all. In each discovery it remembers every bus device once more, so
  // that more and more of them are looked at for the drive without an address.
  std::size_t runs = 0;
  for (int discovery = 1; discovery <= kDiscoverers * kRounds; ++discovery)
    runs += 2 + 1 + 2 + 3 + 3 * discovery;
  EXPECT_THAT(calls(), SizeIs(runs));
  EXPECT_FALSE(std::filesystem::exists("/tmp/sgMap.txt"));
}

// What a client is told of the service, by the path that it was given.
struct Told {
  std::string whole;
  std::vector<std::string> links, link_names, drives, drive_names;
  bool operator==(const Told&) const = default;
};

Told ask_of_service(broker::ObjectManager& manager) {
  Told told;
  const auto names = manager.enumerate_instance_names("KAVRO_HDDTest_DiagnosticService");
  EXPECT_THAT(names, SizeIs(1));
  const broker::ObjectPath& service = names.at(0);
  told.whole = manager.get_instance(service).text("SystemName") + "|" + service.to_text();
  for (const auto& link : manager.references(service))
    told.links.push_back(link.text("UserOfService"));
  for (const auto& name : manager.reference_names(service))
    told.link_names.push_back(name.to_text());
  for (const auto& drive : manager.associators(service))
    told.drives.push_back(drive.text("DeviceID"));
  for (const auto& name : manager.associator_names(service))
    told.drive_names.push_back(name.to_text());
  return told;
}

// The service's SystemName is empty, and a key.
TEST_F(Machine, TheServiceIsFoundWhereEmptyKeysComeAsNull) {
  const Told expected = ask_of_service(*manager_);
  EXPECT_THAT(expected.links, SizeIs(2));
  EXPECT_THAT(expected.link_names, SizeIs(2));
  EXPECT_THAT(expected.drives, ElementsAre("/dev/sda", "/dev/sdb"));
  EXPECT_THAT(expected.drive_names, SizeIs(2));
  restart(ovk_cimple::hand_empty_keys_as_null);
  EXPECT_TRUE(ask_of_service(*manager_) == expected);
}

// A provider that lives long remembers the bus devices of every listing. One that is made anew has
// only those of its own listing to look at; what stays is an instance for each drive that was
// offered.
TEST_F(Machine, TheHundredthListingCostsWhatTheFirstCostWhenIdleProvidersEnd) {
  constexpr std::size_t kRuns = 2 + 1 + 2 + 3 + 3;
  constexpr std::size_t kKept = std::size_t{2} * 3000;
  std::size_t memory = 0;
  for (int listing = 1; listing <= 100; ++listing) {
    EXPECT_THAT(offered(), SizeIs(2));
    ASSERT_THAT(calls(), SizeIs(kRuns)) << "listing " << listing;
    std::filesystem::remove(tree_.place("/calls"));
    events_.clear();
    events_.shrink_to_fit();
    manager_->end_idle();
    if (listing == 10) memory = mallinfo2().uordblks;
  }
  const std::size_t more = mallinfo2().uordblks - memory;
  RecordProperty("bytes_per_listing", static_cast<int>(more / 90));
  if (broker::cimxml::kMemoryIsTelling) {
    EXPECT_LT(more, 90 * kKept);
  }
}

// Without a drive nothing is tested, but the arguments are looked at.
TEST_F(Machine, TheServiceTakesJobSettingsInBothSpellings) {
  const broker::ObjectPath service =
      manager_->enumerate_instance_names("KAVRO_HDDTest_DiagnosticService").at(0);
  const broker::ObjectPath settings({}, "KAVRO_HDDTest_JobSettingData",
                                    {{"InstanceID", broker::Value("x")}});
  const auto call = [&](const std::vector<broker::Argument>& in) {
    return manager_->invoke_method(service, "RunDiagnostic", in).return_value;
  };
  const broker::Value zero(std::uint32_t{0});
  EXPECT_EQ(call({{"JobSettings", settings}}), zero);
  EXPECT_EQ(call({{"JobSetting", settings}}), zero);
  EXPECT_EQ(call({{"JobSetting", settings}, {"JobSettings", settings}}), zero);
  EXPECT_THROW(call({{"Setting", settings}}), broker::Error);
}

TEST_F(Machine, DrivesAndBusDevicesAreListedWhileDiscoveryGoesOn) {
  std::thread discoverer([&] { EXPECT_THAT(offered(), SizeIs(2)); });
  for (int i = 0; i < 5; ++i) {
    EXPECT_THAT(manager_->enumerate_instances("KAVRO_DiskDrive"), SizeIs(4));
    EXPECT_THAT(manager_->enumerate_instances("KAVRO_SysBusDevice"), SizeIs(4));
  }
  discoverer.join();
}

}  // namespace
}  // namespace discovery
