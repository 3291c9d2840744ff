#include "cli/worker.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "cli/drive_result.h"
#include "cli/drive_run.h"
#include "cli/exit_status.h"
#include "cli/failure.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "platform/spawn_plan.h"

namespace cli {
namespace {

std::string line_of(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

template <class T>
Json optional_json(const std::optional<T>& value) {
  return value ? Json(*value) : Json();
}

template <class T>
std::optional<T> optional_value(const Json& json) {
  if (json.is_null()) return std::nullopt;
  return json.get<T>();
}

Json pack(const DriveResult& result) {
  const Verdict& verdict = result.verdict;
  Json outcome;
  if (verdict.outcome) outcome = static_cast<std::uint16_t>(*verdict.outcome);
  Json begin;
  if (result.begin) begin = result.begin->time_since_epoch().count();
  return {{"outcome", std::move(outcome)},
          {"cause", verdict.cause},
          {"reason", verdict.reason},
          {"remaining", optional_json(verdict.remaining)},
          {"block", optional_json(verdict.block)},
          {"hours", optional_json(verdict.hours)},
          {"entry", optional_json(result.entry)},
          {"model", result.model},
          {"serial", result.serial},
          {"job", result.job},
          {"record", result.record},
          {"begin", std::move(begin)},
          {"elapsed", result.elapsed.count()},
          {"history_fault", result.history_fault}};
}

DriveResult unpack(const Json& json) {
  DriveResult result;
  if (const auto outcome = optional_value<std::uint64_t>(json.at("outcome")))
    result.verdict.outcome = outcome_of(*outcome);
  result.verdict.cause = json.at("cause");
  result.verdict.reason = json.at("reason");
  result.verdict.remaining = optional_value<int>(json.at("remaining"));
  result.verdict.block = optional_value<std::uint64_t>(json.at("block"));
  result.verdict.hours = optional_value<std::uint64_t>(json.at("hours"));
  result.entry = optional_value<std::string>(json.at("entry"));
  result.model = json.at("model");
  result.serial = json.at("serial");
  result.job = json.at("job");
  result.record = json.at("record");
  if (const auto begin = optional_value<std::int64_t>(json.at("begin")))
    result.begin = std::chrono::sys_seconds(std::chrono::seconds(*begin));
  result.elapsed = std::chrono::seconds(json.at("elapsed").get<std::int64_t>());
  result.history_fault = json.at("history_fault");
  return result;
}

// Starts this program anew, in the folder that the command was called in (relative paths of the
// environment begin there), with a pipe for its output. Returns an error number, or 0.
int start_ourselves(pid_t& process, const std::filesystem::path& folder,
                    const platform::Descriptor& output, const std::vector<std::string>& arguments) {
  platform::SpawnPlan plan;
  plan.give(output.get(), STDOUT_FILENO);
  plan.open(STDIN_FILENO, "/dev/null", O_RDONLY);
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) plan.enter(folder.c_str());
  std::vector<char*> pointers;
  for (const std::string& argument : arguments)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  return plan.start(process, "/proc/self/exe", pointers.data());
}

}  // namespace

int work(const Places& places, const std::string& device) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  Output& output = standard_output();
  DriveResult result;
  try {
    const auto manager = make_manager(places);
    result = test_drive(*manager, device, [&](const Progress& progress) {
      output.write(
          line_of({{"doing", progress.shown()}, {"step", static_cast<int>(progress.step())}}));
    });
  } catch (const std::exception& error) {
    result = not_tested(device, std::string(kCauseModule), error.what());
  }
  output.write(line_of({{"result", pack(result)}}));
  return kStatusOk;
}

Worker::Worker(const Places& places, const std::string& device) {
  result_.device = device;
  platform::Pipe pipe = platform::open_pipe();
  int error = errno;
  if (pipe.write_end)
    error = start_ourselves(
        process_, places.start, pipe.write_end,
        {"hddtest", "run", "--worker", "--data", places.data.string(), "--", device});
  if (error != 0)
    throw CommandFailure(
        fmt::format("a process for its test cannot be started: {}", strerror(error)));
  output_ = std::move(pipe.read_end);
}

Worker::~Worker() {
  if (!ended_) {
    kill(-process_, SIGKILL);
    end();
  }
}

bool Worker::read() {
  told_.clear();
  if (ended_) return false;
  char buffer[65536];
  const ssize_t count = ::read(output_.get(), buffer, sizeof buffer);
  if (count < 0 && errno == EINTR) return true;
  if (count <= 0) {
    end();
    return false;
  }
  unread_.append(buffer, static_cast<std::size_t>(count));
  std::string_view rest = unread_;
  for (std::size_t end = rest.find('\n'); end != rest.npos; end = rest.find('\n')) {
    take(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  unread_ = std::string(rest);
  return true;
}

void Worker::take(std::string_view line) {
  const Json json = Json::parse(line, nullptr, false);
  // The line of a process that was killed while it wrote.
  if (!json.is_object()) return;
  if (json.contains("result")) {
    result_ = unpack(json["result"]);
    ended_well_ = true;
    return;
  }
  const std::string before = std::exchange(doing_, json.value("doing", doing_));
  step_ = static_cast<Step>(json.value("step", static_cast<int>(step_)));
  if (step_ == Step::Testing && doing_ != before) told_.push_back(doing_);
}

void Worker::end() {
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  output_.close();
  ended_ = true;
  if (ended_well_) return;
  result_.verdict.cause = kCauseModule;
  result_.verdict.reason =
      WIFSIGNALED(status) ? fmt::format("the process that tested it was ended by signal {} ({})",
                                        WTERMSIG(status), strsignal(WTERMSIG(status)))
                          : "the process that tested it ended before the test";
}

}  // namespace cli
