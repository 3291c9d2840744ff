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
std::string LocateHelper() {
  Dl_info library{};
  std::error_code error;
  if (dladdr(reinterpret_cast<const void*>(&LocateHelper), &library) != 0) {
    const auto beside = std::filesystem::absolute(library.dli_fname, error).parent_path() / ".." /
                        "libexec" / "hvx-run";
    if (!error && std::filesystem::exists(beside, error)) return beside.string();
  }
  return HVX_RUN_INSTALLED;
}

// Found when the library is loaded, as its own path may be a relative one and the working
// directory changes. A reference, so that nothing is destroyed at exit.
const std::string& helper_path = *new std::string(LocateHelper());

// The reason goes to the log, since the caller learns only that the program did not exit.
void LogNotStarted(const std::string& program, const std::string& reason) {
  TRootObject::GetCoreLogger()->Log(
      ILogger::eError, "TOSSpecific::SpawnProcess -- cannot start " + program + ": " + reason);
}

std::string MessageOf(int error) { return std::generic_category().message(error); }

// The end that a child gets lies above the numbers that it gets there: in a host with closed
// standard streams a pipe is given those very numbers.
bool Open(Pipe& pipe) {
  pipe = platform::open_pipe();
  if (!pipe.write_end) return false;
  if (pipe.write_end.get() <= HVX_REPORT_DESCRIPTOR)
    pipe.write_end =
        Descriptor(fcntl(pipe.write_end.get(), F_DUPFD_CLOEXEC, HVX_REPORT_DESCRIPTOR + 1));
  return pipe.write_end && fcntl(pipe.read_end.get(), F_SETFL, O_NONBLOCK) == 0;
}

// The helper has to outlive what a terminal sends to the host, and so is in a group of its own.
int StartHelper(pid_t& process, const Pipe& output, const Pipe& report, char** arguments) {
  platform::SpawnPlan plan;
  plan.open(STDIN_FILENO, "/dev/null", O_RDONLY);
  plan.give(output.write_end.get(), STDOUT_FILENO);
  plan.open(STDERR_FILENO, "/dev/null", O_WRONLY);
  plan.give(report.write_end.get(), HVX_REPORT_DESCRIPTOR);
  plan.default_signals();
  return plan.start(process, helper_path.c_str(), arguments);
}

// One run, from the start of the helper to its end.
class TRun {
 public:
  explicit TRun(std::string& output) : fOutputText(output) {}
  TRun(const TRun&) = delete;
  ~TRun();

  bool Start(std::vector<char*> arguments);
  int Collect(TClock::time_point deadline);
  // Why the program could not be started, as an error number; 0 when it was.
  int StartError() const { return fOutcome.outcome == HVX_NOT_STARTED ? fOutcome.value : 0; }

 private:
  void ReadOutput(std::size_t most);
  bool ReadReport();

  std::string& fOutputText;
  const std::unique_ptr<char[]> fBuffer{new char[kReadSize]};  // stacks may be small
  Pipe fOutput;
  Pipe fReport;
  pid_t fHelper = 0;
  bool fGivenUp = false;
  hvx_report fOutcome{};
};

// Closing the pipes makes a helper that still runs kill its program and end. Reaping may fail,
// as the host or the kernel may have done it already; nothing depends on it. A helper that was
// given up is killed, and its program with it: it has not closed its end of the report, so the
// process id is its own still. When it is stuck in the kernel it is not waited for.
TRun::~TRun() {
  fOutput.read_end.close();
  if (fGivenUp && fHelper > 0) {
    kill(fHelper, SIGKILL);
    pollfd end{fReport.read_end.get(), 0, 0};
    fGivenUp = poll(&end, 1, kHelperEndMilliseconds) <= 0;
  }
  fReport.read_end.close();
  if (fHelper <= 0) return;
  while (waitpid(fHelper, nullptr, fGivenUp ? WNOHANG : 0) < 0 && errno == EINTR) {
  }
}

bool TRun::Start(std::vector<char*> arguments) {
  if (!Open(fOutput) || !Open(fReport)) return false;
  arguments.push_back(nullptr);
  const int error = StartHelper(fHelper, fOutput, fReport, arguments.data());
  if (error != 0) {
    fHelper = 0;
    LogNotStarted(helper_path, MessageOf(error));
    return false;
  }
  fOutput.write_end.close();
  fReport.write_end.close();
  return true;
}

// Reads up to that many bytes of what is there. Past the limit the pipe is closed, which stops
// the program.
void TRun::ReadOutput(std::size_t most) {
  const ssize_t count = read(fOutput.read_end.get(), fBuffer.get(), std::min(most, kReadSize));
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (count <= 0) {
    fOutput.read_end.close();
    return;
  }
  const std::size_t room = kOutputLimit - fOutputText.size();
  fOutputText.append(fBuffer.get(), std::min<std::size_t>(count, room));
  if (static_cast<std::size_t>(count) <= room) return;
  fOutput.read_end.close();
  fOutcome.outcome = HVX_STOPPED;
}

// False as long as there is neither a report nor an end without one.
bool TRun::ReadReport() {
  hvx_report report{};
  const ssize_t count = read(fReport.read_end.get(), &report, sizeof report);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  if (count == sizeof report && fOutcome.outcome != HVX_STOPPED) fOutcome = report;
  return true;
}

int TRun::Collect(TClock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - TClock::now()).count();
    if (left <= 0) {
      fGivenUp = true;
      return -1;
    }
    std::array<pollfd, 2> events{pollfd{fOutput.read_end.get(), POLLIN, 0},
                                 pollfd{fReport.read_end.get(), POLLIN, 0}};
    if (poll(events.data(), events.size(), static_cast<int>(std::min<long>(left, 1 << 30))) < 0)
      continue;
    if (events[1].revents != 0 && ReadReport()) break;
    if (events[0].revents != 0) ReadOutput(kReadSize);
  }
  // Everything that the program wrote is in the pipe by now. What comes later is written by a
  // process that it left behind, which may never stop.
  int left = 0;
  ioctl(fOutput.read_end.get(), FIONREAD, &left);
  while (left > 0 && fOutput.read_end.get() >= 0) {
    const std::size_t before = fOutputText.size();
    ReadOutput(static_cast<std::size_t>(left));
    if (fOutputText.size() == before) break;
    left -= static_cast<int>(fOutputText.size() - before);
  }
  return fOutcome.outcome == HVX_EXITED ? fOutcome.value : -1;
}

bool HoldsNul(const std::string& text) { return text.find('\0') != std::string::npos; }

}  // namespace

int RunProgram(const std::string& program, const std::vector<std::string>& arguments,
               std::string& output, int timeoutSeconds) {
  output.clear();
  const std::string path = FindProgram(program);
  if (path.empty()) {
    LogNotStarted(program, WhyNotFound(program));
    return -1;
  }
  // A NUL would cut the argument short, and the program would do something else than it was asked.
  if (std::any_of(arguments.begin(), arguments.end(), HoldsNul)) {
    LogNotStarted(program, "an argument holds a NUL");
    return -1;
  }

  const std::string seconds = std::to_string(std::max(timeoutSeconds, 0));
  std::vector<char*> all;
  const auto add = [&all](const std::string& text) {
    all.push_back(const_cast<char*>(text.c_str()));
  };
  for (const std::string* text : {&helper_path, &seconds, &path, &program}) add(*text);
  for (const std::string& text : arguments) add(text);

  TRun run(output);
  if (!run.Start(std::move(all))) return -1;
  const int status =
      run.Collect(TClock::now() + std::chrono::seconds(std::max(timeoutSeconds, 0)) + kHelperDelay);
  if (const int error = run.StartError()) LogNotStarted(program, MessageOf(error));
  return status;
}

}  // namespace NKVRHVX20
