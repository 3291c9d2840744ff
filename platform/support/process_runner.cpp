#include "platform/support/process_runner.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
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

#include "platform/support/hvx_run.h"
#include "platform/support/logger.h"
#include "platform/support/program.h"

extern char** environ;

namespace NKVRHVX20 {

namespace {

using TClock = std::chrono::steady_clock;

// The helper keeps the time; this much later it counts as stuck and is given up.
constexpr std::chrono::seconds kHelperDelay{10};
// So long it may take to go when it has been killed for that.
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

// The caller of a run learns only that it has no exit.
void LogNotStarted(const std::string& program, const std::string& reason) {
  TRootObject::GetCoreLogger()->Log(
      ILogger::eError, "TOSSpecific::SpawnProcess -- cannot start " + program + ": " + reason);
}

std::string MessageOf(int error) { return std::generic_category().message(error); }

class TDescriptor {
 public:
  explicit TDescriptor(int number = -1) : fNumber(number) {}
  TDescriptor(TDescriptor&& other) noexcept : fNumber(std::exchange(other.fNumber, -1)) {}
  TDescriptor& operator=(TDescriptor&& other) noexcept {
    std::swap(fNumber, other.fNumber);
    return *this;
  }
  ~TDescriptor() { Close(); }

  int Get() const { return fNumber; }
  void Close() {
    if (fNumber >= 0) close(std::exchange(fNumber, -1));
  }

 private:
  int fNumber;
};

struct TPipe {
  TDescriptor fRead;
  TDescriptor fWrite;

  // Close-on-exec. The end that a child gets lies above the numbers that it gets there: in a
  // host with closed standard streams a pipe is given those very numbers.
  bool Open() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    fRead = TDescriptor(ends[0]);
    fWrite = TDescriptor(ends[1]);
    if (fWrite.Get() <= HVX_REPORT_DESCRIPTOR)
      fWrite = TDescriptor(fcntl(fWrite.Get(), F_DUPFD_CLOEXEC, HVX_REPORT_DESCRIPTOR + 1));
    return fWrite.Get() >= 0 && fcntl(fRead.Get(), F_SETFL, O_NONBLOCK) == 0;
  }
};

// What posix_spawn is told; the C library's two objects, initialised and destroyed together.
class TSpawnPlan {
 public:
  TSpawnPlan(const TPipe& output, const TPipe& report) {
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    // Out of the host's process group: the helper has to outlive what a terminal sends to that.
    constexpr short flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP;
    const int errors[] = {
        posix_spawn_file_actions_init(&fActions),
        posix_spawn_file_actions_addopen(&fActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0),
        posix_spawn_file_actions_adddup2(&fActions, output.fWrite.Get(), STDOUT_FILENO),
        posix_spawn_file_actions_addopen(&fActions, STDERR_FILENO, "/dev/null", O_WRONLY, 0),
        posix_spawn_file_actions_adddup2(&fActions, report.fWrite.Get(), HVX_REPORT_DESCRIPTOR),
        posix_spawnattr_init(&fAttributes),
        posix_spawnattr_setsigdefault(&fAttributes, &all),
        posix_spawnattr_setsigmask(&fAttributes, &none),
        posix_spawnattr_setpgroup(&fAttributes, 0),
        posix_spawnattr_setflags(&fAttributes, flags)};
    fError = *std::max_element(std::begin(errors), std::end(errors));
  }
  TSpawnPlan(const TSpawnPlan&) = delete;
  ~TSpawnPlan() {
    posix_spawn_file_actions_destroy(&fActions);
    posix_spawnattr_destroy(&fAttributes);
  }

  int Start(pid_t& process, char** arguments) const {
    if (fError != 0) return fError;
    return posix_spawn(&process, helper_path.c_str(), &fActions, &fAttributes, arguments, environ);
  }

 private:
  posix_spawn_file_actions_t fActions;
  posix_spawnattr_t fAttributes;
  int fError;
};

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
  TPipe fOutput;
  TPipe fReport;
  pid_t fHelper = 0;
  bool fGivenUp = false;
  hvx_report fOutcome{};
};

// Closing the pipes makes a helper that still runs kill its program and end. Reaping may fail,
// as the host or the kernel may have done it already; nothing depends on it. A helper that was
// given up is killed, and its program with it: it has not closed its end of the report, so the
// process id is its own still. When it is stuck in the kernel it is not waited for.
TRun::~TRun() {
  fOutput.fRead.Close();
  if (fGivenUp && fHelper > 0) {
    kill(fHelper, SIGKILL);
    pollfd end{fReport.fRead.Get(), 0, 0};
    fGivenUp = poll(&end, 1, kHelperEndMilliseconds) <= 0;
  }
  fReport.fRead.Close();
  if (fHelper <= 0) return;
  while (waitpid(fHelper, nullptr, fGivenUp ? WNOHANG : 0) < 0 && errno == EINTR) {
  }
}

bool TRun::Start(std::vector<char*> arguments) {
  if (!fOutput.Open() || !fReport.Open()) return false;
  arguments.push_back(nullptr);
  const int error = TSpawnPlan(fOutput, fReport).Start(fHelper, arguments.data());
  if (error != 0) {
    fHelper = 0;
    LogNotStarted(helper_path, MessageOf(error));
    return false;
  }
  fOutput.fWrite.Close();
  fReport.fWrite.Close();
  return true;
}

// Reads up to that many bytes of what is there. Past the limit the pipe is closed, which stops
// the program.
void TRun::ReadOutput(std::size_t most) {
  const ssize_t count = read(fOutput.fRead.Get(), fBuffer.get(), std::min(most, kReadSize));
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (count <= 0) {
    fOutput.fRead.Close();
    return;
  }
  const std::size_t room = kOutputLimit - fOutputText.size();
  fOutputText.append(fBuffer.get(), std::min<std::size_t>(count, room));
  if (static_cast<std::size_t>(count) <= room) return;
  fOutput.fRead.Close();
  fOutcome.outcome = HVX_STOPPED;
}

// False as long as there is neither a report nor an end without one.
bool TRun::ReadReport() {
  hvx_report report{};
  const ssize_t count = read(fReport.fRead.Get(), &report, sizeof report);
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
    std::array<pollfd, 2> events{pollfd{fOutput.fRead.Get(), POLLIN, 0},
                                 pollfd{fReport.fRead.Get(), POLLIN, 0}};
    if (poll(events.data(), events.size(), static_cast<int>(std::min<long>(left, 1 << 30))) < 0)
      continue;
    if (events[1].revents != 0 && ReadReport()) break;
    if (events[0].revents != 0) ReadOutput(kReadSize);
  }
  // What the program wrote is in the pipe by now; what comes later is of something it left
  // behind, which may have no end.
  int left = 0;
  ioctl(fOutput.fRead.Get(), FIONREAD, &left);
  while (left > 0 && fOutput.fRead.Get() >= 0) {
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
  // It would cut an argument short, and so run something other than what was asked for.
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
