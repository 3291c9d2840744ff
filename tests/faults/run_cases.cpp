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

constexpr char kSmartctlFails[] =
    "smartctl is missing, not executable, hangs (20 seconds), is stopped, is killed, floods, or "
    "knows no such option";
constexpr char kOtherWords[] = "smartctl says in other words that SMART is on";
constexpr char kFirstReadFails[] = "smartctl fails at its first read of the log";
constexpr char kStartHangs[] = "smartctl hangs when it starts the test";
constexpr char kDriveGone[] = "the drive is gone";
constexpr char kDisappears[] = "the drive disappears during the test, or smartctl is killed then";
constexpr char kAborted[] = "something else ends the drive's test";
constexpr char kNoMessages[] =
    "the message file is missing or unreadable, or the working directory is another one";
constexpr char kBrokenMessages[] =
    "the message file is empty, cut short, over 16 MiB or a folder: the outcome is known, its text "
    "is not";
constexpr char kNoLog[] = "the log cannot be opened";
constexpr char kNoArguments[] = "the object manager does not give the arguments";
constexpr char kNoAnswer[] = "the object manager does not take the answer; the record is kept";

constexpr char kInformationFailed[] = "0 Check SMART support status /dev/sda Failed";
constexpr char kEnded[] = "3 Test is completed, get test status";
constexpr char kRecordBegun[] =
    "3 Entering KAVRO_HDDTest_DiagnosticCompletionRecord_Provider::BuildRecord";
constexpr char kRecordEnded[] =
    "3 Exiting KAVRO_HDDTest_DiagnosticCompletionRecord_Provider::BuildRecord";
constexpr char kInJournal[] = "journal Trigger Self-Test on /dev/sda";
constexpr char kGood[] = "exec ${0%/*}/good_smartctl \"$@\"\n";
constexpr char kMessageFile[] = "/hddtest/hddtest.msg.xml";
constexpr char kLogFile[] = "/log/diagnostics.log";
constexpr char kFullLogFile[] = "/log/diagnostics.log.1";

// A smartctl that runs this script when it is called with that option, and works otherwise.
std::string at(const char* option, const char* script) {
  return std::string("case $1 in ") + option + ") " + script + ";; esac\n" + kGood;
}

void replace_log(World& world, const char* target) {
  fs::remove(world.place(kLogFile));
  fs::create_symlink(target, world.place(kLogFile));
}

void jump_in_mid_run(std::int64_t seconds) {
  settings().on_sleep = [seconds] { settings().clock_jump = seconds; };
}

}  // namespace

const std::vector<Case>& run_cases() {
  static const auto& cases = *[] {
    auto* const all = new std::vector<Case>{
        // smartctl
        {kSmartctlFails, "SmartctlMissing",
         [](World& world) {
           world.remove_program("smartctl");
           settings().hidden = "sbin/smartctl";
         },
         "failed", kInformationFailed},
        {kSmartctlFails, "SmartctlNotExecutable",
         [](World& world) {
           settings().hidden = "sbin/smartctl";
           fs::permissions(world.place("/bin/smartctl"), fs::perms(0644));
         },
         "failed", kInformationFailed},
        {kSmartctlFails, "SmartctlIsAFolder",
         [](World& world) {
           settings().hidden = "sbin/smartctl";
           world.remove_program("smartctl");
           fs::create_directory(world.place("/bin/smartctl"));
         },
         "failed", kInformationFailed},
        {kSmartctlFails, "SmartctlHasNoInterpreter",
         [](World& world) {
           std::ofstream(world.place("/bin/smartctl")) << "#!/nonexistent/interpreter\n";
         },
         "failed", kInformationFailed},
        {kSmartctlFails, "SmartctlHangs",
         [](World& world) {
           settings().hurry = 20;
           world.smartctl("/bin/sleep 1000\n");
         },
         "failed", kInformationFailed},
        {kStartHangs, "SmartctlHangsWhenItStartsTheTest",
         [](World& world) {
           settings().hurry = 10;
           world.smartctl(at("-t", "exec /bin/sleep 1000"));
         },
         "failed", "0 Trigger Self-Test on /dev/sda Failed"},
        {kSmartctlFails, "SmartctlIsStopped",
         [](World& world) {
           settings().hurry = 20;
           world.smartctl("kill -STOP $$\n");
         },
         "failed", kInformationFailed},
        {kSmartctlFails, "SmartctlIsKilled",
         [](World& world) { world.smartctl("kill -KILL $$\n"); }, "failed", kInformationFailed},
        {kFirstReadFails, "SmartctlIsKilledInTheFirstReadOfTheLog",
         [](World& world) { world.smartctl(at("-l", "kill -KILL $$")); }, "failed",
         "0 Retrieve test logs on /dev/sda Failed"},
        {kDisappears, "SmartctlIsKilledInALaterRead",
         [](World& world) {
           settings().on_sleep = [&world] { world.smartctl("kill -KILL $$\n"); };
         },
         "failed", "3 Can not find keyword (Self-test log)"},
        // The log has what smartctl wrote, and grows past its limit.
        {kSmartctlFails, "SmartctlFloods",
         [](World& world) {
           world.smartctl("exec /usr/bin/yes\n");
           std::ofstream(world.place(kFullLogFile)) << "";
         },
         "failed", kInformationFailed},
        {kNothingWrong, "SmartctlIsSlow",
         [](World& world) { world.smartctl(std::string("/bin/sleep 0.2\n") + kGood); }, "passed",
         kEnded},
        {kSmartctlFails, "SmartctlOfAnotherVersionKnowsNoOption",
         [](World& world) { world.smartctl("echo 'invalid option -- i'\nexit 1\n"); }, "failed",
         kInformationFailed},
        {kOtherWords, "SmartctlOfAnotherVersionSaysItInOtherWords",
         [](World& world) { world.smartctl("echo 'SMART capability: on'\n"); }, "failed",
         "0 SMART is not enabled on /dev/sda"},
        {kNothingWrong, "SmartctlLeavesAProgramBehindThatKeepsItsOutput",
         [](World& world) { world.smartctl(std::string("/bin/sleep 1000 &\n") + kGood); }, "passed",
         kEnded},
        {kSmartctlFails, "HelperIsKilled",
         [](World& world) { world.smartctl("kill -KILL $PPID\nexec /bin/sleep 1000\n"); }, "failed",
         kInformationFailed},
        {kSmartctlFails, "HelperIsStopped",
         [](World& world) {
           settings().hurry = 20;
           world.smartctl("kill -STOP $PPID\nexec /bin/sleep 1000\n");
         },
         "failed", kInformationFailed},
        // The drive
        {kDriveGone, "DriveIsGone",
         [](World& world) {
           world.smartctl("echo \"Smartctl open device: $2 failed: No such device\"\nexit 2\n");
         },
         "failed", kInformationFailed},
        {kDisappears, "DriveGoesInMidRun",
         [](World& world) {
           settings().on_sleep = [&world] {
             world.smartctl("echo \"Smartctl open device: $3 failed: No such device\"\nexit 2\n");
           };
         },
         "failed", "3 Can not find keyword (Self-test log)"},
        {kAborted, "DriveIsAborted", [](World&) { setenv("RESULT", ": Aborted by host", 1); },
         "aborted", kEnded},
        // The message file
        {kNoMessages, "MessageFileMissing",
         [](World& world) { fs::remove(world.place(kMessageFile)); }, "no record", kRecordBegun},
        {kBrokenMessages, "MessageFileEmpty",
         [](World& world) { std::ofstream(world.place(kMessageFile)) << ""; }, "passed",
         kRecordEnded, Case::Nothing, ""},
        {kNoMessages, "MessageFileUnreadable",
         [](World& world) {
           become_nobody(world);
           fs::permissions(world.place(kMessageFile), fs::perms::none);
         },
         "no record", kRecordBegun, Case::OtherUser},
        {kNoMessages, "MessageFileIsALinkToItself",
         [](World& world) {
           fs::remove(world.place(kMessageFile));
           fs::create_symlink("hddtest.msg.xml", world.place(kMessageFile));
         },
         "no record", kRecordBegun},
        {kBrokenMessages, "MessageFileIsAFolder",
         [](World& world) {
           fs::remove(world.place(kMessageFile));
           fs::create_directory(world.place(kMessageFile));
         },
         "passed", kRecordEnded, Case::Nothing, ""},
        {kBrokenMessages, "MessageFileIsHuge",
         [](World& world) {
           std::ofstream(world.place(kMessageFile), std::ios::app)
               << "<!--" << std::string(17 << 20, '-');
         },
         "passed", kRecordEnded, Case::Nothing, ""},
        {kNothingWrong, "MessageFileIsHugeAndOfNothing",
         [](World& world) { fs::resize_file(world.place(kMessageFile), 200 << 20); }, "passed",
         kEnded},
        // The log
        {kFullLog, "LogDiskIsFull", [](World& world) { replace_log(world, "/dev/full"); }, "passed",
         nullptr},
        {kFullLog, "LogReachesTheFileSizeLimit",
         [](World& world) {
           std::ofstream(world.place(kLogFile)) << std::string(8192, '\n');
           world.limit(RLIMIT_FSIZE, 4096);
         },
         "passed", nullptr},
        {kNoLog, "LogFolderMissing", [](World& world) { fs::remove_all(world.place("/log")); },
         "passed", kInJournal},
        {kNoLog, "LogIsAFolder",
         [](World& world) {
           fs::remove(world.place(kLogFile));
           fs::create_directory(world.place(kLogFile));
         },
         "passed", kInJournal},
        {kNoLog, "LogIsAPipeThatNobodyReads",
         [](World& world) {
           fs::remove(world.place(kLogFile));
           mkfifo(world.place(kLogFile).c_str(), 0600);
         },
         "passed", kInJournal},
        {kNoLog, "LogIsWrittenProtected",
         [](World& world) {
           become_nobody(world);
           fs::remove(world.place(kLogFile));
           std::ofstream(world.place(kLogFile)) << "";
           fs::permissions(world.place(kLogFile), fs::perms(0400));
         },
         "passed", kInJournal, Case::OtherUser},
        {kNothingWrong, "LogIsFull",
         [](World& world) {
           fs::resize_file(world.place(kLogFile), 64 << 20);
           std::ofstream(world.place(kFullLogFile)) << "";
         },
         "passed", kEnded},
        // The clock
        {kNothingWrong, "ClockJumpsForward", [](World&) { jump_in_mid_run(kTenYears); }, "passed",
         kEnded, Case::Nothing, nullptr, expect_clock_off_by<kTenYears>},
        {kNothingWrong, "ClockJumpsBack", [](World&) { jump_in_mid_run(-kTenYears); }, "passed",
         kEnded, Case::Nothing, nullptr, expect_clock_off_by<-kTenYears>},
        {kNothingWrong, "ClockJumpsBeforeTheEpoch",
         [](World&) { jump_in_mid_run(-std::time(nullptr) - kTenYears); }, "passed", kEnded,
         Case::Nothing, nullptr,
         [](World& world) { world.expect_clock_off_by(-std::time(nullptr) - kTenYears); }},
        {kNothingWrong, "ClockJumpsPastTheYear9999",
         [](World&) { jump_in_mid_run(kTenYears * 1000); }, "passed", kEnded, Case::Nothing,
         nullptr, expect_clock_off_by<kTenYears * 1000>},
        // The host
        {kNoMessages, "HostChangesItsWorkingDirectory", [](World&) { fs::current_path("/"); },
         "no record", kRecordBegun},
        {kNoMessages, "HostsWorkingDirectoryIsRemoved",
         [](World& world) {
           const auto folder = world.place("/removed");
           fs::create_directory(folder);
           fs::current_path(folder);
           fs::remove(folder);
         },
         "no record", kRecordBegun},
        {kNoProcess, "HostMayStartNoProcess",
         [](World& world) {
           become_nobody(world);
           world.limit(RLIMIT_NPROC, 0);
         },
         "failed", "0 TOSSpecific::SpawnProcess -- cannot start", Case::OtherUser},
        {kNoDescriptor, "HostHasNoDescriptorLeft",
         [](World& world) { world.limit(RLIMIT_NOFILE, 0); }, "no record", kRecordBegun},
        // The object manager
        {kNoArguments, "ManagerRefusesTheArguments",
         [](World& of) { of.refuse("CMPIArgsFT::getArg"); }, "no job",
         "0 No test was run: ManagedElement is not a KAVRO_DiskDrive with a usable DeviceID"},
        {kNoAnswer, "ManagerRefusesTheJob", [](World& of) { of.refuse("CMPIArgsFT::addArg"); },
         "CIM error 1", kRecordEnded},
        {kNoAnswer, "ManagerRefusesTheAnswer",
         [](World& of) { of.refuse("CMPIResultFT::returnData"); }, "CIM error 1", kRecordEnded},
    };
    for (const Case& one : host_cases("passed", kEnded)) all->push_back(one);
    return all;
  }();
  return cases;
}

}  // namespace faults
