#include "platform/support/process_runner.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/descriptor.h"
#include "platform/spawn_plan.h"
#include "platform/support/hvx_run.h"
#include "platform/support/kept_errors.h"
#include "platform/support/logger.h"
#include "platform/support/program.h"

namespace NKVRHVX20 {

namespace {

using platform::Descriptor;
using platform::Pipe;
using TClock = std::chrono::steady_clock;

// The helper keeps the time; this much later it counts as stuck and is given up.
constexpr std::chrono::seconds kHelperDelay{10};
// How long a helper that was killed for that may take to end.
constexpr int kHelperEndMilliseconds = 1000;
constexpr std::size_t kReadSize = 65536;

// In a build tree, and in a package that keeps its shape, the helper is beside the libraries;
// else where it was configured to be installed. Never taken from the environment: what it runs,
// it runs with our rights.
std::string locate_helper() {
  Dl_info library{};
  std::error_code error;
  if (dladdr(reinterpret_cast<const void*>(&locate_helper), &library) != 0) {
    const auto beside = std::filesystem::absolute(library.dli_fname, error).parent_path() / ".." /
                        "libexec" / "hvx-run";
    if (!error && std::filesystem::exists(beside, error)) return beside.string();
  }
  return HVX_RUN_INSTALLED;
}

// Found when the library is loaded, as its own path may be a relative one and the working
// directory changes. A reference, so that nothing is destroyed at exit.
const std::string& helper_path = *new std::string(locate_helper());

// The reason goes to the log, since the caller learns only that the program did not exit.
void log_not_started(const std::string& program, const std::string& reason) {
  TRootObject::GetCoreLogger()->Log(
      ILogger::eError, "TOSSpecific::SpawnProcess -- cannot start " + program + ": " + reason);
}

std::string message_of(int error) { return std::generic_category().message(error); }

// The end that a child gets lies above the numbers that it gets there: in a host with closed
// standard streams a pipe is given those very numbers.
bool open(Pipe& pipe) {
  pipe = platform::open_pipe();
  if (!pipe.write_end) return false;
  if (pipe.write_end.get() <= HVX_REPORT_DESCRIPTOR)
    pipe.write_end =
        Descriptor(fcntl(pipe.write_end.get(), F_DUPFD_CLOEXEC, HVX_REPORT_DESCRIPTOR + 1));
  return pipe.write_end && fcntl(pipe.read_end.get(), F_SETFL, O_NONBLOCK) == 0;
}

// The helper has to outlive what a terminal sends to the host, and so is in a group of its own.
int start_helper(pid_t& process, const Pipe& output, const KeptErrors& errors, const Pipe& report,
                 char** arguments) {
  platform::SpawnPlan plan;
  plan.open(STDIN_FILENO, "/dev/null", O_RDONLY);
  plan.give(output.write_end.get(), STDOUT_FILENO);
  if (errors.descriptor() >= 0)
    plan.give(errors.descriptor(), STDERR_FILENO);
  else
    plan.open(STDERR_FILENO, "/dev/null", O_WRONLY);
  plan.give(report.write_end.get(), HVX_REPORT_DESCRIPTOR);
  plan.default_signals();
  return plan.start(process, helper_path.c_str(), arguments);
}

// One run, from the start of the helper to its end.
class TRun {
 public:
  explicit TRun(std::string& output) : output_text_(output) {}
  TRun(const TRun&) = delete;
  ~TRun();

  // Errors that cannot be kept are lost, as those that nobody wants to have.
  void keep_errors() { errors_.open(HVX_REPORT_DESCRIPTOR); }
  std::string errors() const { return errors_.text(); }
  bool start(std::vector<char*> arguments);
  int collect(TClock::time_point deadline);
  // Why the program could not be started, as an error number; 0 when it was.
  int start_error() const { return outcome_.outcome == HVX_NOT_STARTED ? outcome_.value : 0; }

 private:
  void read_output(std::size_t most);
  bool read_report();

  std::string& output_text_;
  const std::unique_ptr<char[]> buffer_{new char[kReadSize]};  // stacks may be small
  Pipe output_;
  KeptErrors errors_;
  Pipe report_;
  pid_t helper_ = 0;
  bool given_up_ = false;
  hvx_report outcome_{};
};

// Closing the pipes makes a helper that still runs kill its program and end. Reaping may fail,
// as the host or the kernel may have done it already; nothing depends on it. A helper that was
// given up is killed, and its program with it: it has not closed its end of the report, so the
// process id is its own still. When it is stuck in the kernel it is not waited for.
TRun::~TRun() {
  output_.read_end.close();
  if (given_up_ && helper_ > 0) {
    kill(helper_, SIGKILL);
    pollfd end{report_.read_end.get(), 0, 0};
    given_up_ = poll(&end, 1, kHelperEndMilliseconds) <= 0;
  }
  report_.read_end.close();
  if (helper_ <= 0) return;
  while (waitpid(helper_, nullptr, given_up_ ? WNOHANG : 0) < 0 && errno == EINTR) {
  }
}

bool TRun::start(std::vector<char*> arguments) {
  if (!open(output_) || !open(report_)) return false;
  arguments.push_back(nullptr);
  const int error = start_helper(helper_, output_, errors_, report_, arguments.data());
  if (error != 0) {
    helper_ = 0;
    log_not_started(helper_path, message_of(error));
    return false;
  }
  output_.write_end.close();
  report_.write_end.close();
  return true;
}

// Reads up to that many bytes of what is there. Past the limit the pipe is closed, which stops
// the program.
void TRun::read_output(std::size_t most) {
  const ssize_t count = read(output_.read_end.get(), buffer_.get(), std::min(most, kReadSize));
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (count <= 0) {
    output_.read_end.close();
    return;
  }
  const std::size_t room = kOutputLimit - output_text_.size();
  output_text_.append(buffer_.get(), std::min<std::size_t>(count, room));
  if (static_cast<std::size_t>(count) <= room) return;
  output_.read_end.close();
  outcome_.outcome = HVX_STOPPED;
}

// False as long as there is neither a report nor an end without one.
bool TRun::read_report() {
  hvx_report report{};
  const ssize_t count = read(report_.read_end.get(), &report, sizeof report);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  if (count == sizeof report && outcome_.outcome != HVX_STOPPED) outcome_ = report;
  return true;
}

int TRun::collect(TClock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - TClock::now()).count();
    if (left <= 0) {
      given_up_ = true;
      return -1;
    }
    std::array<pollfd, 2> events{pollfd{output_.read_end.get(), POLLIN, 0},
                                 pollfd{report_.read_end.get(), POLLIN, 0}};
    if (poll(events.data(), events.size(), static_cast<int>(std::min<long>(left, 1 << 30))) < 0)
      continue;
    if (events[1].revents != 0 && read_report()) break;
    if (events[0].revents != 0) read_output(kReadSize);
  }
  // Everything that the program wrote is in the pipe by now. What comes later is written by a
  // process that it left behind, which may never stop.
  int left = 0;
  ioctl(output_.read_end.get(), FIONREAD, &left);
  while (left > 0 && output_.read_end.get() >= 0) {
    const std::size_t before = output_text_.size();
    read_output(static_cast<std::size_t>(left));
    if (output_text_.size() == before) break;
    left -= static_cast<int>(output_text_.size() - before);
  }
  return outcome_.outcome == HVX_EXITED ? outcome_.value : -1;
}

bool holds_nul(const std::string& text) { return text.find('\0') != std::string::npos; }

}  // namespace

int run_program(const std::string& program, const std::vector<std::string>& arguments,
                std::string& output, int timeout_seconds, std::string* errors) {
  output.clear();
  if (errors) errors->clear();
  const std::string path = find_program(program);
  if (path.empty()) {
    log_not_started(program, why_not_found(program));
    return -1;
  }
  // A NUL would cut the argument short, and the program would do something else than it was asked.
  if (std::any_of(arguments.begin(), arguments.end(), holds_nul)) {
    log_not_started(program, "an argument holds a NUL");
    return -1;
  }

  const std::string seconds = std::to_string(std::max(timeout_seconds, 0));
  std::vector<char*> all;
  const auto add = [&all](const std::string& text) {
    all.push_back(const_cast<char*>(text.c_str()));
  };
  for (const std::string* text : {&helper_path, &seconds, &path, &program}) add(*text);
  for (const std::string& text : arguments) add(text);

  TRun run(output);
  if (errors) run.keep_errors();
  if (!run.start(std::move(all))) return -1;
  const int status = run.collect(TClock::now() +
                                 std::chrono::seconds(std::max(timeout_seconds, 0)) + kHelperDelay);
  if (errors) *errors = run.errors();
  if (const int error = run.start_error()) log_not_started(program, message_of(error));
  return status;
}

}  // namespace NKVRHVX20
