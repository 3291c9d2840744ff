#include "tests/faults/world.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/descriptor.h"
#include "tests/faults/broker_calls.h"
#include "tests/small_stack.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr char kServiceClass[] = "KAVRO_HDDTest_DiagnosticService";
constexpr char kOfferClass[] = "KAVRO_HDDTest_AvailableDiagnosticService";
constexpr int kGraceMilliseconds = 5000;  // for a process that was killed to end

// A drive that passes; one read of its log shows the test in progress.
constexpr char kGoodSmartctl[] = R"(log=${0%/*}/../drive
case $1 in
-i) echo 'SMART support is: Enabled'; : > $log ;;
-t) echo x > $log ;;
-l) echo 'SMART Self-test log structure revision number 1'
    read -r state < $log
    case $state in
    x) echo y > $log; echo '# 1  Short offline  Self-test routine in progress 90%  1  -' ;;
    y) echo "# 1  Short offline  Completed${RESULT:- without error}  00%  1  -" ;;
    esac ;;
esac
)";

std::string disk_block(const std::string& number, const std::string& driver,
                       const std::string& name) {
  return "30: SCSI 300.0: 10600 Disk\n  Unique ID: " + number + "\n  SysFS BusID: " + number +
         ":0:0:0\n  Driver: \"" + driver + "\", \"sd\"\n  Device File: " + name + " (/dev/sg" +
         number + ")\n\n";
}

std::string read_file(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

broker::ObjectPath path_of(const char* class_name, const char* key, const char* value) {
  return {broker::Name("root/cimv2"), broker::Name(class_name), {{broker::Name(key), value}}};
}

// "running" or "ended" when the process has a child, which is in that state; else empty.
std::string child_of_this() {
  siginfo_t child{};
  if (waitid(P_ALL, 0, &child, WEXITED | WSTOPPED | WNOHANG | WNOWAIT) != 0) return {};
  return child.si_pid != 0 ? "ended" : "running";
}

}  // namespace

World::World() {
  for (const char* name : {"rm", "grep"}) {
    fs::create_directories(place("/bin"));
    fs::create_symlink(fs::path("/bin") / name, place("/bin") / name);
  }
  chmod(tree.root().c_str(), 0755);
  fs::current_path(tree.root());
  setenv("PATH", place("/bin").c_str(), 1);
  setenv("HVX_SYSFS_ROOT", tree.root().c_str(), 1);
  setenv("HVX_LOG_FILE", place("/log/diagnostics.log").c_str(), 1);
  settings().journal = place("/journal");
  mend();
  broker::Options options;
  options.registration = broker::read_registration(HDDTEST_REGISTRATION_FILE);
  options.library_folders = {HDDTEST_LIBRARY_FOLDER};
  options.adjust_tables = [this](broker::Tables& tables) { broker_functions_ = may_fail(tables); };
  manager_ = std::make_unique<broker::ObjectManager>(broker::generated_schema(), options);
}

World::~World() {
  manager_.reset();
  fs::current_path("/");
}

void World::program(const std::string& name, const std::string& script) const {
  remove_program(name);
  tree.file("/bin/" + name, "#!/bin/sh\n" + script);
  fs::permissions(place("/bin/" + name), fs::perms(0755));
}

void World::lay_out_drives() const {
  tree.remove("/sys");
  fs::create_directories(place("/sys/block"));
  tree.ahci_disk(0, "sda");
  tree.scsi_host(1, "megaraid_sas");
  const auto raid = tree.scsi_device("pci0000:00/0000:00:04.0", "1:0:0:0", "MAKER", "DISK");
  tree.scsi_generic(raid, "sg1");
  tree.block(raid, "sdb");
}

void World::remove_program(const std::string& name) const { fs::remove_all(place("/bin/" + name)); }

void World::mend() {
  disarm();
  Settings fresh;
  fresh.journal = settings().journal;
  fresh.log_looks = settings().log_looks;
  settings() = fresh;
  for (const char* name : {"smartctl", "good_smartctl"}) program(name, kGoodSmartctl);
  const std::string report =
      disk_block("0", "ahci", "/dev/sda") + disk_block("1", "megaraid_sas", "/dev/sdb");
  for (const char* name : {"hwinfo", "good_hwinfo"})
    program(name, "[ $1 != --disk ] || echo '" + report + "'\n");
  tree.file("/drive", "");
  if (!fs::exists(place("/sys/block/sda/size"))) lay_out_drives();
  for (const char* path : {"/hddtest", "/log", "/journal"}) fs::remove_all(place(path));
  for (const auto& entry : fs::recursive_directory_iterator(tree.root()))
    if (!entry.is_symlink() && entry.is_directory()) fs::permissions(entry, fs::perms(0755));
  fs::create_directories(place("/log"));
  fs::create_directories(place("/hddtest"));
  fs::copy_file(HDDTEST_MESSAGE_FILE, place("/hddtest/hddtest.msg.xml"));
  tree.file("/log/diagnostics.log", "");
  tree.file("/journal", "");
  fs::current_path(tree.root());
  std::error_code not_ours;
  if (holds_scratch_file) fs::remove_all(kScratchFile, not_ours);
}

std::string World::run() {
  const auto earlier = records().size();
  broker::MethodResult result;
  const broker::ObjectPath service(
      broker::Name("root/cimv2"), broker::Name(kServiceClass),
      {{broker::Name("Name"), "Hard Drive: Self Test"},
       {broker::Name("SystemName"), ""},
       {broker::Name("SystemCreationClassName"), "KAVRO_ComputerSystem"},
       {broker::Name("CreationClassName"), kServiceClass}});
  const broker::ObjectPath drive = path_of("KAVRO_DiskDrive", "DeviceID", "/dev/sda");
  const std::vector<broker::Argument> in = {{broker::Name("ManagedElement"), drive}};
  const auto request = [&] { result = manager_->invoke_method(service, "RunDiagnostic", in); };
  if (std::string failure = ask(request); !failure.empty()) return failure;
  EXPECT_EQ(result.return_value, broker::Value(std::uint32_t{0}));
  const broker::Value* const job = result.find("Job");
  if (!job) return "no job";
  const auto instances = manager_->enumerate_instances(kRecordClass);
  if (instances.size() == earlier) return "no record";
  EXPECT_EQ(instances.size(), earlier + 1);
  const broker::Instance& record = instances.back();
  EXPECT_EQ(job->as_path().keys.front().value, *record.property("InstanceID"));
  EXPECT_EQ(record.text("ManagedElementName"), "/dev/sda");
  const std::string state = record.text("CompletionState");
  if (state == "2") return "passed";
  if (state == "5") return "failed";
  return state == "6" ? "aborted" : state;
}

void World::fail(Call kind, int number) {
  failing_ = kind;
  failing_number_ = number;
}

std::string World::ask(const std::function<void()>& request) {
  std::string failure;
  const auto limits = std::exchange(limits_, {});
  std::vector<rlimit> before;
  for (const auto& [resource, value] : limits) {
    getrlimit(static_cast<__rlimit_resource>(resource), &before.emplace_back());
    const rlimit lower{value, before.back().rlim_max};
    setrlimit(static_cast<__rlimit_resource>(resource), &lower);
  }
  settings().refused = std::exchange(refused_, {});
  ++settings().log_looks;  // whatever has become of the file
  if (failing_ == Call::Open) fs::remove(place("/log/diagnostics.log"));  // so that it is opened
  log_begin_ = log_size();
  if (failing_) arm(*failing_, failing_number_);
  failing_.reset();
  try {
    if (std::exchange(on_small_stack_, false))
      on_small_stack(request);
    else
      request();
    calls_ = disarm();
  } catch (const broker::Error& error) {
    calls_ = disarm();
    failure = "CIM error " + std::to_string(static_cast<int>(error.status()));
  } catch (const std::bad_alloc&) {
    calls_ = disarm();
    failure = "out of memory";
  }
  settings().on_open = nullptr;
  settings().refused.clear();
  for (std::size_t i = 0; i < limits.size(); ++i)
    setrlimit(static_cast<__rlimit_resource>(limits[i].first), &before[i]);
  log_end_ = log_size();
  return failure;
}

std::string World::names_of(const std::string& class_name, const std::string& property) {
  std::vector<broker::Instance> instances;
  const auto request = [&] { instances = manager_->enumerate_instances(class_name); };
  if (std::string failure = ask(request); !failure.empty()) return failure;
  std::string names;
  for (const broker::Instance& one : instances) {
    const std::string text = one.text(property);
    const std::size_t begin = text.find("/dev/");
    const std::string name =
        begin == text.npos ? text : text.substr(begin, text.find('"', begin) - begin);
    const bool is_nameless = name.empty() || name.find('=') != name.npos;
    if (!names.empty()) names += " ";
    names += is_nameless ? "nameless" : name;
  }
  return names.empty() ? "none" : names;
}

std::string World::offered() { return names_of(kOfferClass, "UserOfService"); }
std::string World::drives() { return names_of("KAVRO_DiskDrive", "DeviceID"); }

std::string World::listed_records() { return names_of(kRecordClass, "InstanceID"); }

std::vector<std::string> World::records() const {
  std::vector<std::string> jobs;
  for (const broker::Instance& record : manager_->enumerate_instances(kRecordClass))
    jobs.push_back(record.text("InstanceID"));
  return jobs;
}

std::string World::text_of_last_record() const {
  return manager_->enumerate_instances(kRecordClass).back().text("RecordData");
}

std::uintmax_t World::log_size() const {
  std::error_code error;
  const auto size = fs::file_size(place("/log/diagnostics.log"), error);
  return error ? 0 : size;
}

std::string World::log() const {
  const fs::path file = place("/log/diagnostics.log");
  if (!fs::is_regular_file(file)) return {};
  // A new file begins with the operation.
  const auto begin = log_begin_ <= log_end_ ? log_begin_ : 0;
  std::string text(log_end_ - begin, '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(begin));
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return text;
}

bool World::logged(const std::string& line) const {
  const std::string text = line.substr(2);
  if (line.starts_with("journal ")) {
    const std::string messages = read_file(place("/journal"));
    return messages.find("\nMESSAGE=" + line.substr(8)) != messages.npos;
  }
  const std::string middle = " " + line.substr(0, 1) + " " + std::to_string(getpid()) + " " + text;
  return log().find(middle) != std::string::npos;
}

std::set<std::string> World::traces() const {
  std::set<std::string> found;
  for (int waited = 0; child_of_this() == "running" && waited < kGraceMilliseconds; waited += 10)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  if (const std::string child = child_of_this(); !child.empty()) found.insert("child " + child);

  std::vector<std::string> descriptors;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
    descriptors.push_back(entry.path().filename());
  std::size_t of_log = 0;  // the logger keeps one
  for (const std::string& number : descriptors) {
    if (fcntl(std::stoi(number), F_GETFD) < 0) continue;
    const std::string file = fs::read_symlink("/proc/self/fd/" + number).string();
    if (file.starts_with(place("/log/diagnostics.log").string()) && ++of_log == 1) continue;
    found.insert("descriptor " + number);
  }

  const auto options = fs::directory_options::skip_permission_denied;
  for (const auto& entry : fs::recursive_directory_iterator(tree.root(), options))
    found.insert("file " + entry.path().string());
  if (holds_scratch_file && fs::exists(fs::symlink_status(kScratchFile)))
    found.insert(kScratchFile);

  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    if (sigismember(&mask, number) == 1) found.insert("blocked " + std::to_string(number));
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_DFL)
      found.insert("handled " + std::to_string(number));
  }
  std::error_code error;
  found.insert("working directory " + fs::current_path(error).string());
  const mode_t present = umask(0);
  umask(present);
  found.insert("umask " + std::to_string(present));
  return found;
}

void World::expect_clock_off_by(std::int64_t seconds) const {
  const std::string text = log();
  const std::size_t end = text.rfind('\n', text.size() - 2);
  const std::string line = text.substr(end == text.npos ? 0 : end + 1);
  const std::time_t time = std::time(nullptr) + seconds;
  tm there{};
  gmtime_r(&time, &there);
  char year[16];  // the log has its last four digits
  std::snprintf(year, sizeof year, "%04d-", (there.tm_year + 1900) % 10000);
  EXPECT_TRUE(line.starts_with(year)) << line;
}

void World::expect_log_unlocked() const {
  const fs::path log_file = place("/log/diagnostics.log");
  if (!fs::is_regular_file(log_file)) return;
  const platform::Descriptor file(open(log_file.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(flock(file.get(), LOCK_EX | LOCK_NB), 0) << "the log file is locked";
}

void World::expect_well(const std::vector<std::string>& earlier_records) {
  expect_log_unlocked();
  EXPECT_EQ(run(), "passed") << "the next run, log:\n" << log();
  if (holds_scratch_file && !fs::exists(fs::symlink_status(kScratchFile))) {
    EXPECT_EQ(offered(), "/dev/sda") << "the next discovery, log:\n" << log();
  }
  std::vector<std::string> present = records();
  ASSERT_GE(present.size(), earlier_records.size());
  present.resize(earlier_records.size());
  EXPECT_EQ(present, earlier_records) << "records of earlier runs";
}

void in_child(const std::function<void()>& work, int seconds) {
  std::fflush(nullptr);
  prctl(PR_SET_CHILD_SUBREAPER, 1);  // what the child leaves behind becomes ours
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    setpgid(0, 0);
    try {
      work();
    } catch (const std::exception& exception) {
      ADD_FAILURE() << exception.what();
    }
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  const platform::Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
  pollfd end{handle.get(), POLLIN, 0};
  if (poll(&end, 1, seconds * 1000) != 1) {
    ADD_FAILURE() << "it does not end";
    kill(child, SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_FALSE(WIFSIGNALED(status)) << "killed by signal " << WTERMSIG(status);
  EXPECT_TRUE(!WIFEXITED(status) || WEXITSTATUS(status) == 0) << "see the failures above";
  int waited = 0;
  for (;;) {
    const pid_t orphan = waitpid(-1, nullptr, WNOHANG);
    if (orphan < 0) break;
    if (orphan > 0) continue;
    waited += 10;
    if (waited > kGraceMilliseconds) {
      ADD_FAILURE() << "a process is left behind";
      const auto self = std::to_string(getpid());
      std::ifstream children("/proc/self/task/" + self + "/children");
      for (pid_t one; children >> one;) kill(one, SIGKILL);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace faults
