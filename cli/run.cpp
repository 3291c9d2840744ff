// hddtest run: tests drives, one after the other.
#include <fmt/format.h>

#include <mutex>

#include "cli/commands.h"
#include "cli/drive_run.h"
#include "cli/failure.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/progress_line.h"
#include "cli/text.h"

namespace cli {
namespace {

struct RunOptions {
  std::vector<std::string> devices;
  bool force = false;
};

constexpr const char* description = "Tests drives one after the other; takes minutes for each.";

constexpr const char* footer =
    "Exit status: 3 if any drive could not be tested, else 1 if one failed, else 2\n"
    "if one was aborted or does not support the test, else 0. Ctrl-C ends the command\n"
    "(130 in a shell), but not the test in the drive: 'smartctl -X DEVICE' does.";

Colour colour_of(Outcome outcome) {
  return outcome == Outcome::passed   ? Colour::green
         : outcome == Outcome::failed ? Colour::red
                                      : Colour::yellow;
}

std::string report(const DriveResult& result, const Output& output) {
  const std::size_t columns = output.columns();
  std::string text =
      fmt::format("{}: {} ({})\n", escape(result.device),
                  output.coloured(outcome_word(*result.outcome), colour_of(*result.outcome)),
                  duration_text(result.elapsed));
  if (result.reason) text += labelled("  Reason:  ", *result.reason, columns);
  if (result.entry) text += labelled("  Log:     ", *result.entry, columns);
  if (result.job) text += labelled("  Job:     ", result.job->text("InstanceID"), columns);
  return text + labelled("  Record:  ", result.record->text("RecordData"), columns);
}

Json json_of(const DriveResult& result) {
  const auto instance = [](const std::optional<broker::Instance>& made) {
    return made ? to_json(*made) : Json();
  };
  return {{"device", result.device},
          {"outcome", result.outcome ? Json(outcome_word(*result.outcome)) : Json()},
          {"reason", result.reason ? Json(*result.reason) : Json()},
          {"job", instance(result.job)},
          {"record", instance(result.record)}};
}

// All drives of one call.
class Run {
 public:
  Run(const RunOptions& options, bool json, const Places& places)
      : options_(options), json_(json), places_(places) {
    Output* const progress = json ? &standard_error() : &standard_output();
    // Log lines on the same terminal would stand in the middle of a line that is written over.
    rewrite_ = log_file(places) != "-";
    if (!json || progress->is_terminal()) progress_ = progress;
  }

  int all() {
    const auto manager = make_manager(places_);
    const Interrupt interrupt([this] { interrupted(); });
    for (const std::string& device : options_.devices) finish(one(*manager, device));
    if (json_) standard_output().write(dump(array()));
    std::vector<std::optional<Outcome>> outcomes;
    for (const DriveResult& result : results_) outcomes.push_back(result.outcome);
    return exit_status(outcomes);
  }

 private:
  DriveResult one(broker::ObjectManager& manager, const std::string& device) {
    // With --force the name may be one that only smartctl understands.
    const std::string name = options_.force ? device : resolve(places_, device).string();
    if (const auto why = options_.force ? std::nullopt : refusal(name))
      return {.device = device, .reason = why};
    ProgressLine line(progress_, rewrite_, title(device));
    set_current(&line, name);
    DriveResult result = test_drive(manager, name, line);
    set_current(nullptr, name);
    result.device = device;
    return result;
  }

  std::string title(const std::string& device) const {
    if (options_.devices.size() == 1) return escape(device);
    return fmt::format("[{}/{}] {}", results_.size() + 1, options_.devices.size(), escape(device));
  }

  void finish(DriveResult result) {
    if (!result.outcome) {
      complain(result.device + " was not tested: " + *result.reason);
    } else if (!json_) {
      standard_output().write(report(result, standard_output()));
    }
    const std::lock_guard guard(lock_);
    results_.push_back(std::move(result));
  }

  Json array() const {
    Json array = Json::array();
    for (const DriveResult& result : results_) array.push_back(json_of(result));
    return array;
  }

  void set_current(ProgressLine* line, const std::string& device) {
    const std::lock_guard guard(lock_);
    line_ = line;
    device_ = device;
  }

  // On the thread that takes signals; the process ends when this returns.
  void interrupted() {
    const std::lock_guard guard(lock_);
    const Step step = line_ ? line_->give_up() : Step::classifying;
    if (step == Step::starting || step == Step::testing) {
      complain("interrupted; the drive goes on testing by itself; to stop it: smartctl -X " +
               device_);
    } else {
      complain("interrupted");
    }
    if (json_) standard_output().write(dump(array()));
  }

  const RunOptions& options_;
  const bool json_;
  const Places& places_;
  Output* progress_ = nullptr;
  bool rewrite_;
  std::mutex lock_;
  ProgressLine* line_ = nullptr;  // of the drive being tested
  std::string device_;
  std::vector<DriveResult> results_;
};

int run(const RunOptions& options, const Invocation& invocation) {
  const Places places = find_places(invocation.data);
  if (const std::string fault = reading_fault(places.message_file); !fault.empty()) {
    throw Failure(
        "no drive was tested, since no record could be made: " + places.message_file.string() +
        ": " + fault + "; reinstall hddtest, or name its data with --data");
  }
  return Run(options, invocation.json, places).all();
}

}  // namespace

void add_run(CLI::App& program, Invocation& invocation) {
  CLI::App* const command = add_command(program, invocation, "run", description);
  auto options = std::make_shared<RunOptions>();
  command->add_option("DEVICE", options->devices, "Drives, such as /dev/sda")
      ->required()
      ->type_name("");
  command->add_flag("--force", options->force, "Pass DEVICE on as it stands, whatever it is");
  command->footer(footer);
  command->callback([&invocation, options] {
    invocation.action = [&invocation, options] { return run(*options, invocation); };
  });
}

}  // namespace cli
