// What can go wrong while the testable drives are found.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/faults/case.h"
#include "tests/faults/injection.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr char no_disk[] = "3 Device /dev/sda is NOT a disk device, omitting from HDD Test";
constexpr char raid[] = "3 Device /dev/sda is an LSI RAID device, omitting from HDD Test";
constexpr char offered[] = "3 Initializing HDD instance for /dev/sda";

void scratch_link(const char* target) { fs::create_symlink(target, scratch_file); }

}  // namespace

const std::vector<Case>& discovery_cases() {
  using NKVRHVX20::SigchldArrangement;
  static const auto& cases = *new std::vector<Case>{
      // hwinfo
      {"HwinfoMissing",
       [](World& world) {
         world.remove_program("hwinfo");
         settings().hidden = "sbin/hwinfo";
       },
       "none", no_disk},
      {"HwinfoNotExecutable",
       [](World& world) {
         settings().hidden = "sbin/hwinfo";
         fs::permissions(world.place("/bin/hwinfo"), fs::perms(0644));
       },
       "none", no_disk},
      {"HwinfoHangs",
       [](World& world) {
         settings().hurry = 300;
         world.hwinfo("exec /bin/sleep 1000\n");
       },
       "none", raid},
      {"HwinfoIsStopped",
       [](World& world) {
         settings().hurry = 300;
         world.hwinfo("kill -STOP $$\n");
       },
       "none", raid},
      {"HwinfoIsKilled", [](World& world) { world.hwinfo("kill -KILL $$\n"); }, "none", no_disk},
      {"HwinfoIsKilledInMidReport",
       [](World& world) { world.hwinfo("${0%/*}/good_hwinfo $1\nkill -KILL $$\n"); }, "none",
       no_disk},
      // Its file would grow as long as there is room; 8 MiB are left here.
      {"HwinfoFloods",
       [](World& world) {
         world.hwinfo("exec /usr/bin/yes\n");
         world.limit(RLIMIT_FSIZE, 8 << 20);
       },
       "none", no_disk},
      {"HwinfoIsSlow",
       [](World& world) { world.hwinfo("/bin/sleep 0.1\nexec ${0%/*}/good_hwinfo \"$@\"\n"); },
       "/dev/sda", offered},
      {"HwinfoOfAnotherVersionKnowsNoOption",
       [](World& world) { world.hwinfo("echo 'Usage: hwinfo [OPTIONS]'\nexit 1\n"); }, "none",
       no_disk},
      // The scratch file
      {"ScratchFileIsALinkToNowhere", [](World&) { scratch_link("/nonexistent/place"); }, "none",
       raid},
      {"ScratchFileIsALinkOfAnotherUser",
       [](World&) {
         scratch_link("/nonexistent/place");
         if (lchown(scratch_file, nobody, nobody) != 0) throw std::runtime_error("lchown");
       },
       "none", raid, Case::root},
      {"ScratchFileIsAFolder", [](World&) { fs::create_directory(scratch_file); }, "none", raid},
      {"ScratchFileIsAFolderOfAnotherUser",
       [](World& world) {
         fs::create_directory(scratch_file);
         fs::permissions(scratch_file, fs::perms(0700));
         become_nobody(world);
       },
       "none", raid, Case::root},
      {"ScratchFileIsAFileOfAnotherUser",
       [](World& world) {
         std::ofstream(scratch_file) << "";
         fs::permissions(scratch_file, fs::perms(0600));
         become_nobody(world);
       },
       "none", raid, Case::root},
      // Nothing is known of the address then; the drive is known as onboard by its driver.
      {"ScratchDiskIsFull", [](World&) { scratch_link("/dev/full"); }, "/dev/sda",
       "3 Device /dev/sda is NOT a LSI_IR Device"},
      // Drives and sysfs
      {"DriveIsGone",
       [](World& world) {
         world.tree.remove("/sys/block/sda");
         world.hwinfo("${0%/*}/good_hwinfo $1 | /bin/grep -v sda\n");
       },
       "none", "3 Device /dev/sdb is an LSI RAID device, omitting from HDD Test"},
      {"DriveGoesBeforeHwinfoLooks", [](World& world) { world.hwinfo(""); }, "none", no_disk},
      {"SysfsIsMissing", [](World& world) { world.tree.remove("/sys"); }, "none",
       "3 cimom::enum_instances rc=0"},
      {"SysfsIsReadOnly",
       [](World& world) {
         become_nobody(world);
         for (const auto& entry : fs::recursive_directory_iterator(world.place("/sys")))
           if (!entry.is_symlink())
             fs::permissions(entry, fs::perms(entry.is_directory() ? 0555 : 0444));
       },
       "/dev/sda", offered, Case::other_user},
      // The log
      {"LogDiskIsFull",
       [](World& world) {
         fs::remove(world.place("/log/diagnostics.log"));
         fs::create_symlink("/dev/full", world.place("/log/diagnostics.log"));
       },
       "/dev/sda", nullptr},
      // The host
      {"HostIgnoresSigchld", arrange_children<SigchldArrangement::ignored>, "/dev/sda", offered},
      {"HostWantsNoZombies", arrange_children<SigchldArrangement::no_child_wait>, "/dev/sda",
       offered},
      {"HostReapsAnyChild", arrange_children<SigchldArrangement::reaping_handler>, "/dev/sda",
       offered},
      {"HostHasClosedItsStandardStreams",
       [](World&) {
         for (const int stream : {0, 1, 2}) close(stream);
       },
       "/dev/sda", offered},
      {"HostHasSmallStacks", [](World& world) { world.take_small_stack(); }, "/dev/sda", offered,
       Case::ordinary_build},
      {"HostMayStartNoProcess",
       [](World& world) {
         become_nobody(world);
         world.limit(RLIMIT_NPROC, 0);
       },
       "none", "3 Error in fork", Case::other_user},
      {"HostHasNoDescriptorLeft", [](World& world) { world.limit(RLIMIT_NOFILE, 0); }, "none",
       nullptr},
      // The object manager
      {"ManagerRefusesToListDrives",
       [](World& of) { of.refuse("CMPIBrokerFT::enumerateInstances"); }, "none",
       "3 cimom::enum_instances rc=1"},
      {"ManagerTakesNoInstance", [](World& of) { of.refuse("CMPIResultFT::returnInstance"); },
       "none", "3 cimom::enum_instances rc=1"},
  };
  return cases;
}

}  // namespace faults
