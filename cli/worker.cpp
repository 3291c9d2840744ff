#include "cli/worker.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "cli/failure.h"
#include "cli/log_texts.h"
#include "cli/row_verdict.h"
#include "cli/test_words.h"
#include "cli/worker_message.h"
#include "platform/spawn_plan.h"

namespace cli {
namespace {

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

std::vector<std::string> arguments_of(const Places& places, const WorkerTask& task) {
  std::vector<std::string> arguments = {"hddtest", "run", "--worker"};
  if (task.way == Way::Library) arguments.push_back("--by-library");
  if (task.way == Way::Forced) arguments.push_back("--force");
  if (task.is_apart) arguments.push_back("--apart");
  if (task.is_type_given) arguments.push_back("--type-given");
  if (!task.type.empty()) arguments.insert(arguments.end(), {"--type", task.type});
  arguments.insert(arguments.end(), {"--test", std::string(name_of(task.kind)), "--data",
                                     places.data.string(), "--", task.device});
  return arguments;
}

}  // namespace

Worker::Worker(const Places& places, const WorkerTask& task) {
  result_.device = task.device;
  result_.place = {task.device, task.type};
  result_.kind = task.kind;
  name_ = name_in_command(task.device, result_.place, task.given_type());
  platform::Pipe pipe = platform::open_pipe();
  int error = errno;
  if (pipe.write_end)
    error = start_ourselves(process_, places.start, pipe.write_end, arguments_of(places, task));
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
    result_ = unpack_result(json["result"]);
    hindrance_ = static_cast<Hindrance>(json.value("hindrance", 0));
    ended_well_ = true;
    return;
  }
  const std::string before = std::exchange(doing_, json.value("doing", doing_));
  step_ = static_cast<RunStep>(json.value("step", static_cast<int>(step_)));
  if (step_ != RunStep::Testing || doing_ == before) return;
  const Json progress = json.value("progress", Json());
  told_.push_back(
      {doing_, progress.is_object() ? std::optional(unpack_progress(progress)) : std::nullopt});
}

void Worker::end() {
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  output_.close();
  ended_ = true;
  if (ended_well_) return;
  const std::string why =
      WIFSIGNALED(status) ? fmt::format("the process that tested it was ended by signal {} ({})",
                                        WTERMSIG(status), strsignal(WTERMSIG(status)))
                          : "the process that tested it ended before the test";
  result_.verdict = may_test(step_) ? verdict_of_untold(why, name_)
                                    : Verdict{.cause = std::string(kCauseModule), .reason = why};
}

}  // namespace cli
