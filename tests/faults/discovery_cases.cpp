// What can go wrong while the testable drives are found.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "tests/faults/case.h"
#include "tests/faults/injection.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr char hwinfo_fails[] =
    "hwinfo is missing, not executable, is killed, or knows no such option, or the drive is gone "
    "when it looks";
constexpr char hwinfo_floods[] =
    "hwinfo floods: its file grows until `/tmp` is full, and over 16 MiB it is not read";
constexpr char hwinfo_hangs[] = "hwinfo hangs or is stopped: the answer takes ten minutes";
constexpr char file_is_taken[] =
    "`/tmp/sgMap.txt` is a folder, a pipe, a link to nowhere, or somebody else's";
constexpr char file_is_link[] = "`/tmp/sgMap.txt` is a link to a file, which is overwritten";
constexpr char full_disk[] = "the disk of `/tmp` is full: the drive's own driver decides";
constexpr char not_listed[] = "the drive is gone when drives are listed, or sysfs is missing";
constexpr char attribute_gone[] = "the drive's size in sysfs vanishes";
constexpr char no_list[] = "the object manager does not list drives";

constexpr char no_disk[] = "3 Device /dev/sda is NOT a disk device, omitting from HDD Test";
constexpr char raid[] = "3 Device /dev/sda is an LSI RAID device, omitting from HDD Test";
constexpr char offered[] = "3 Initializing HDD instance for /dev/sda";

void scratch_link(const char* target) { fs::create_symlink(target, scratch_file); }

}  // namespace

const std::vector<Case>& discovery_cases() {
  static const auto& cases = *[] {
    auto* const all = new std::vector<Case>{
        // hwinfo
        {hwinfo_fails, "HwinfoMissing",
         [](World& world) {
           world.remove_program("hwinfo");
           settings().hidden = "sbin/hwinfo";
         },
         "none", no_disk},
        {hwinfo_fails, "HwinfoNotExecutable",
         [](World& world) {
           settings().hidden = "sbin/hwinfo";
           fs::permissions(world.place("/bin/hwinfo"), fs::perms(0644));
         },
         "none", no_disk},
        {hwinfo_hangs, "HwinfoHangs",
         [](World& world) {
           settings().hurry = 300;
           world.hwinfo("exec /bin/sleep 1000\n");
         },
         "none", raid},
        {hwinfo_hangs, "HwinfoIsStopped",
         [](World& world) {
           settings().hurry = 300;
           world.hwinfo("kill -STOP $$\n");
         },
         "none", raid},
        {hwinfo_fails, "HwinfoIsKilled", [](World& world) { world.hwinfo("kill -KILL $$\n"); },
         "none", no_disk},
        {hwinfo_fails, "HwinfoIsKilledInMidReport",
         [](World& world) { world.hwinfo("${0%/*}/good_hwinfo $1\nkill -KILL $$\n"); }, "none",
         no_disk},
        // Its file would grow as long as there is room; this much is left here.
        {hwinfo_floods, "HwinfoFloods",
         [](World& world) {
           world.hwinfo("exec /usr/bin/yes\n");
           world.limit(RLIMIT_FSIZE, 8 << 20);
         },
         "none", no_disk},
        {hwinfo_floods, "HwinfoFloodsPastWhatIsRead",
         [](World& world) {
           world.hwinfo("exec /usr/bin/yes\n");
           world.limit(RLIMIT_FSIZE, 17 << 20);
         },
         "none", raid},
        {nothing_wrong, "HwinfoIsSlow",
         [](World& world) { world.hwinfo("/bin/sleep 0.1\nexec ${0%/*}/good_hwinfo \"$@\"\n"); },
         "/dev/sda", offered},
        {hwinfo_fails, "HwinfoOfAnotherVersionKnowsNoOption",
         [](World& world) { world.hwinfo("echo 'Usage: hwinfo [OPTIONS]'\nexit 1\n"); }, "none",
         no_disk},
        // The scratch file
        {file_is_taken, "ScratchFileIsALinkToNowhere",
         [](World&) { scratch_link("/nonexistent/place"); }, "none", raid},
        {file_is_taken, "ScratchFileIsALinkOfAnotherUser",
         [](World&) {
           scratch_link("/nonexistent/place");
           if (lchown(scratch_file, nobody, nobody) != 0) throw std::runtime_error("lchown");
         },
         "none", raid, Case::root},
        {file_is_taken, "ScratchFileIsAFolder", [](World&) { fs::create_directory(scratch_file); },
         "none", raid},
        {file_is_taken, "ScratchFileIsAPipe", [](World&) { mkfifo(scratch_file, 0666); }, "none",
         raid},
        {file_is_taken, "ScratchFileIsAFolderOfAnotherUser",
         [](World& world) {
           fs::create_directory(scratch_file);
           fs::permissions(scratch_file, fs::perms(0700));
           become_nobody(world);
         },
         "none", raid, Case::root},
        {file_is_taken, "ScratchFileIsAFileOfAnotherUser",
         [](World& world) {
           std::ofstream(scratch_file) << "";
           fs::permissions(scratch_file, fs::perms(0600));
           become_nobody(world);
         },
         "none", raid, Case::root},
        {file_is_link, "ScratchFileIsALinkToAFile",
         [](World& world) {
           std::ofstream(world.place("/linked")) << "precious";
           scratch_link(world.place("/linked").c_str());
         },
         "/dev/sda", offered, Case::nothing, nullptr,
         [](World& world) {
           std::ifstream file(world.place("/linked"));
           const std::string text{std::istreambuf_iterator<char>(file), {}};
           EXPECT_NE(text.find("Device File: /dev/sda"), text.npos) << text;
         }},
        // Nothing is known of the address then; the drive is known as onboard by its driver.
        {full_disk, "ScratchDiskIsFull", [](World&) { scratch_link("/dev/full"); }, "/dev/sda",
         "3 Device /dev/sda is NOT a LSI_IR Device"},
        // Drives and sysfs
        {not_listed, "DriveIsGone",
         [](World& world) {
           world.tree.remove("/sys/block/sda");
           world.hwinfo("${0%/*}/good_hwinfo $1 | /bin/grep -v sda\n");
         },
         "none", "3 cimom::enum_instances rc=0"},
        {attribute_gone, "AttributeOfSysfsVanishes",
         [](World& world) {
           settings().on_open = [&world] { world.tree.remove("/sys/block/sda/size"); };
         },
         "/dev/sda", offered},
        {hwinfo_fails, "DriveGoesBeforeHwinfoLooks", [](World& world) { world.hwinfo(""); }, "none",
         no_disk},
        {not_listed, "SysfsIsMissing", [](World& world) { world.tree.remove("/sys"); }, "none",
         "3 cimom::enum_instances rc=0"},
        {nothing_wrong, "SysfsIsReadOnly",
         [](World& world) {
           become_nobody(world);
           for (const auto& entry : fs::recursive_directory_iterator(world.place("/sys")))
             if (!entry.is_symlink())
               fs::permissions(entry, fs::perms(entry.is_directory() ? 0555 : 0444));
         },
         "/dev/sda", offered, Case::other_user},
        // The log
        {full_log, "LogDiskIsFull",
         [](World& world) {
           fs::remove(world.place("/log/diagnostics.log"));
           fs::create_symlink("/dev/full", world.place("/log/diagnostics.log"));
         },
         "/dev/sda", nullptr},
        // The clock
        {nothing_wrong, "ClockJumpsForward",
         [](World&) { settings().on_open = [] { settings().clock_jump = ten_years; }; }, "/dev/sda",
         offered, Case::nothing, nullptr, expect_clock_off_by<ten_years>},
        // The host
        {nothing_wrong, "HostChangesItsWorkingDirectory", [](World&) { fs::current_path("/"); },
         "/dev/sda", offered},
        {no_process, "HostMayStartNoProcess",
         [](World& world) {
           become_nobody(world);
           world.limit(RLIMIT_NPROC, 0);
         },
         "none", "3 Error in fork", Case::other_user},
        {no_descriptor, "HostHasNoDescriptorLeft",
         [](World& world) { world.limit(RLIMIT_NOFILE, 0); }, "none", nullptr},
        // The object manager
        {no_list, "ManagerRefusesToListDrives",
         [](World& of) { of.refuse("CMPIBrokerFT::enumerateInstances"); }, "none",
         "3 cimom::enum_instances rc=1"},
        {no_list, "ManagerTakesNoInstance",
         [](World& of) { of.refuse("CMPIResultFT::returnInstance"); }, "none",
         "3 cimom::enum_instances rc=1"},
    };
    for (const Case& one : host_cases("/dev/sda", offered)) all->push_back(one);
    return all;
  }();
  return cases;
}

}  // namespace faults
