#include "tests/scripted/stage.h"

#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "platform/support/logger.h"
#include "tests/scripted/recorder.h"
#include "tests/scripted/rendering.h"

namespace scripted {

namespace fs = std::filesystem;

namespace {

// Folders in which a program is looked for beyond PATH.
constexpr const char* kSystemFolders[] = {"/usr/sbin", "/sbin", "/usr/local/sbin"};

void write_file(const fs::path& file, const std::string& text) {
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  if (!stream.flush()) throw std::runtime_error(file.string() + ": cannot be written");
}

// Gives this thread mounts of its own. A user without root's rights needs a user name space for
// that, in which user and group stay the same. Some systems give one and then allow nothing in it.
bool separate_mounts() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    try {
      write_file("/proc/self/setgroups", "deny");  // else the kernel takes no map of groups
      write_file("/proc/self/uid_map", user + " " + user + " 1");
      write_file("/proc/self/gid_map", group + " " + group + " 1");
    } catch (const std::runtime_error&) {
      return false;
    }
  }
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// The machine's own smartctl, out of sight of this thread and what it starts.
void hide_system_smartctl() {
  bool present = false;
  for (const char* folder : kSystemFolders)
    present = present || fs::exists(fs::path(folder) / "smartctl");
  if (!present) return;
  bool hidden = separate_mounts();
  for (const char* folder : kSystemFolders)
    if (hidden && fs::exists(fs::path(folder) / "smartctl"))
      hidden = mount("none", folder, "tmpfs", 0, nullptr) == 0;
  if (!hidden) throw CannotHide();
}

}  // namespace

Stage::Stage(const Life& life) : life_(life) {
  std::string name = fs::temp_directory_path() / "hddtest_life.XXXXXX";
  if (!mkdtemp(name.data())) throw std::runtime_error("there is no room for temporary files");
  folder_ = name;
  fs::create_directories(folder_ / "hddtest");
  fs::create_directories(folder_ / "bin");
  const fs::path messages = folder_ / "hddtest/hddtest.msg.xml";
  if (life_.messages) {
    write_file(messages, *life_.messages);
  } else if (life_.has_messages) {
    fs::copy_file(HDDTEST_MESSAGE_FILE, messages);
  }
  fs::current_path(folder_);
  prepare_smartctl();
  setenv("HVX_LOG_FILE", (folder_ / "log").c_str(), 1);
  setenv("HVX_LOG_LEVEL", "4", 1);
  start_recording(folder_ / "bin/calls", [this] {
    if (on_sleep) on_sleep();
  });

  broker::Options options;
  options.registration = broker::read_registration(HDDTEST_REGISTRATION_FILE);
  options.library_folders = {HDDTEST_LIBRARY_FOLDER};
  options.idle_time = std::chrono::milliseconds(0);  // for tests that look for idle providers
  manager_ = std::make_unique<broker::ObjectManager>(broker::generated_schema(), options);
}

Stage::~Stage() {
  manager_.reset();
  stop_recording();
  fs::current_path("/");
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

void Stage::prepare_smartctl() {
  const fs::path bin = folder_ / "bin";
  const char* const path = getenv("PATH");
  switch (life_.smartctl) {
    case Smartctl::StandIn:
      fs::copy_file(HDDTEST_STAND_IN, bin / "smartctl");
      write_script(life_.answers, bin);
      break;
    case Smartctl::Unstartable:
      write_file(bin / "smartctl", "#!/no/such/interpreter\n");
      fs::permissions(bin / "smartctl", fs::perms::owner_all);
      break;
    case Smartctl::Missing:
      hide_system_smartctl();
      setenv("PATH", bin.c_str(), 1);
      return;
  }
  setenv("PATH", (bin.string() + ":" + (path ? path : "/usr/bin:/bin")).c_str(), 1);
}

std::vector<Event> Stage::events() const { return recorded(); }

std::vector<std::string> Stage::log_file() const {
  const std::string process = " " + std::to_string(getpid()) + " ";
  std::ifstream file(folder_ / "log");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    // 0 stands for any digit.
    std::string form = line.substr(0, 29);
    std::replace_if(
        form.begin(), form.end(), [](unsigned char c) { return std::isdigit(c); }, '0');
    if (form != "0000-00-00T00:00:00.000000Z 0" || line.compare(29, process.size(), process) != 0)
      throw std::runtime_error("not a line of the log: " + line.substr(0, 100));
    lines.push_back(line.substr(28, 1) + " " + unescape(line.substr(29 + process.size())));
  }
  return lines;
}

broker::ObjectPath Stage::drive() const {
  return {broker::Name("root/cimv2"),
          broker::Name("KAVRO_DiskDrive"),
          {{broker::Name("SystemCreationClassName"), "KAVRO_ComputerSystem"},
           {broker::Name("SystemName"), "host"},
           {broker::Name("CreationClassName"), "KAVRO_DiskDrive"},
           {broker::Name("DeviceID"), life_.device}}};
}

broker::MethodResult Stage::run(const broker::Value& element, const std::string& service) {
  const broker::ObjectPath path(
      broker::Name("root/cimv2"), broker::Name("KAVRO_HDDTest_DiagnosticService"),
      {{broker::Name("SystemCreationClassName"), "KAVRO_ComputerSystem"},
       {broker::Name("SystemName"), ""},
       {broker::Name("CreationClassName"), "KAVRO_HDDTest_DiagnosticService"},
       {broker::Name("Name"), service}});
  std::vector<broker::Argument> in;
  if (!element.is_null()) in.push_back({broker::Name("ManagedElement"), element});
  return manager_->invoke_method(path, "RunDiagnostic", in);
}

void Stage::play() {
  for (const std::string& line : life_.transcript) {
    if (!line.starts_with("> ")) continue;
    record(line);
    try {
      play_action(words_of(line.substr(2)));
    } catch (const broker::Error& error) {
      record("< error " + broker::status_name(error.status()) + " " + error.description());
    }
  }
}

void Stage::play_action(const std::vector<std::string>& words) {
  if (words[0] == "run") {
    play_run(words);
  } else if (words[0] == "list" && words.size() == 2) {
    play_list(words[1]);
  } else if (words[0] == "end") {
    manager_.reset();
  } else {
    throw std::runtime_error("there is no action \"" + words[0] + "\"");
  }
}

void Stage::play_run(const std::vector<std::string>& words) {
  broker::Value element = drive();
  std::string service = kServiceName;
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (words[i].starts_with("service=")) {
      service = words[i].substr(8);
    } else if (words[i] == "element=none") {
      element = {};
    } else if (words[i].starts_with("element=")) {
      broker::ObjectPath other = drive();
      other.class_name = broker::Name(words[i].substr(8));
      element = other;
    } else {
      throw std::runtime_error("RunDiagnostic is not asked for with \"" + words[i] + "\"");
    }
  }
  const broker::MethodResult result = run(element, service);
  record("< return " + render(result.return_value));
  for (const broker::Argument& argument : result.out)
    record("< " + std::string(argument.name.view()) + " = " + render(argument.value));
}

void Stage::play_list(const std::string& class_name) {
  const Moment before = now();
  const std::vector<broker::Instance> instances = manager_->enumerate_instances(class_name);
  for (const broker::Instance& instance : instances)
    for (const std::string& line : render(instance, before)) record(line);
}

}  // namespace scripted
