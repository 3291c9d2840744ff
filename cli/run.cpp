// hddtest run: tests drives, several at once, each in a process of its own.
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <list>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "cli/commands.h"
#include "cli/drive_result.h"
#include "cli/drive_run.h"
#include "cli/failure.h"
#include "cli/interrupt.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/progress_line.h"
#include "cli/run_plan.h"
#include "cli/run_report.h"
#include "cli/terminal_text.h"
#include "cli/waiting_line.h"
#include "cli/worker.h"
#include "results/message_file.h"

namespace cli {
namespace {

using std::chrono::steady_clock;

struct RunOptions {
  std::vector<std::string> devices;
  bool force = false;
  bool worker = false;
  int jobs = 4;
};

constexpr const char* kDescription =
    "Tests the named drives, or all that can be tested; takes minutes.";

constexpr const char* kFooter =
    "Without DEVICE every drive is tested but those that the module leaves out, such as\n"
    "drives on USB. A drive is called failed only where it reported an error itself, or\n"
    "disappeared during its test; where no test could be made, or its end is not known,\n"
    "one line of standard error says why and what to do.\n"
    "Exit status: 3 if a drive could not be tested or its result is not known, else 1 if\n"
    "one failed, else 2 if one was aborted or has no self-test, else 0. So 3 does not say\n"
    "that none failed: with --json each drive has a status of its own. Drives that are\n"
    "left out because no DEVICE was named do not count. Ctrl-C ends the command (130 in a\n"
    "shell), but not the tests in the drives: 'smartctl -X DEVICE' does.";

// A drive that is being tested.
struct Running {
  Running(const Places& places, const PlannedDrive& drive, std::size_t number)
      : name(drive.name), device(drive.device), index(number), worker(places, drive.device) {}

  std::string name;
  std::string device;
  std::size_t index;  // in the plan
  steady_clock::time_point start = steady_clock::now();
  Worker worker;
};

// All drives of one call.
class Run {
 public:
  Run(const RunOptions& options, bool json, const Places& places)
      : options_(options),
        json_(json),
        places_(places),
        // A log on the same terminal would write into the middle of a line that is written over.
        progress_(progress_output(json), shows_progress()) {}

  int all() {
    const Interrupt interrupt([this] { interrupted(); });
    std::vector<PlannedDrive> plan = make_plan();
    std::unique_lock guard(lock_);
    plan_ = std::move(plan);
    for (const PlannedDrive& drive : plan_)
      results_.push_back(not_tested(drive.name, "interrupted-command", "interrupted"));
    for (std::size_t next = 0; next < plan_.size() || !running_.empty();) {
      while (next < plan_.size() && static_cast<int>(running_.size()) < options_.jobs)
        start(next++);
      if (!running_.empty()) wait_for_news(guard);
    }
    return end();
  }

 private:
  bool every_drive() const { return options_.devices.empty(); }

  // Nobody named it, and the module does not offer it.
  bool left_out(std::size_t index) const {
    return every_drive() && plan_[index].cause == kCauseLeftOut;
  }

  static Output* progress_output(bool json) {
    Output* const output = json ? &standard_error() : &standard_output();
    return !json || output->is_terminal() ? output : nullptr;
  }

  bool shows_progress() const { return log_file(places_) != "-"; }

  // Shows what it is waiting for: with many adapters this takes minutes.
  std::vector<Drive> find_drives() {
    const auto manager = make_manager(places_);
    {
      const std::lock_guard guard(lock_);
      const bool show = shows_progress() && (json_ || standard_output().is_terminal());
      waiting_.emplace(standard_error(), "looking for drives", show);
    }
    std::vector<Drive> drives =
        list_drives(*manager, false, [this](const std::string& doing) { waiting_->say(doing); });
    const std::lock_guard guard(lock_);
    waiting_.reset();
    return drives;
  }

  std::vector<PlannedDrive> make_plan() {
    // Without it a test leaves no record; the drive would be tested for nothing.
    if (const auto faults = results::message_file_faults(places_.message_file); !faults.empty()) {
      const std::string fault = places_.message_file.string() + ": " + faults.front() +
                                "; mend it or reinstall hddtest, or name its data with --data";
      if (every_drive()) throw CommandFailure("no drive was tested: " + fault);
      return plan_none(options_.devices, "message-file", fault);
    }
    if (options_.force) return plan_forced(options_.devices);
    const std::vector<Drive> drives = find_drives();
    if (!every_drive()) return plan_named(options_.devices, places_, drives);
    if (drives.empty()) throw CommandFailure("there is no drive on this machine");
    return plan_all(drives);
  }

  void start(std::size_t index) {
    const PlannedDrive& drive = plan_[index];
    if (drive.reason) {
      finish(index, not_tested(drive.name, drive.cause, *drive.reason));
      return;
    }
    try {
      running_.emplace_back(places_, drive, index);
    } catch (const CommandFailure& failure) {
      finish(index, not_tested(drive.name, std::string(kCauseModule), failure.what()));
    }
  }

  // Waits for a second at most where lines are written over, so that the time in them goes on.
  void wait_for_news(std::unique_lock<std::mutex>& guard) {
    progress_.show(lines());
    std::vector<pollfd> descriptors;
    for (const Running& one : running_) descriptors.push_back({one.worker.descriptor(), POLLIN, 0});
    constexpr int kSecond = 1000;
    guard.unlock();
    poll(descriptors.data(), descriptors.size(), progress_.rewrites() ? kSecond : -1);
    guard.lock();
    auto next = running_.begin();
    for (const pollfd& descriptor : descriptors) {
      const auto one = next++;
      if (descriptor.revents != 0) read(one);
    }
  }

  void read(std::list<Running>::iterator one) {
    if (one->worker.read()) {
      // Where lines stay, those of the steps that take no time are left out.
      for (const std::string& doing : one->worker.told()) progress_.note(line(*one, doing));
      return;
    }
    DriveResult result = one->worker.result();
    result.device = one->name;
    const std::size_t index = one->index;
    running_.erase(one);
    finish(index, std::move(result));
  }

  ProgressLine line(const Running& one, const std::string& doing) const {
    std::string title = escape(one.name);
    if (plan_.size() > 1) title = fmt::format("[{}/{}] {}", one.index + 1, plan_.size(), title);
    return {title, doing,
            std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - one.start)};
  }

  std::vector<ProgressLine> lines() const {
    std::vector<ProgressLine> lines;
    constexpr std::size_t kMost = 16;  // so that they fit on a terminal
    for (const Running& one : running_)
      if (lines.size() < kMost) lines.push_back(line(one, one.worker.doing()));
    return lines;
  }

  void finish(std::size_t index, DriveResult result) {
    progress_.clear();
    Output& output = standard_output();
    if (left_out(index)) {
      if (!json_)
        output.write(escape(result.device + ": " + plan_[index].words) + ", not tested\n");
    } else if (!result.verdict.outcome) {
      complain(complaint(result));
    } else if (!json_) {
      output.write(every_drive() ? short_report(result, output)
                                 : full_report(result, plan_.size() == 1, output));
    }
    if (!result.history_fault.empty() && !std::exchange(history_fault_told_, true))
      complain("not kept in the history: " + result.history_fault);
    results_[index] = std::move(result);
  }

  int end() {
    if (json_) standard_output().write(array());
    std::vector<DriveResult> tested;
    std::vector<std::optional<Outcome>> outcomes;
    for (std::size_t i = 0; i < results_.size(); ++i) {
      if (left_out(i)) continue;
      tested.push_back(results_[i]);
      outcomes.push_back(results_[i].verdict.outcome);
    }
    Output& output = standard_output();
    if (every_drive() && !json_) output.write(summary(tested, results_.size() - tested.size()));
    if (plan_.size() > 1 && !json_) output.write(advice(tested, output));
    if (every_drive() && tested.empty()) {
      complain(
          "no drive was tested: the module leaves all of them out; --force tests a DEVICE all "
          "the same");
      return kStatusCannot;
    }
    return exit_status(outcomes);
  }

  std::string array() const {
    Json array = Json::array();
    for (const DriveResult& result : results_) array.push_back(run_json(result));
    return dump(array);
  }

  // Called on the thread that takes signals. The process ends when this returns, and with it the
  // processes that test drives. The lock is kept, so that nothing more is written.
  void interrupted() {
    lock_.lock();
    if (waiting_) waiting_->end();
    progress_.clear();
    std::string testing;
    for (const Running& one : running_)
      if (may_test(one.worker.step())) testing += " " + one.device;
    if (testing.empty()) {
      complain("interrupted");
    } else {
      const bool several = testing.rfind(' ') != 0;
      if (several)
        complain(
            "interrupted; the drives go on testing by themselves; to stop one of them: smartctl -X "
            "DEVICE (" +
            testing.substr(1) + ")");
      else
        complain("interrupted; the drive goes on testing by itself; to stop it: smartctl -X" +
                 testing);
    }
    running_.clear();
    if (json_) standard_output().write(array());
  }

  const RunOptions& options_;
  const bool json_;
  const Places& places_;
  ProgressLines progress_;
  std::mutex lock_;  // over output and what follows, for the thread that takes signals
  std::optional<WaitingLine> waiting_;  // while the drives are looked for
  std::vector<PlannedDrive> plan_;
  std::vector<DriveResult> results_;  // of the plan's drives
  std::list<Running> running_;
  bool history_fault_told_ = false;
};

int run(const RunOptions& options, const Invocation& invocation) {
  const Places places = find_places(invocation.data);
  if (options.worker) return work(places, options.devices.at(0));
  if (options.force && options.devices.empty())
    throw WrongCommandLine("--force needs a DEVICE: name the drives that are to be tested");
  return Run(options, invocation.json, places).all();
}

}  // namespace

Command run_command(const Invocation& invocation) {
  auto options = std::make_shared<RunOptions>();
  return {
      "run",
      kDescription,
      kFooter,
      {{"DEVICE", &options->devices, "Drives, such as /dev/sda"},
       {"--jobs", Number{&options->jobs, 1, 1000}, "How many drives are tested at once (4)", "N"},
       {"--force", &options->force, "Pass DEVICE on as it stands, whatever it is"},
       {"--worker", &options->worker, ""}},  // see worker.h
      [&invocation, options] { return run(*options, invocation); }};
}

}  // namespace cli
