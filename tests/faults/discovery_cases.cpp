// What can go wrong while the testable drives are found.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/faults/case.h"
#include "tests/faults/injection.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr char kHwinfoFails[] =
    "hwinfo is missing, not executable, is killed, or knows no such option, or the drive is gone "
    "when it looks";
constexpr char kHwinfoFloods[] =
    "hwinfo floods: its file grows for five minutes or until `/tmp` is full, and a file over "
    "16 MiB is not read";
constexpr char kHwinfoHangs[] =
    "hwinfo hangs or is stopped: the answer takes up to ten minutes, and five more for each drive "
    "where SCSI addresses are published";
constexpr char kFileIsThere[] =
    "a file, a folder, a pipe or a link is in place of `/tmp/sgMap.txt`: it is removed";
constexpr char kFileIsTaken[] =
    "`/tmp/sgMap.txt` is somebody else's and cannot be removed, or is replaced while hwinfo runs";
constexpr char kFullDisk[] = "the disk of `/tmp` is full: the drive's own driver decides";
constexpr char kNotListed[] = "the drive is gone when drives are listed, or sysfs is missing";
constexpr char kAttributeGone[] = "the drive's size in sysfs vanishes";
constexpr char kNoList[] = "the object manager does not list drives";

constexpr char kNoDisk[] = "3 Device /dev/sda is NOT a disk device, omitting from HDD Test";
constexpr char kRaid[] = "3 Device /dev/sda is an LSI RAID device, omitting from HDD Test";
constexpr char kOffered[] = "3 Initializing HDD instance for /dev/sda";

void scratch_link(const char* target) { fs::create_symlink(target, kScratchFile); }
void remove_scratch_file(World&) { EXPECT_TRUE(fs::remove(kScratchFile)); }
std::string content(const fs::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// A hwinfo that works when the module asks it for its lists of drives, and does as the script says
// when a shell calls it for the scratch file: then its output is a file.
std::string once_listed(const std::string& script) {
  return "if [ -f /proc/self/fd/1 ]; then " + script + "; else exec ${0%/*}/good_hwinfo $1; fi\n";
}

}  // namespace

const std::vector<Case>& discovery_cases() {
  static const auto& cases = *[] {
    auto* const all = new std::vector<Case>{
        // hwinfo
        {kHwinfoFails, "HwinfoMissing",
         [](World& world) {
           world.remove_program("hwinfo");
           settings().hidden = "sbin/hwinfo";
         },
         "none", kNoDisk},
        {kHwinfoFails, "HwinfoNotExecutable",
         [](World& world) {
           settings().hidden = "sbin/hwinfo";
           fs::permissions(world.place("/bin/hwinfo"), fs::perms(0644));
         },
         "none", kNoDisk},
        {kHwinfoHangs, "HwinfoHangs",
         [](World& world) {
           settings().hurry = 300;
           world.hwinfo("exec /bin/sleep 1000\n");
         },
         "none", kRaid},
        {kHwinfoHangs, "HwinfoHangsOnceItHasListedTheDrives",
         [](World& world) {
           settings().hurry = 300;
           world.hwinfo(once_listed("exec /bin/sleep 1000"));
         },
         "none", kRaid},
        {kHwinfoHangs, "HwinfoIsStopped",
         [](World& world) {
           settings().hurry = 300;
           world.hwinfo("kill -STOP $$\n");
         },
         "none", kRaid},
        {kHwinfoFails, "HwinfoIsKilled", [](World& world) { world.hwinfo("kill -KILL $$\n"); },
         "none", kNoDisk},
        {kHwinfoFails, "HwinfoIsKilledInMidReport",
         [](World& world) { world.hwinfo("${0%/*}/good_hwinfo $1\nkill -KILL $$\n"); }, "none",
         kNoDisk},
        // Its file would grow as long as there is room; here the room is small.
        {kHwinfoFloods, "HwinfoFloods",
         [](World& world) {
           world.hwinfo("exec /usr/bin/yes\n");
           world.limit(RLIMIT_FSIZE, 8 << 20);
         },
         "none", kNoDisk},
        {kHwinfoFloods, "HwinfoFloodsPastWhatIsRead",
         [](World& world) {
           world.hwinfo("exec /usr/bin/yes\n");
           world.limit(RLIMIT_FSIZE, 17 << 20);
         },
         "none", kRaid},
        {kNothingWrong, "HwinfoIsSlow",
         [](World& world) { world.hwinfo("/bin/sleep 0.1\nexec ${0%/*}/good_hwinfo \"$@\"\n"); },
         "/dev/sda", kOffered},
        {kHwinfoFails, "HwinfoOfAnotherVersionKnowsNoOption",
         [](World& world) { world.hwinfo("echo 'Usage: hwinfo [OPTIONS]'\nexit 1\n"); }, "none",
         kNoDisk},
        // The scratch file
        {kFileIsThere, "ScratchFileIsALinkToNowhere",
         [](World&) { scratch_link("/nonexistent/place"); }, "/dev/sda", kOffered},
        {kFileIsThere, "ScratchFileIsALinkOfAnotherUser",
         [](World&) {
           scratch_link("/nonexistent/place");
           if (lchown(kScratchFile, kNobody, kNobody) != 0) throw std::runtime_error("lchown");
         },
         "/dev/sda", kOffered, Case::Root},
        {kFileIsThere, "ScratchFileIsALinkToAFile",
         [](World& world) {
           std::ofstream(world.place("/linked")) << "precious";
           scratch_link(world.place("/linked").c_str());
         },
         "/dev/sda", kOffered, Case::Nothing, nullptr,
         [](World& world) { EXPECT_EQ(content(world.place("/linked")), "precious"); }},
        {kFileIsThere, "ScratchFileIsALinkToAFullDevice", [](World&) { scratch_link("/dev/full"); },
         "/dev/sda", kOffered},
        {kFileIsThere, "ScratchFileIsAFolder",
         [](World&) { fs::create_directories(kScratchFile + std::string("/inner")); }, "/dev/sda",
         kOffered},
        {kFileIsThere, "ScratchFileIsAPipe", [](World&) { mkfifo(kScratchFile, 0666); }, "/dev/sda",
         kOffered},
        {kFileIsThere, "ScratchFileIsAFileOfAnotherUser",
         [](World&) {
           std::ofstream(kScratchFile) << "";
           if (chown(kScratchFile, kNobody, kNobody) != 0) throw std::runtime_error("chown");
         },
         "/dev/sda", kOffered, Case::Root},
        {kFileIsTaken, "ScratchFileIsAFolderThatCannotBeRemoved",
         [](World& world) {
           fs::create_directory(kScratchFile);
           become_nobody(world);
         },
         "none", kRaid, Case::Root},
        {kFileIsTaken, "ScratchFileIsAFileThatCannotBeRemoved",
         [](World& world) {
           std::ofstream(kScratchFile) << "";
           fs::permissions(kScratchFile, fs::perms(0666));
           become_nobody(world);
         },
         "none", kRaid, Case::Root, nullptr, [](World&) { EXPECT_EQ(content(kScratchFile), ""); }},
        {kFileIsTaken, "ScratchFileIsReplacedByAPipe",
         [](World& world) {
           world.hwinfo(once_listed("rm -f /tmp/sgMap.txt; /usr/bin/mkfifo /tmp/sgMap.txt"));
         },
         "none", kRaid, Case::Nothing, nullptr, remove_scratch_file},
        {kFileIsTaken, "ScratchFileIsReplacedByAFile",
         [](World& world) {
           world.hwinfo(
               once_listed("rm -f /tmp/sgMap.txt; ${0%/*}/good_hwinfo $1 >/tmp/sgMap.txt"));
         },
         "none", kRaid, Case::Nothing, nullptr, remove_scratch_file},
        // Then nothing is known of the address, but the driver shows that the drive is onboard.
        {kFullDisk, "ScratchDiskIsFull",
         [](World& world) {
           world.hwinfo(once_listed("trap '' XFSZ; ulimit -f 0; exec ${0%/*}/good_hwinfo $1"));
         },
         "/dev/sda", "3 Device /dev/sda is NOT a LSI_IR Device"},
        // Drives and sysfs
        {kNotListed, "DriveIsGone",
         [](World& world) {
           world.tree.remove("/sys/block/sda");
           world.hwinfo("${0%/*}/good_hwinfo $1 | /bin/grep -v sda\n");
         },
         "none", "3 cimom::enum_instances rc=0"},
        {kAttributeGone, "AttributeOfSysfsVanishes",
         [](World& world) {
           settings().on_open = [&world] { world.tree.remove("/sys/block/sda/size"); };
         },
         "/dev/sda", kOffered},
        {kHwinfoFails, "DriveGoesBeforeHwinfoLooks", [](World& world) { world.hwinfo(""); }, "none",
         kNoDisk},
        {kNotListed, "SysfsIsMissing", [](World& world) { world.tree.remove("/sys"); }, "none",
         "3 cimom::enum_instances rc=0"},
        {kNothingWrong, "SysfsIsReadOnly",
         [](World& world) {
           become_nobody(world);
           for (const auto& entry : fs::recursive_directory_iterator(world.place("/sys")))
             if (!entry.is_symlink())
               fs::permissions(entry, fs::perms(entry.is_directory() ? 0555 : 0444));
         },
         "/dev/sda", kOffered, Case::OtherUser},
        // The log
        {kFullLog, "LogDiskIsFull",
         [](World& world) {
           fs::remove(world.place("/log/diagnostics.log"));
           fs::create_symlink("/dev/full", world.place("/log/diagnostics.log"));
         },
         "/dev/sda", nullptr},
        // The clock
        {kNothingWrong, "ClockJumpsForward",
         [](World&) { settings().on_open = [] { settings().clock_jump = kTenYears; }; }, "/dev/sda",
         kOffered, Case::Nothing, nullptr, expect_clock_off_by<kTenYears>},
        // The host
        {kNothingWrong, "HostChangesItsWorkingDirectory", [](World&) { fs::current_path("/"); },
         "/dev/sda", kOffered},
        {kNoProcess, "HostMayStartNoProcess",
         [](World& world) {
           become_nobody(world);
           world.limit(RLIMIT_NPROC, 0);
         },
         "none", "3 Error in fork", Case::OtherUser},
        {kNoDescriptor, "HostHasNoDescriptorLeft",
         [](World& world) { world.limit(RLIMIT_NOFILE, 0); }, "none",
         "3 cimom::enum_instances rc=1"},
        // The object manager
        {kNoList, "ManagerRefusesToListDrives",
         [](World& of) { of.refuse("CMPIBrokerFT::enumerateInstances"); }, "none",
         "3 cimom::enum_instances rc=1"},
        {kNoList, "ManagerTakesNoInstance",
         [](World& of) { of.refuse("CMPIResultFT::returnInstance"); }, "none",
         "3 cimom::enum_instances rc=1"},
    };
    for (const Case& one : host_cases("/dev/sda", kOffered)) all->push_back(one);
    return all;
  }();
  return cases;
}

}  // namespace faults
