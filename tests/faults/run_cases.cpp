// What can go wrong while a test runs.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <ctime>
#include <fstream>
#include <locale>

#include "tests/faults/case.h"
#include "tests/faults/injection.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr char information_failed[] = "0 Check SMART support status /dev/sda Failed";
constexpr char ended[] = "3 Test is completed, get test status";
constexpr char record_begun[] =
    "3 Entering KAVRO_HDDTest_DiagnosticCompletionRecord_Provider::BuildRecord";
constexpr char record_ended[] =
    "3 Exiting KAVRO_HDDTest_DiagnosticCompletionRecord_Provider::BuildRecord";
constexpr char in_journal[] = "journal Trigger Self-Test on /dev/sda";
constexpr char good[] = "exec ${0%/*}/good_smartctl \"$@\"\n";
constexpr char message_file[] = "/hddtest/hddtest.msg.xml";
constexpr char log_file[] = "/log/diagnostics.log";
constexpr char full_log_file[] = "/log/diagnostics.log.1";

// A smartctl that does this when it is called with that option, and is good otherwise.
std::string at(const char* option, const char* script) {
  return std::string("case $1 in ") + option + ") " + script + ";; esac\n" + good;
}

void replace_log(World& world, const char* target) {
  fs::remove(world.place(log_file));
  fs::create_symlink(target, world.place(log_file));
}

void jump_in_mid_run(std::int64_t seconds) {
  settings().on_sleep = [seconds] { settings().clock_jump = seconds; };
}

// Numbers as 1.234.567,0.
struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

}  // namespace

const std::vector<Case>& run_cases() {
  using NKVRHVX20::SigchldArrangement;
  static const auto& cases = *new std::vector<Case>{
      // smartctl
      {"SmartctlMissing",
       [](World& world) {
         world.remove_program("smartctl");
         settings().hidden = "sbin/smartctl";
       },
       "failed", information_failed},
      {"SmartctlNotExecutable",
       [](World& world) {
         settings().hidden = "sbin/smartctl";
         fs::permissions(world.place("/bin/smartctl"), fs::perms(0644));
       },
       "failed", information_failed},
      {"SmartctlIsAFolder",
       [](World& world) {
         settings().hidden = "sbin/smartctl";
         world.remove_program("smartctl");
         fs::create_directory(world.place("/bin/smartctl"));
       },
       "failed", information_failed},
      {"SmartctlHasNoInterpreter",
       [](World& world) {
         std::ofstream(world.place("/bin/smartctl")) << "#!/nonexistent/interpreter\n";
       },
       "failed", information_failed},
      {"SmartctlHangs",
       [](World& world) {
         settings().hurry = 20;
         world.smartctl("/bin/sleep 1000\n");
       },
       "failed", information_failed},
      {"SmartctlHangsWhenItStartsTheTest",
       [](World& world) {
         settings().hurry = 20;
         world.smartctl(at("-t", "exec /bin/sleep 1000"));
       },
       "failed", "0 Trigger Self-Test on /dev/sda Failed"},
      {"SmartctlIsStopped",
       [](World& world) {
         settings().hurry = 20;
         world.smartctl("kill -STOP $$\n");
       },
       "failed", information_failed},
      {"SmartctlIsKilled", [](World& world) { world.smartctl("kill -KILL $$\n"); }, "failed",
       information_failed},
      {"SmartctlIsKilledInTheFirstReadOfTheLog",
       [](World& world) { world.smartctl(at("-l", "kill -KILL $$")); }, "failed",
       "0 Retrieve test logs on /dev/sda Failed"},
      {"SmartctlIsKilledInALaterRead",
       [](World& world) { settings().on_sleep = [&world] { world.smartctl("kill -KILL $$\n"); }; },
       "failed", "3 Can not find keyword (Self-test log)"},
      // What it wrote is in the log, which grows past its limit.
      {"SmartctlFloods",
       [](World& world) {
         world.smartctl("exec /usr/bin/yes\n");
         std::ofstream(world.place(full_log_file)) << "";
       },
       "failed", information_failed},
      {"SmartctlIsSlow",
       [](World& world) { world.smartctl(std::string("/bin/sleep 0.2\n") + good); }, "passed",
       ended},
      {"SmartctlOfAnotherVersionKnowsNoOption",
       [](World& world) { world.smartctl("echo 'invalid option -- i'\nexit 1\n"); }, "failed",
       information_failed},
      {"SmartctlOfAnotherVersionSaysItInOtherWords",
       [](World& world) { world.smartctl("echo 'SMART capability: on'\n"); }, "failed",
       "0 SMART is not enabled on /dev/sda"},
      {"SmartctlLeavesAProgramBehindThatKeepsItsOutput",
       [](World& world) { world.smartctl(std::string("/bin/sleep 1000 &\n") + good); }, "passed",
       ended},
      {"HelperIsKilled",
       [](World& world) { world.smartctl("kill -KILL $PPID\nexec /bin/sleep 1000\n"); }, "failed",
       information_failed},
      {"HelperIsStopped",
       [](World& world) {
         settings().hurry = 20;
         world.smartctl("kill -STOP $PPID\nexec /bin/sleep 1000\n");
       },
       "failed", information_failed},
      // The drive
      {"DriveIsGone",
       [](World& world) {
         world.smartctl("echo \"Smartctl open device: $2 failed: No such device\"\nexit 2\n");
       },
       "failed", information_failed},
      {"DriveGoesInMidRun",
       [](World& world) {
         settings().on_sleep = [&world] {
           world.smartctl("echo \"Smartctl open device: $3 failed: No such device\"\nexit 2\n");
         };
       },
       "failed", "3 Can not find keyword (Self-test log)"},
      {"DriveIsAborted", [](World&) { setenv("RESULT", ": Aborted by host", 1); }, "aborted",
       ended},
      // The message file
      {"MessageFileMissing", [](World& world) { fs::remove(world.place(message_file)); },
       "no record", record_begun},
      {"MessageFileEmpty", [](World& world) { std::ofstream(world.place(message_file)) << ""; },
       "passed", record_ended},
      {"MessageFileUnreadable",
       [](World& world) {
         become_nobody(world);
         fs::permissions(world.place(message_file), fs::perms::none);
       },
       "no record", record_begun, Case::other_user},
      {"MessageFileIsALinkToItself",
       [](World& world) {
         fs::remove(world.place(message_file));
         fs::create_symlink("hddtest.msg.xml", world.place(message_file));
       },
       "no record", record_begun},
      {"MessageFileIsAFolder",
       [](World& world) {
         fs::remove(world.place(message_file));
         fs::create_directory(world.place(message_file));
       },
       "passed", record_ended},
      {"MessageFileIsHuge",
       [](World& world) {
         std::ofstream(world.place(message_file), std::ios::app)
             << "<!--" << std::string(17 << 20, '-');
       },
       "passed", record_ended},
      {"MessageFileIsHugeAndOfNothing",
       [](World& world) { fs::resize_file(world.place(message_file), 200 << 20); }, "passed",
       record_ended},
      // The log
      {"LogDiskIsFull", [](World& world) { replace_log(world, "/dev/full"); }, "passed", nullptr},
      {"LogReachesTheFileSizeLimit",
       [](World& world) {
         std::ofstream(world.place(log_file)) << std::string(8192, '\n');
         world.limit(RLIMIT_FSIZE, 4096);
       },
       "passed", nullptr},
      {"LogFolderMissing", [](World& world) { fs::remove_all(world.place("/log")); }, "passed",
       in_journal},
      {"LogIsAFolder",
       [](World& world) {
         fs::remove(world.place(log_file));
         fs::create_directory(world.place(log_file));
       },
       "passed", in_journal},
      {"LogIsAPipeThatNobodyReads",
       [](World& world) {
         fs::remove(world.place(log_file));
         mkfifo(world.place(log_file).c_str(), 0600);
       },
       "passed", in_journal},
      {"LogIsWrittenProtected",
       [](World& world) {
         become_nobody(world);
         fs::permissions(world.place(log_file), fs::perms(0400));
       },
       "passed", in_journal, Case::other_user},
      {"LogIsFull",
       [](World& world) {
         fs::resize_file(world.place(log_file), 64 << 20);
         std::ofstream(world.place(full_log_file)) << "";
       },
       "passed", ended},
      // The clock
      {"ClockJumpsForward", [](World&) { jump_in_mid_run(315360000); }, "passed", ended},
      {"ClockJumpsBack", [](World&) { jump_in_mid_run(-315360000); }, "passed", ended},
      {"ClockJumpsBeforeTheEpoch", [](World&) { jump_in_mid_run(-std::time(nullptr) - 315360000); },
       "passed", ended},
      {"ClockJumpsPastTheYear9999", [](World&) { jump_in_mid_run(315360000000); }, "passed", ended},
      // The host
      {"HostHasTheStandardSigchld", arrange_children<SigchldArrangement::standard>, "passed",
       ended},
      {"HostIgnoresSigchld", arrange_children<SigchldArrangement::ignored>, "passed", ended},
      {"HostWantsNoZombies", arrange_children<SigchldArrangement::no_child_wait>, "passed", ended},
      {"HostReapsAnyChild", arrange_children<SigchldArrangement::reaping_handler>, "passed", ended},
      {"HostBlocksAllSignals",
       [](World&) {
         sigset_t all;
         sigfillset(&all);
         sigprocmask(SIG_BLOCK, &all, nullptr);
       },
       "passed", ended},
      {"HostHasClosedItsStandardStreams",
       [](World&) {
         for (const int stream : {0, 1, 2}) close(stream);
       },
       "passed", ended},
      {"HostHasAnotherLocale",
       [](World&) {
         std::setlocale(LC_ALL, "C.UTF-8");
         std::locale::global(std::locale(std::locale(), new Grouping));
       },
       "passed", ended},
      {"HostChangesItsWorkingDirectory", [](World&) { fs::current_path("/"); }, "no record",
       record_begun},
      {"HostsWorkingDirectoryIsRemoved",
       [](World& world) {
         const auto folder = world.place("/removed");
         fs::create_directory(folder);
         fs::current_path(folder);
         fs::remove(folder);
       },
       "no record", record_begun},
      {"HostHasSmallStacks", [](World& world) { world.take_small_stack(); }, "passed", ended,
       Case::ordinary_build},
      {"HostMayStartNoProcess",
       [](World& world) {
         become_nobody(world);
         world.limit(RLIMIT_NPROC, 0);
       },
       "failed", "0 TOSSpecific::SpawnProcess -- cannot start", Case::other_user},
      {"HostHasNoDescriptorLeft", [](World& world) { world.limit(RLIMIT_NOFILE, 0); }, "no record",
       nullptr},
      // The object manager
      {"ManagerRefusesTheArguments", [](World& of) { of.refuse("CMPIArgsFT::getArg"); }, "no job",
       "0 No test was run: ManagedElement is not a KAVRO_DiskDrive with a usable DeviceID"},
      {"ManagerRefusesTheJob", [](World& of) { of.refuse("CMPIArgsFT::addArg"); }, "error",
       record_ended},
      {"ManagerRefusesTheAnswer", [](World& of) { of.refuse("CMPIResultFT::returnData"); }, "error",
       record_ended},
  };
  return cases;
}

}  // namespace faults
