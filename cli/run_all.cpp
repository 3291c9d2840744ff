#include "cli/run_all.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <list>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "cli/drive_look.h"
#include "cli/drive_result.h"
#include "cli/drive_run.h"
#include "cli/drive_tests.h"
#include "cli/exit_status.h"
#include "cli/failure.h"
#include "cli/interrupt.h"
#include "cli/library_plan.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/progress_line.h"
#include "cli/run_plan.h"
#include "cli/run_report.h"
#include "cli/terminal_text.h"
#include "cli/test_words.h"
#include "cli/waiting_line.h"
#include "cli/worker.h"
#include "drivetest/controller.h"
#include "results/message_file.h"

namespace cli {
namespace {

using std::chrono::steady_clock;

// A drive that is being tested.
struct Running {
  Running(const Places& places, const PlannedDrive& drive, const WorkerTask& task,
          std::size_t number)
      : name(drive.name), index(number), worker(places, task) {}

  std::string name;
  std::size_t index;  // in the plan
  steady_clock::time_point start = steady_clock::now();
  std::optional<TestProgress> noted;
  Worker worker;
};

// All drives of one call.
class Run {
 public:
  Run(const RunOptions& options, bool json, const Places& places)
      : options_(options),
        json_(json || options.json_lines),
        places_(places),
        kind_(kind_named(options.kind, options.devices)),
        // A log on the same terminal would write into the middle of a line that is written over.
        progress_(progress_output(json_), shows_progress()) {}

  int all() {
    const Interrupt interrupt([this] { interrupted(); });
    std::vector<PlannedDrive> plan = make_plan();
    if (plan.empty()) throw CommandFailure("there is no drive on this machine");
    std::unique_lock guard(lock_);
    plan_ = std::move(plan);
    has_ended_.resize(plan_.size());
    for (const PlannedDrive& drive : plan_) {
      results_.push_back(of_kind(untested(drive, "interrupted-command", kReasonNotBegun)));
    }
    std::list<std::size_t> to_come;
    for (std::size_t index = 0; index < plan_.size(); ++index) {
      plan_[index].controller = drivetest::controller_of({plan_[index].device, plan_[index].type});
      to_come.push_back(index);
    }
    while (!to_come.empty() || !running_.empty()) {
      for (auto next = to_come.begin(); next != to_come.end() && has_room();) {
        const std::size_t index = *next;
        const bool may_start = has_room_behind(plan_[index].controller);
        next = may_start ? to_come.erase(next) : std::next(next);
        if (may_start) start(index);
      }
      if (!running_.empty()) wait_for_news(guard);
    }
    return end();
  }

 private:
  bool every_drive() const { return options_.devices.empty(); }

  // Nobody named it, and neither the module nor the library can test it, such as a card reader that
  // is empty. In short tests a drive that the module offers counts all the same: somebody expects
  // it to be tested.
  bool left_out(std::size_t index) const {
    const DriveResult& result = results_[index];
    if (!every_drive()) return false;
    if (plan_[index].way == Way::Library && result.verdict.cause == kCauseNoSelfTest) return true;
    return result.verdict.cause == kCauseLeftOut;
  }

  static Output* progress_output(bool json) {
    Output* const output = json ? &standard_error() : &standard_output();
    return !json || output->is_terminal() ? output : nullptr;
  }

  bool shows_progress() const { return log_file(places_) != "-"; }

  // Shows what it is waiting for: with many adapters this takes minutes.
  std::vector<ListedDrive> find_drives() {
    const auto manager = make_manager(places_);
    {
      const std::lock_guard guard(lock_);
      const bool show = shows_progress() && (json_ || standard_output().is_terminal());
      waiting_.emplace(standard_error(), "looking for drives", show);
    }
    std::vector<ListedDrive> drives =
        list_drives(*manager, false, [this](const std::string& doing) { waiting_->say(doing); });
    const std::lock_guard guard(lock_);
    waiting_.reset();
    return drives;
  }

  std::vector<PlannedDrive> make_plan() {
    // The module knows the short test alone, and no types.
    if (kind_ != drivetest::TestKind::Short || !options_.type.empty()) {
      DriveTests tests(DriveTests::OpensHistory::WhenNeeded);
      return plan_by_library(tests, options_.devices, options_.type);
    }
    return make_short_plan();
  }

  std::vector<PlannedDrive> make_short_plan() {
    // Without it a test leaves no record; the drive would be tested for nothing.
    if (const auto faults = results::message_file_faults(places_.message_file); !faults.empty()) {
      const std::string fault = places_.message_file.string() + ": " + faults.front() +
                                "; mend it or reinstall hddtest, or name its data with --data";
      if (every_drive()) throw CommandFailure("no drive was tested: " + fault);
      return plan_none(options_.devices, "message-file", fault);
    }
    if (options_.force) return plan_forced(options_.devices);
    const std::vector<ListedDrive> drives = find_drives();
    DriveTests tests(DriveTests::OpensHistory::WhenNeeded);
    return with_library(
        every_drive() ? plan_all(drives) : plan_named(options_.devices, places_, drives), tests,
        drives, every_drive());
  }

  bool has_room() const { return static_cast<int>(running_.size()) < options_.jobs; }

  bool has_room_behind(const std::string& controller) const {
    return std::count_if(running_.begin(), running_.end(), [&](const Running& one) {
             return plan_[one.index].controller == controller;
           }) < options_.per_controller;
  }

  void start(std::size_t index) {
    const PlannedDrive& drive = plan_[index];
    if (!drive.is_tested()) {
      finish(index, untested(drive, drive.cause, *drive.reason));
      return;
    }
    try {
      const WorkerTask task{.device = drive.device,
                            .way = drive.way,
                            .kind = kind_,
                            .type = drive.type,
                            .is_apart = drive.is_apart,
                            .is_type_given = !options_.type.empty()};
      running_.emplace_back(places_, drive, task, index);
    } catch (const CommandFailure& failure) {
      finish(index, untested(drive, std::string(kCauseModule), failure.what()));
    }
  }

  // The type tells it from other drives behind its controller.
  static DriveResult untested(const PlannedDrive& drive, std::string cause, std::string reason) {
    DriveResult result = not_tested(drive.name, std::move(cause), std::move(reason));
    result.place = {drive.device, drive.type};
    return result;
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
      for (const Told& told : one->worker.told()) {
        note(*one, told);
        if (options_.json_lines && told.progress)
          write_line(progress_json(one->name, plan_[one->index].type, *told.progress,
                                   drivetest::system_time()));
      }
      return;
    }
    DriveResult result = one->worker.result();
    result.device = one->name;
    const std::size_t index = one->index;
    if (one->worker.hindrance() == Hindrance::Unreachable && plan_[index].reason)
      result = left_to_nobody(plan_[index], result);
    // The module knows the drive by its device alone, whatever the user named.
    if (result.place.device.empty()) result.place = {plan_[index].device, plan_[index].type};
    running_.erase(one);
    finish(index, std::move(result));
  }

  void note(Running& one, const Told& told) {
    if (told.progress && !is_worth_a_line(one.noted, *told.progress)) return;
    one.noted = told.progress;
    progress_.note(line(one, told.doing));
  }

  // The module leaves the drive out, and the library does not reach it. Who named it learns both.
  DriveResult left_to_nobody(const PlannedDrive& drive, const DriveResult& by_library) const {
    std::string reason = *drive.reason;
    if (!every_drive() && drive.cause == kCauseLeftOut)
      reason += "; asked for its own test: " + by_library.verdict.reason;
    return not_tested(drive.name, drive.cause, reason);
  }

  DriveResult of_kind(DriveResult result) const {
    result.kind = kind_;
    return result;
  }

  ProgressLine line(const Running& one, const std::string& doing) const {
    const PlannedDrive& drive = plan_[one.index];
    std::string title = escape(shown_name(one.name, {drive.device, drive.type}));
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

  void finish(std::size_t index, DriveResult finished) {
    progress_.clear();
    Output& output = standard_output();
    results_[index] = of_kind(std::move(finished));
    const DriveResult& result = results_[index];
    if (left_out(index)) {
      // The words are the module's. Where the library has asked the drive, it knows more.
      const std::string& words = plan_[index].words;
      const bool is_of_module = result.verdict.cause == kCauseLeftOut && !words.empty();
      if (!json_)
        output.write(escape(shown_name(result.device, result.place) +
                            ": not tested: " + (is_of_module ? words : result.verdict.reason)) +
                     "\n");
    } else if (!result.verdict.outcome) {
      complain(complaint(result));
    } else if (!json_) {
      output.write(every_drive() ? short_report(result, output)
                                 : full_report(result, plan_.size() == 1, output));
    }
    if (options_.json_lines) write_line(run_json(result));
    has_ended_[index] = true;
    if (!result.history_fault.empty() && !std::exchange(history_fault_told_, true))
      complain("not kept in the history: " + result.history_fault);
  }

  int end() {
    write_json();
    std::vector<DriveResult> tested;
    std::vector<std::optional<RunOutcome>> outcomes;
    for (std::size_t i = 0; i < results_.size(); ++i) {
      if (left_out(i)) continue;
      tested.push_back(results_[i]);
      outcomes.push_back(results_[i].verdict.outcome);
    }
    Output& output = standard_output();
    if (every_drive() && !json_) output.write(summary(tested, results_.size() - tested.size()));
    // Of a single drive that was named, the report has it.
    if ((every_drive() || plan_.size() > 1) && !json_) output.write(advice(tested, output));
    if (every_drive() && tested.empty()) {
      complain(kind_ == drivetest::TestKind::Short ? "no drive of this machine can be tested"
                                                   : "no drive of this machine knows such a test");
      return kStatusCannot;
    }
    return exit_status(outcomes);
  }

  // The lines over which progress is written go first.
  void write_line(const Json& json) {
    progress_.clear();
    standard_output().write(dump_line(json));
  }

  // All results, of those that have a line already none.
  void write_json() {
    Json array = Json::array();
    for (std::size_t index = 0; index < results_.size(); ++index) {
      if (!options_.json_lines)
        array.push_back(run_json(results_[index]));
      else if (!has_ended_[index])
        write_line(run_json(results_[index]));
    }
    if (json_ && !options_.json_lines) standard_output().write(dump(array));
  }

  // Called on the thread that takes signals. The process ends when this returns, and with it the
  // processes that test drives. The lock is kept, so that nothing more is written.
  void interrupted() {
    lock_.lock();
    if (waiting_) waiting_->end();
    progress_.clear();
    std::vector<std::string> testing;
    std::vector<std::string> not_begun;
    for (const Running& one : running_) {
      if (!may_test(one.worker.step())) continue;
      const PlannedDrive& drive = plan_[one.index];
      testing.push_back(name_in_command(one.name, {drive.device, drive.type}, options_.type));
      results_[one.index].verdict.reason = kReasonGoesOn;
    }
    for (std::size_t index = 0; index < results_.size(); ++index)
      if (!has_ended_[index] && results_[index].verdict.reason == kReasonNotBegun)
        not_begun.push_back(escape(shown_name(plan_[index].name, results_[index].place)));
    complain("interrupted" + go_on_words(testing) +
             (testing.empty() || not_begun.empty()
                  ? ""
                  : fmt::format("; not begun: {}", fmt::join(not_begun, ", "))));
    running_.clear();
    write_json();
  }

  const RunOptions& options_;
  const bool json_;
  const Places& places_;
  const drivetest::TestKind kind_;
  ProgressLines progress_;
  std::mutex lock_;  // over output and what follows, for the thread that takes signals
  std::optional<WaitingLine> waiting_;  // while the drives are looked for
  std::vector<PlannedDrive> plan_;
  std::vector<DriveResult> results_;  // of the plan's drives
  std::vector<bool> has_ended_;       // of these: the result is its last
  std::list<Running> running_;
  bool history_fault_told_ = false;
};

}  // namespace

int run_all(const RunOptions& options, bool json, const Places& places) {
  return Run(options, json, places).all();
}

}  // namespace cli
