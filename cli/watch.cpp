// hddtest watch: shows the tests that run in drives until they have ended.
#include <condition_variable>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "cli/commands.h"
#include "cli/drive_result.h"
#include "cli/drive_run.h"
#include "cli/drive_tests.h"
#include "cli/failure.h"
#include "cli/follow.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/library_run.h"
#include "cli/looked_drive.h"
#include "cli/output.h"
#include "cli/progress_line.h"
#include "cli/row_verdict.h"
#include "cli/run_report.h"
#include "cli/terminal_text.h"
#include "cli/test_words.h"

namespace cli {
namespace {

using drivetest::DriveStatus;
using drivetest::LookFault;
using drivetest::TestRow;
using std::chrono::seconds;
using std::chrono::steady_clock;

struct WatchOptions {
  std::vector<std::string> devices;
  std::string type;
  bool wake = false;
  bool json_lines = false;
};

constexpr const char* kFooter =
    "Shows the tests of the named drives, or of all, no matter who started them: the share\n"
    "that remains and, of the time that the drive announced, the minutes. Ends when none of them\n"
    "runs any more, with what they came to. Ctrl-C ends the watching, and no test. A test is\n"
    "called stalled as 'hddtest status' calls it; 'hddtest stop' ends it.\n"
    "Exit status: 3 if a drive could not be looked at or the result of its test is not known,\n"
    "else 1 if one failed, else 2 if one was aborted, else 0. Of a named drive without a\n"
    "running test it says what 'hddtest status' says; a drive in standby does not tell what\n"
    "came of a test that ran in it, so that such a one is not watched.";

// A drive, and the test of it that is watched.
struct Watched {
  ChosenDrive drive;
  DriveStatus status;
  std::optional<TestRow> row{};  // the test that runs, or the last one
  bool is_running = false;
  bool may_run = false;  // the row's test, or one of a drive that does not say which it is
  TestProgress progress{};
  std::optional<TestProgress> noted{};
  bool has_news = false;
  bool is_told = false;  // its end
  DriveResult result{};
  int exit_status = kStatusOk;

  std::string reason() const {
    return drive.reason.empty() ? fault_text(status.look) : drive.reason;
  }
};

class Watch {
 public:
  Watch(const WatchOptions& options, bool json)
      : options_(options),
        json_(json || options.json_lines),
        progress_(progress_output(json_), true) {}

  int all() {
    const Interrupt interrupt([this] { interrupted(); });
    look();
    follow_all();
    write_json();
    // The report on the end of a single test has it.
    const bool is_in_report = watched_.size() == 1 && watched_.front().is_told;
    if (!is_in_report && !json_) standard_output().write(advice(results(), standard_output()));
    tests_.tell_of_history();
    std::vector<int> statuses;
    for (const Watched& one : watched_) statuses.push_back(one.exit_status);
    return gravest(statuses);
  }

 private:
  bool every_drive() const { return options_.devices.empty(); }

  static Output* progress_output(bool json) {
    Output* const output = json ? &standard_error() : &standard_output();
    return !json || output->is_terminal() ? output : nullptr;
  }

  // Which drives are watched: those in which a test runs, and the others that were named.
  void look() {
    std::vector<ChosenDrive> drives =
        each_once(tests_.choose(options_.devices, options_.type, options_.wake));
    std::vector<DriveStatus> statuses = tests_.look_at(drives, options_.wake);
    const std::lock_guard guard(lock_);
    for (std::size_t i = 0; i < drives.size(); ++i) {
      Watched one{.drive = std::move(drives[i]), .status = std::move(statuses[i])};
      one.row = tests_.newest(one.drive, one.status);
      const bool can_be_asked =
          one.drive.reason.empty() && one.status.look.fault == LookFault::None;
      one.is_running = can_be_asked && one.status.running;
      // The history knows of a test whose drive cannot be asked for it. A drive at rest tests
      // nothing.
      one.may_run = (one.row && !one.row->outcome) || tests_.may_be_testing(one.status.look);
      const bool is_at_rest = one.status.look.fault == LookFault::Standby;
      const bool tests_nothing = one.drive.reason.empty() && (can_be_asked || is_at_rest);
      if (every_drive() && tests_nothing && !one.may_run) continue;
      watched_.push_back(std::move(one));
      if (!watched_.back().is_running) tell_idle(watched_.back());
    }
    if (watched_.empty() && !json_)
      standard_output().write("No test runs; 'hddtest status' shows the last ones.\n");
  }

  // A drive in which no test can be watched.
  void tell_idle(Watched& one) {
    DriveResult& result = one.result;
    result.place = one.drive.place;
    // A drive at rest tests nothing. What came of a test that ran before, it does not say.
    const bool rests = one.status.look.fault == LookFault::Standby;
    if (!one.drive.reason.empty() ||
        (one.status.look.fault != LookFault::None && !(rests && !one.may_run))) {
      const LookedDrive looked = looked_drive(tests_, one.drive, one.status);
      result.device = one.drive.name;
      result.model = looked.status.look.drive.model;
      result.serial = looked.serial_number();
      result.verdict = verdict_of_fault(one.status.look);
      result.verdict.reason = one.reason();
      result.kind = one.row ? one.row->kind : std::nullopt;
      one.exit_status = kStatusCannot;
      complain(one.drive.shown_name() + ": not watched: " + one.reason());
      return;
    }
    const LookedDrive looked = looked_drive(tests_, one.drive, one.status);
    // As 'hddtest status' has it: a test that passed since may not make up for one that failed.
    if (const std::optional<TestRow>& told = looked.failed ? looked.failed : one.row) {
      drivetest::Drive drive = one.status.look.drive;
      drive.serial_number = looked.serial_number();  // of a drive at rest the kernel may tell it
      drive.place = one.drive.place;
      result = result_of({Followed::End::Ended, *told, drive, one.status.look}, one.drive.name,
                         options_.type);
      one.exit_status = status_of(*told);
    } else {
      const bool is_known = tests_.can_read_history();
      result.device = one.drive.name;
      result.verdict.cause = "no-test";
      if (!is_known)
        result.verdict.reason = "no test runs, and no history tells of former ones";
      else if (looked.is_known())
        result.verdict.reason = "no test runs, and none is kept";
      else
        result.verdict.reason =
            "no test runs, and while it is in standby the drive does not say which it is";
      result.kind.reset();
      one.exit_status = is_known ? kStatusOk : kStatusCannot;
    }
    if (json_) return;
    standard_output().write(
        escape(one.drive.shown_name()) + ": no test runs" +
        (one.row || rests ? "; " + escape(test_text(looked, tests_.has_history())) : "") + "\n");
  }

  // Each drive is looked at by a thread of its own, since each has its own time to wait.
  void follow_all() {
    std::vector<std::jthread> threads;
    std::unique_lock guard(lock_);
    for (Watched& one : watched_) {
      if (!one.is_running) continue;
      one.progress = test_progress(*one.row, one.status.look.abilities, one.status.is_stalled);
      try {
        threads.emplace_back([this, &one] { follow_one(one); });
      } catch (const std::system_error& error) {
        // The others are watched all the same.
        end_watching(one, not_watched(one, error));
      }
    }
    for (bool goes_on = true; goes_on;) {
      goes_on = false;
      for (Watched& one : watched_) {
        tell(one);
        goes_on = goes_on || one.is_running;
      }
      if (!goes_on) break;
      progress_.show(lines());
      news_.wait_for(guard, seconds(1));
    }
  }

  void follow_one(Watched& one) {
    const auto report = [&](const TestProgress& progress) {
      const std::lock_guard guard(lock_);
      one.progress = progress;
      one.has_news = true;
      news_.notify_one();
    };
    DriveResult result;
    try {
      result = result_of(follow(tests_.keeper(), tests_.time(), *one.row, one.status,
                                {.wakes = options_.wake}, report),
                         one.drive.name, options_.type);
    } catch (const std::exception& error) {
      result = not_watched(one, error);
    }
    const std::lock_guard guard(lock_);
    end_watching(one, std::move(result));
  }

  // Of a test that is watched no more, though it runs.
  static DriveResult left_running(const Watched& one, std::string_view cause, std::string reason) {
    DriveResult result = not_tested(one.drive.name, std::string(cause), std::move(reason));
    result.place = one.drive.place;
    result.kind = one.row->kind;
    result.model = one.status.look.drive.model;
    result.serial = one.status.look.drive.serial_number;
    result.begin = one.row->started;
    return result;
  }

  static DriveResult not_watched(const Watched& one, const std::exception& error) {
    return left_running(one, kCauseUnknown, "the test cannot be watched: " + reason_of(error));
  }

  // The lock is held.
  void end_watching(Watched& one, DriveResult result) {
    one.result = std::move(result);
    one.is_running = false;
    one.has_news = true;
    news_.notify_one();
  }

  // What there is to tell of a drive since the last time.
  void tell(Watched& one) {
    if (!std::exchange(one.has_news, false)) return;
    if (one.is_running) {
      if (is_worth_a_line(one.noted, one.progress)) {
        progress_.note(line(one));
        one.noted = one.progress;
      }
      if (options_.json_lines)
        write_line(progress_json(one.drive.name, one.drive.place.type, one.progress,
                                 drivetest::system_time()));
      return;
    }
    progress_.clear();
    one.exit_status = exit_status({one.result.verdict.outcome});
    if (options_.json_lines) write_line(json_of(one));
    one.is_told = true;
    Output& output = standard_output();
    if (!one.result.verdict.outcome)
      complain(complaint(one.result));
    else if (!json_)
      output.write(watched_.size() == 1 ? full_report(one.result, true, output)
                                        : short_report(one.result, output));
  }

  ProgressLine line(const Watched& one) const {
    const drivetest::Time now = drivetest::system_time();
    const auto elapsed = one.row->started && *one.row->started <= now
                             ? now - *one.row->started
                             : std::chrono::duration_cast<seconds>(steady_clock::now() - start_);
    return {escape(one.drive.shown_name()),
            owned_test_text(*one.row, tests_.has_history()) + remaining_text(one.progress),
            elapsed};
  }

  std::vector<ProgressLine> lines() const {
    std::vector<ProgressLine> lines;
    constexpr std::size_t kMost = 16;  // so that they fit on a terminal
    for (const Watched& one : watched_)
      if (one.is_running && lines.size() < kMost) lines.push_back(line(one));
    return lines;
  }

  std::vector<DriveResult> results() const {
    std::vector<DriveResult> results;
    for (const Watched& one : watched_) results.push_back(one.result);
    return results;
  }

  static Json json_of(const Watched& one) {
    Json json = run_json(one.result);
    json["status"] = one.exit_status;
    return json;
  }

  // The lines over which progress is written go first.
  void write_line(const Json& json) {
    progress_.clear();
    standard_output().write(dump_line(json));
  }

  // All results, of those that have a line already none.
  void write_json() {
    Json array = Json::array();
    for (const Watched& one : watched_) {
      if (!options_.json_lines)
        array.push_back(json_of(one));
      else if (!one.is_told)
        write_line(json_of(one));
    }
    if (json_ && !options_.json_lines) standard_output().write(dump(array));
  }

  // Called on the thread that takes signals. The process ends when this returns. The lock is kept,
  // so that nothing more is written.
  void interrupted() {
    lock_.lock();
    progress_.clear();
    std::vector<std::string> testing;
    for (Watched& one : watched_) {
      if (!one.is_running) continue;
      testing.push_back(name_in_command(one.drive.name, one.drive.place, options_.type));
      one.result = left_running(one, "interrupted-command", kReasonGoesOn);
      one.exit_status = kStatusCannot;
    }
    complain("interrupted" + go_on_words(testing));
    write_json();
  }

  const WatchOptions& options_;
  const bool json_;
  ProgressLines progress_;
  const steady_clock::time_point start_ = steady_clock::now();
  DriveTests tests_;
  std::mutex lock_;  // over output and what follows
  std::condition_variable news_;
  std::vector<Watched> watched_;
};

}  // namespace

Command watch_command(const Invocation& invocation) {
  auto options = std::make_shared<WatchOptions>();
  return {"watch",
          "Shows the tests that run in drives until they have ended.",
          kFooter,
          {{"DEVICE", &options->devices, "Drives: a device, a serial number or a by-id name"},
           {"--type", &options->type, "Device type for smartctl -d, such as sat", "TYPE"},
           {"--json-lines", &options->json_lines, "Print JSON line by line, with the progress"},
           {"--wake", &options->wake, "Ask drives in standby too, which wakes them"}},
          [&invocation, options] { return Watch(*options, invocation.json).all(); }};
}

}  // namespace cli
