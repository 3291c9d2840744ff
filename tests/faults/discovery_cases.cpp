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
    "hwinfo floods: its file grows for five minutes or until `/tmp` is full, and a file over "
    "16 MiB is not read";
constexpr char hwinfo_hangs[] =
    "hwinfo hangs or is stopped: the answer takes up to ten minutes, and five more for each drive "
    "where SCSI addresses are published";
constexpr char file_is_there[] =
    "a file, a folder, a pipe or a link is in place of `/tmp/sgMap.txt`: it is removed";
constexpr char file_is_taken[] =
    "`/tmp/sgMap.txt` is somebody else's and cannot be removed, or is replaced while hwinfo runs";
constexpr char full_disk[] = "the disk of `/tmp` is full: the drive's own driver decides";
constexpr char not_listed[] = "the drive is gone when drives are listed, or sysfs is missing";
constexpr char attribute_gone[] = "the drive's size in sysfs vanishes";
constexpr char no_list[] = "the object manager does not list drives";

constexpr char no_disk[] = "3 Device /dev/sda is NOT a disk device, omitting from HDD Test";
constexpr char raid[] = "3 Device /dev/sda is an LSI RAID device, omitting from HDD Test";
constexpr char offered[] = "3 Initializing HDD instance for /dev/sda";

void scratch_link(const char* target) { fs::create_symlink(target, scratch_file); }
void remove_scratch_file(World&) { EXPECT_TRUE(fs::remove(scratch_file)); }
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
        {hwinfo_hangs, "HwinfoHangsOnceItHasListedTheDrives",
         [](World& world) {
           settings().hurry = 300;
           world.hwinfo(once_listed("exec /bin/sleep 1000"));
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
        // Its file would grow as long as there is room; here the room is small.
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
        {file_is_there, "ScratchFileIsALinkToNowhere",
         [](World&) { scratch_link("/nonexistent/place"); }, "/dev/sda", offered},
        {file_is_there, "ScratchFileIsALinkOfAnotherUser",
         [](World&) {
           scratch_link("/nonexistent/place");
           if (lchown(scratch_file, nobody, nobody) != 0) throw std::runtime_error("lchown");
         },
         "/dev/sda", offered, Case::root},
        {file_is_there, "ScratchFileIsALinkToAFile",
         [](World& world) {
           std::ofstream(world.place("/linked")) << "precious";
           scratch_link(world.place("/linked").c_str());
         },
         "/dev/sda", offered, Case::nothing, nullptr,
         [](World& world) { EXPECT_EQ(content(world.place("/linked")), "precious"); }},
        {file_is_there, "ScratchFileIsALinkToAFullDevice",
         [](World&) { scratch_link("/dev/full"); }, "/dev/sda", offered},
        {file_is_there, "ScratchFileIsAFolder",
         [](World&) { fs::create_directories(scratch_file + std::string("/inner")); }, "/dev/sda",
         offered},
        {file_is_there, "ScratchFileIsAPipe", [](World&) { mkfifo(scratch_file, 0666); },
         "/dev/sda", offered},
        {file_is_there, "ScratchFileIsAFileOfAnotherUser",
         [](World&) {
           std::ofstream(scratch_file) << "";
           if (chown(scratch_file, nobody, nobody) != 0) throw std::runtime_error("chown");
         },
         "/dev/sda", offered, Case::root},
        {file_is_taken, "ScratchFileIsAFolderThatCannotBeRemoved",
         [](World& world) {
           fs::create_directory(scratch_file);
           become_nobody(world);
         },
         "none", raid, Case::root},
        {file_is_taken, "ScratchFileIsAFileThatCannotBeRemoved",
         [](World& world) {
           std::ofstream(scratch_file) << "";
           fs::permissions(scratch_file, fs::perms(0666));
           become_nobody(world);
         },
         "none", raid, Case::root, nullptr, [](World&) { EXPECT_EQ(content(scratch_file), ""); }},
        {file_is_taken, "ScratchFileIsReplacedByAPipe",
         [](World& world) {
           world.hwinfo(once_listed("rm -f /tmp/sgMap.txt; /usr/bin/mkfifo /tmp/sgMap.txt"));
         },
         "none", raid, Case::nothing, nullptr, remove_scratch_file},
        {file_is_taken, "ScratchFileIsReplacedByAFile",
         [](World& world) {
           world.hwinfo(
               once_listed("rm -f /tmp/sgMap.txt; ${0%/*}/good_hwinfo $1 >/tmp/sgMap.txt"));
         },
         "none", raid, Case::nothing, nullptr, remove_scratch_file},
        // Then nothing is known of the address, but the driver shows that the drive is onboard.
        {full_disk, "ScratchDiskIsFull",
         [](World& world) {
           world.hwinfo(once_listed("trap '' XFSZ; ulimit -f 0; exec ${0%/*}/good_hwinfo $1"));
         },
         "/dev/sda", "3 Device /dev/sda is NOT a LSI_IR Device"},
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
         [](World& world) { world.limit(RLIMIT_NOFILE, 0); }, "none",
         "3 cimom::enum_instances rc=1"},
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
