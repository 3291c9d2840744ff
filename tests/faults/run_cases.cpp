// What can go wrong while a test runs.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

#include "tests/faults/case.h"
#include "tests/faults/injection.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr char smartctl_fails[] =
    "smartctl is missing, not executable, hangs (20 seconds), is stopped, is killed, floods, or "
    "knows no such option";
constexpr char other_words[] = "smartctl says in other words that SMART is on";
constexpr char first_read_fails[] = "smartctl fails at its first read of the log";
constexpr char start_hangs[] = "smartctl hangs when it starts the test";
constexpr char drive_gone[] = "the drive is gone";
constexpr char disappears[] = "the drive disappears during the test, or smartctl is killed then";
constexpr char aborted[] = "something else ends the drive's test";
constexpr char no_messages[] =
    "the message file is missing or unreadable, or the working directory is another one";
constexpr char broken_messages[] =
    "the message file is empty, cut short, over 16 MiB or a folder: the outcome is known, its text "
    "is not";
constexpr char no_log[] = "the log cannot be opened";
constexpr char no_arguments[] = "the object manager does not give the arguments";
constexpr char no_answer[] = "the object manager does not take the answer; the record is kept";

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

// A smartctl that runs this script when it is called with that option, and works otherwise.
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

}  // namespace

const std::vector<Case>& run_cases() {
  static const auto& cases = *[] {
    auto* const all = new std::vector<Case>{
        // smartctl
        {smartctl_fails, "SmartctlMissing",
         [](World& world) {
           world.remove_program("smartctl");
           settings().hidden = "sbin/smartctl";
         },
         "failed", information_failed},
        {smartctl_fails, "SmartctlNotExecutable",
         [](World& world) {
           settings().hidden = "sbin/smartctl";
           fs::permissions(world.place("/bin/smartctl"), fs::perms(0644));
         },
         "failed", information_failed},
        {smartctl_fails, "SmartctlIsAFolder",
         [](World& world) {
           settings().hidden = "sbin/smartctl";
           world.remove_program("smartctl");
           fs::create_directory(world.place("/bin/smartctl"));
         },
         "failed", information_failed},
        {smartctl_fails, "SmartctlHasNoInterpreter",
         [](World& world) {
           std::ofstream(world.place("/bin/smartctl")) << "#!/nonexistent/interpreter\n";
         },
         "failed", information_failed},
        {smartctl_fails, "SmartctlHangs",
         [](World& world) {
           settings().hurry = 20;
           world.smartctl("/bin/sleep 1000\n");
         },
         "failed", information_failed},
        {start_hangs, "SmartctlHangsWhenItStartsTheTest",
         [](World& world) {
           settings().hurry = 10;
           world.smartctl(at("-t", "exec /bin/sleep 1000"));
         },
         "failed", "0 Trigger Self-Test on /dev/sda Failed"},
        {smartctl_fails, "SmartctlIsStopped",
         [](World& world) {
           settings().hurry = 20;
           world.smartctl("kill -STOP $$\n");
         },
         "failed", information_failed},
        {smartctl_fails, "SmartctlIsKilled",
         [](World& world) { world.smartctl("kill -KILL $$\n"); }, "failed", information_failed},
        {first_read_fails, "SmartctlIsKilledInTheFirstReadOfTheLog",
         [](World& world) { world.smartctl(at("-l", "kill -KILL $$")); }, "failed",
         "0 Retrieve test logs on /dev/sda Failed"},
        {disappears, "SmartctlIsKilledInALaterRead",
         [](World& world) {
           settings().on_sleep = [&world] { world.smartctl("kill -KILL $$\n"); };
         },
         "failed", "3 Can not find keyword (Self-test log)"},
        // The log has what smartctl wrote, and grows past its limit.
        {smartctl_fails, "SmartctlFloods",
         [](World& world) {
           world.smartctl("exec /usr/bin/yes\n");
           std::ofstream(world.place(full_log_file)) << "";
         },
         "failed", information_failed},
        {nothing_wrong, "SmartctlIsSlow",
         [](World& world) { world.smartctl(std::string("/bin/sleep 0.2\n") + good); }, "passed",
         ended},
        {smartctl_fails, "SmartctlOfAnotherVersionKnowsNoOption",
         [](World& world) { world.smartctl("echo 'invalid option -- i'\nexit 1\n"); }, "failed",
         information_failed},
        {other_words, "SmartctlOfAnotherVersionSaysItInOtherWords",
         [](World& world) { world.smartctl("echo 'SMART capability: on'\n"); }, "failed",
         "0 SMART is not enabled on /dev/sda"},
        {nothing_wrong, "SmartctlLeavesAProgramBehindThatKeepsItsOutput",
         [](World& world) { world.smartctl(std::string("/bin/sleep 1000 &\n") + good); }, "passed",
         ended},
        {smartctl_fails, "HelperIsKilled",
         [](World& world) { world.smartctl("kill -KILL $PPID\nexec /bin/sleep 1000\n"); }, "failed",
         information_failed},
        {smartctl_fails, "HelperIsStopped",
         [](World& world) {
           settings().hurry = 20;
           world.smartctl("kill -STOP $PPID\nexec /bin/sleep 1000\n");
         },
         "failed", information_failed},
        // The drive
        {drive_gone, "DriveIsGone",
         [](World& world) {
           world.smartctl("echo \"Smartctl open device: $2 failed: No such device\"\nexit 2\n");
         },
         "failed", information_failed},
        {disappears, "DriveGoesInMidRun",
         [](World& world) {
           settings().on_sleep = [&world] {
             world.smartctl("echo \"Smartctl open device: $3 failed: No such device\"\nexit 2\n");
           };
         },
         "failed", "3 Can not find keyword (Self-test log)"},
        {aborted, "DriveIsAborted", [](World&) { setenv("RESULT", ": Aborted by host", 1); },
         "aborted", ended},
        // The message file
        {no_messages, "MessageFileMissing",
         [](World& world) { fs::remove(world.place(message_file)); }, "no record", record_begun},
        {broken_messages, "MessageFileEmpty",
         [](World& world) { std::ofstream(world.place(message_file)) << ""; }, "passed",
         record_ended, Case::nothing, ""},
        {no_messages, "MessageFileUnreadable",
         [](World& world) {
           become_nobody(world);
           fs::permissions(world.place(message_file), fs::perms::none);
         },
         "no record", record_begun, Case::other_user},
        {no_messages, "MessageFileIsALinkToItself",
         [](World& world) {
           fs::remove(world.place(message_file));
           fs::create_symlink("hddtest.msg.xml", world.place(message_file));
         },
         "no record", record_begun},
        {broken_messages, "MessageFileIsAFolder",
         [](World& world) {
           fs::remove(world.place(message_file));
           fs::create_directory(world.place(message_file));
         },
         "passed", record_ended, Case::nothing, ""},
        {broken_messages, "MessageFileIsHuge",
         [](World& world) {
           std::ofstream(world.place(message_file), std::ios::app)
               << "<!--" << std::string(17 << 20, '-');
         },
         "passed", record_ended, Case::nothing, ""},
        {nothing_wrong, "MessageFileIsHugeAndOfNothing",
         [](World& world) { fs::resize_file(world.place(message_file), 200 << 20); }, "passed",
         ended},
        // The log
        {full_log, "LogDiskIsFull", [](World& world) { replace_log(world, "/dev/full"); }, "passed",
         nullptr},
        {full_log, "LogReachesTheFileSizeLimit",
         [](World& world) {
           std::ofstream(world.place(log_file)) << std::string(8192, '\n');
           world.limit(RLIMIT_FSIZE, 4096);
         },
         "passed", nullptr},
        {no_log, "LogFolderMissing", [](World& world) { fs::remove_all(world.place("/log")); },
         "passed", in_journal},
        {no_log, "LogIsAFolder",
         [](World& world) {
           fs::remove(world.place(log_file));
           fs::create_directory(world.place(log_file));
         },
         "passed", in_journal},
        {no_log, "LogIsAPipeThatNobodyReads",
         [](World& world) {
           fs::remove(world.place(log_file));
           mkfifo(world.place(log_file).c_str(), 0600);
         },
         "passed", in_journal},
        {no_log, "LogIsWrittenProtected",
         [](World& world) {
           become_nobody(world);
           fs::remove(world.place(log_file));
           std::ofstream(world.place(log_file)) << "";
           fs::permissions(world.place(log_file), fs::perms(0400));
         },
         "passed", in_journal, Case::other_user},
        {nothing_wrong, "LogIsFull",
         [](World& world) {
           fs::resize_file(world.place(log_file), 64 << 20);
           std::ofstream(world.place(full_log_file)) << "";
         },
         "passed", ended},
        // The clock
        {nothing_wrong, "ClockJumpsForward", [](World&) { jump_in_mid_run(ten_years); }, "passed",
         ended, Case::nothing, nullptr, expect_clock_off_by<ten_years>},
        {nothing_wrong, "ClockJumpsBack", [](World&) { jump_in_mid_run(-ten_years); }, "passed",
         ended, Case::nothing, nullptr, expect_clock_off_by<-ten_years>},
        {nothing_wrong, "ClockJumpsBeforeTheEpoch",
         [](World&) { jump_in_mid_run(-std::time(nullptr) - ten_years); }, "passed", ended,
         Case::nothing, nullptr,
         [](World& world) { world.expect_clock_off_by(-std::time(nullptr) - ten_years); }},
        {nothing_wrong, "ClockJumpsPastTheYear9999",
         [](World&) { jump_in_mid_run(ten_years * 1000); }, "passed", ended, Case::nothing, nullptr,
         expect_clock_off_by<ten_years * 1000>},
        // The host
        {no_messages, "HostChangesItsWorkingDirectory", [](World&) { fs::current_path("/"); },
         "no record", record_begun},
        {no_messages, "HostsWorkingDirectoryIsRemoved",
         [](World& world) {
           const auto folder = world.place("/removed");
           fs::create_directory(folder);
           fs::current_path(folder);
           fs::remove(folder);
         },
         "no record", record_begun},
        {no_process, "HostMayStartNoProcess",
         [](World& world) {
           become_nobody(world);
           world.limit(RLIMIT_NPROC, 0);
         },
         "failed", "0 TOSSpecific::SpawnProcess -- cannot start", Case::other_user},
        {no_descriptor, "HostHasNoDescriptorLeft",
         [](World& world) { world.limit(RLIMIT_NOFILE, 0); }, "no record", record_begun},
        // The object manager
        {no_arguments, "ManagerRefusesTheArguments",
         [](World& of) { of.refuse("CMPIArgsFT::getArg"); }, "no job",
         "0 No test was run: ManagedElement is not a KAVRO_DiskDrive with a usable DeviceID"},
        {no_answer, "ManagerRefusesTheJob", [](World& of) { of.refuse("CMPIArgsFT::addArg"); },
         "CIM error 1", record_ended},
        {no_answer, "ManagerRefusesTheAnswer",
         [](World& of) { of.refuse("CMPIResultFT::returnData"); }, "CIM error 1", record_ended},
    };
    for (const Case& one : host_cases("passed", ended)) all->push_back(one);
    return all;
  }();
  return cases;
}

}  // namespace faults
