#include "tests/drivetest/random/played_machine.h"

#include <algorithm>
#include <utility>

#include "drivetest/database.h"
#include "drivetest/faulty_file_system.h"

namespace random_lives {

using drivetest::FaultPlan;
using drivetest::History;
using drivetest::HistoryOptions;
using drivetest::Keeper;
using drivetest::Look;
using drivetest::LookFault;
using drivetest::Place;
using drivetest::StartResult;
using drivetest::StopResult;
using drivetest::Time;
using drivetest::ToolAnswer;
using drivetest::ToolReply;
using What = Step::What;

namespace {

constexpr Seconds kFirstSecond = 1'700'000'000;
// For so long a drive may not show what it does.
constexpr Seconds kMoment = 10;

const PlayedMachine* clock_of_history = nullptr;
Time history_clock() { return clock_of_history->clock(); }

std::string name_of_device(int name) { return name == 0 ? "/dev/sda" : "/dev/sdb"; }

}  // namespace

// All drives, behind their names. Each half of a look takes time, so a test may end between them.
class PlayedMachine::Access : public drivetest::DriveAccess {
 public:
  explicit Access(PlayedMachine& machine) : machine_(machine) {}

  Look look(const Place& place, bool wake) override {
    machine_.begin_call();
    const int number = machine_.drive_at(place.device);
    Trouble& trouble = machine_.troubles_[static_cast<std::size_t>(number)];
    PlayedDrive& drive = machine_.drive(number);
    Look look;
    look.drive = drive.drive();
    look.drive.place = place;
    if (trouble.looks_that_fail > 0) {
      --trouble.looks_that_fail;
      look.fault = LookFault::CannotBeReached;
    } else if (trouble.rests && !drive.runs() && !wake) {
      look.fault = LookFault::Standby;
    }
    if (look.fault != LookFault::None) {
      look.reason = "it does not answer";
      return look;
    }
    trouble.rests = false;
    drive.show_status(look);
    look.drive.place = place;
    machine_.begin_call();
    machine_.pass(1);
    drive.show_log(look);
    return look;
  }

  ToolReply start(const drivetest::Drive& drive, TestKind kind) override {
    machine_.note_row_that_begins(drive);
    machine_.begin_call();
    ToolReply reply = machine_.begin(machine_.drive_at(drive.place.device), kind);
    machine_.begin_call();
    return reply;
  }

  ToolReply stop(const drivetest::Drive& drive) override {
    machine_.begin_call();
    machine_.drive(machine_.drive_at(drive.place.device)).stop();
    machine_.begin_call();
    return {ToolAnswer::Accepted, ""};
  }

 private:
  PlayedMachine& machine_;
};

class PlayedMachine::Clock : public drivetest::TimeSource {
 public:
  explicit Clock(PlayedMachine& machine) : machine_(machine) {}
  std::chrono::sys_seconds now() override { return machine_.clock(); }
  void wait(std::chrono::milliseconds duration) override {
    machine_.begin_call();
    machine_.pass((duration.count() + 999) / 1000);
  }

 private:
  PlayedMachine& machine_;
};

struct PlayedMachine::Process {
  Process(PlayedMachine& machine, HistoryOptions options)
      : access(machine), clock(machine), keeper(access, clock, [this, options] {
          history = std::make_unique<History>(options);
          return history.get();
        }) {}

  Access access;
  Clock clock;
  std::unique_ptr<History> history;
  Keeper keeper;
};

PlayedMachine::PlayedMachine(const Life& life, std::filesystem::path folder)
    : folder_(std::move(folder)), troubles_(life.drives.size()), processes_(3) {
  clock_of_history = this;
  drivetest::plan_faults({});
  for (std::size_t number = 0; number < life.drives.size(); ++number) {
    const int name = static_cast<int>(number);
    drives_.push_back(std::make_unique<PlayedDrive>(life.drives[number], name));
    at_.push_back(name);
  }
  observer_ = std::make_unique<History>(
      HistoryOptions{.folder = folder_, .host = {"aa", "host"}, .clock = history_clock});
}

PlayedMachine::~PlayedMachine() { drivetest::plan_faults({}); }

Time PlayedMachine::clock() const {
  return Time(std::chrono::seconds(kFirstSecond + now_ + clock_));
}

int PlayedMachine::drive_at(const std::string& name) const {
  return at_[name == "/dev/sda" ? 0 : 1];
}

const std::vector<drivetest::KeptTest>& PlayedMachine::rows() {
  drivetest::Query query = observer_->database().query("PRAGMA data_version");
  query.step();
  const std::int64_t version = query.next_integer();
  if (version != rows_version_ || report_.forgotten_before) {
    rows_.clear();
    observer_->each([&](const drivetest::KeptTest& kept) { rows_.push_back(kept); });
    rows_version_ = version;
  }
  return rows_;
}

PlayedMachine::Process& PlayedMachine::process(int number) {
  auto& process = processes_[static_cast<std::size_t>(number)];
  if (!process)
    process = std::make_unique<Process>(
        *this, HistoryOptions{.folder = folder_,
                              .host = {"aa", "host"},
                              .clock = history_clock,
                              .file_system = drivetest::kFaultyFileSystem});
  return *process;
}

void PlayedMachine::end_process(int number) {
  processes_[static_cast<std::size_t>(number)].reset();
}

void PlayedMachine::pass(Seconds duration) {
  now_ += duration;
  for (auto& drive : drives_) drive->pass(duration);
}

// What a process does can be interrupted here, by something else or for good.
void PlayedMachine::begin_call() {
  if (!meanwhile_ || --calls_until_ > 0) return;
  const std::shared_ptr<Step> step = std::exchange(meanwhile_, nullptr);
  if (step->what == What::Kill) throw Killed();
  is_meanwhile_ = true;
  work(*step);
  is_meanwhile_ = false;
}

void PlayedMachine::take(const Step& step) {
  report_ = {};
  meanwhile_ = step.meanwhile;
  calls_until_ = step.at;
  try {
    work(step);
  } catch (const Killed&) {
    end_process(step.process);
  }
  meanwhile_.reset();
  is_meanwhile_ = false;
}

void PlayedMachine::settle() {
  report_ = {};
  fails_history_ = false;
  drivetest::plan_faults({});
  std::fill(troubles_.begin(), troubles_.end(), Trouble{});
  pass(Seconds{3600} * 24);
  Step step;
  step_ = &step;
  for (const int process : {0, 1, 2}) end_process(process);
  for (const int name : {0, 1}) {
    step.name = name;
    look(process(2), {name_of_device(name), ""});
  }
}

void PlayedMachine::work(const Step& step) {
  const Step* const before = std::exchange(step_, &step);
  struct Restore {
    const Step*& place;
    const Step* before;
    ~Restore() { place = before; }
  } restore{step_, before};
  const Place place{name_of_device(step.name), ""};
  const int number = drive_at(place.device);
  Trouble& trouble = troubles_[static_cast<std::size_t>(number)];
  switch (step.what) {
    case What::Start:
    case What::Replace:
      return start(step, process(step.process), place);
    case What::Stop:
      return stop(process(step.process), place);
    case What::Look:
      return look(process(step.process), place);
    case What::ModuleTest:
      return test_by_module(step, process(step.process), place);
    case What::Kill:
      return;
    case What::NewProcess:
      return end_process(step.process);
    case What::OtherStarts:
      return begin_by_other(step);
    case What::OtherStops:
      return drive(number).stop();
    case What::Pass:
      return pass(step.amount);
    case What::SwitchOff:
    case What::Reboot:
      return restart(step);
    case What::MoveClock:
      clock_ += step.amount;
      was_clock_moved_ = true;
      return;
    case What::SwapNames:
      return std::swap(at_[0], at_[1]);
    case What::FailLooks:
      trouble.looks_that_fail = step.amount;
      return;
    case What::Rest:
      trouble.rests = true;
      return;
    case What::FailHistory:
      fails_history_ = true;
      has_history_failed_ = true;
      return drivetest::plan_faults({FaultPlan::Kind::Full, 1});
    case What::MendHistory:
      fails_history_ = false;
      return drivetest::plan_faults({});
    case What::Forget:
      if (fails_history_) return;
      report_.forgotten_before = clock() - std::chrono::seconds(step.amount);
      observer_->forget_before(*report_.forgotten_before);
      return;
  }
}

void PlayedMachine::restart(const Step& step) {
  for (const int process : {0, 1, 2}) end_process(process);
  const bool is_off = step.what == What::SwitchOff;
  const Seconds duration = is_off ? step.amount : 60;
  for (auto& drive : drives_) {
    if (is_off) {
      drive->lose_power();
      drive->pass_switched_off(duration);
    } else {
      drive->reset();
      drive->pass(duration);
    }
  }
  now_ += duration;
  if (step.amount % 2 == 0) std::swap(at_[0], at_[1]);
}

void PlayedMachine::begin_by_other(const Step& step) {
  PlayedDrive& drive = this->drive(drive_at(name_of_device(step.name)));
  const Protocol protocol = drive.traits().protocol;
  int code = step.code;
  if (protocol != Protocol::Ata && code > 2) code = protocol == Protocol::Scsi ? 5 : 14;
  std::optional<TestKind> kind;
  if (code == 1) kind = TestKind::Short;
  if (code == 2) kind = TestKind::Long;
  if (code == 3) kind = TestKind::Conveyance;
  drive.begin(code, kind, step.result, -1, false);
}

// The row that the process has just made for the test that it is about to begin.
void PlayedMachine::note_row_that_begins(const drivetest::Drive& drive) {
  const auto running = observer_->running(drive.identity());
  const bool is_new = running && running->row.started &&
                      clock() - *running->row.started < std::chrono::seconds(2) &&
                      running->row.source != drivetest::Source::Other && !running->row.looked;
  row_that_begins_ = is_new ? running->row.number : 0;
}

// What the drive makes of our command, and what the tool says. Nobody begins a test while another
// does not show yet, and no drive is slow where its tool fails: who looks then cannot know better.
ToolReply PlayedMachine::begin(int number, TestKind kind) {
  PlayedDrive& drive = this->drive(number);
  Call call{number, std::exchange(row_that_begins_, 0), -1};
  const Manner manner = step_->manner;
  ToolReply reply{ToolAnswer::Accepted, ""};
  if (drive.shows_test()) {
    reply = {ToolAnswer::Busy, "a test runs"};
  } else if (manner == Manner::Refuses) {
    reply = {ToolAnswer::Refused, "an error"};
  } else if (manner != Manner::Pretends) {
    const auto begun =
        drive.begin(PlayedDrive::code_of(drive.traits().protocol, kind), kind, step_->result,
                    static_cast<int>(calls_.size()), manner == Manner::Begins);
    if (begun == PlayedDrive::Begun::Yes) call.test = static_cast<int>(drive.tests().size()) - 1;
    if (begun == PlayedDrive::Begun::Busy) reply = {ToolAnswer::Busy, "a test runs"};
    if (manner == Manner::BeginsAndSaysRefused) reply = {ToolAnswer::Refused, "an error"};
    if (manner == Manner::BeginsAndIsNotHeard) reply = {ToolAnswer::NotAsked, "it was killed"};
  }
  calls_.push_back(call);
  return reply;
}

void PlayedMachine::start(const Step& step, Process& process, const Place& place) {
  const std::size_t calls = calls_.size();
  const int number = drive_at(place.device);
  PlayedDrive& drive = this->drive(number);
  const Seconds begun = now_;
  drive.mark_hidden();
  const auto outcome = process.keeper.start(place, step.kind, step.what == What::Replace, false);
  const bool was_told = calls_.size() > calls;
  if (outcome.result == StartResult::Started) {
    if (outcome.row->number != 0) report_.started.push_back(outcome.row->number);
    // Somebody else's that began at the same time cannot be told from ours.
    const std::vector<RealTest>& now = drive.tests();
    if (was_told && calls_[calls].test < 0 && !now.empty() && now.back().begun + kMoment >= begun)
      calls_[calls].test = static_cast<int>(now.size()) - 1;
    if (!was_told || calls_[calls].test < 0) lie("said that a test was started, and none was");
  }
  const bool did_show = drive.shows_test() &&
                        now_ - drive.running()->begun > kMoment + drive.traits().seconds_to_show;
  if (is_alone() && outcome.result == StartResult::NotStarted && was_told && did_show &&
      outcome.status.look.fault == LookFault::None)
    lie("said that no test was started, and one runs");
  if (is_alone() && outcome.result == StartResult::AlreadyRunning && !was_told && !outcome.row)
    lie("said that a test runs already, and has no row of it");
}

void PlayedMachine::stop(Process& process, const Place& place) {
  PlayedDrive& drive = this->drive(drive_at(place.device));
  const bool did_show = drive.shows_test();
  drive.mark_hidden();
  const auto outcome = process.keeper.stop(place, false);
  if (!is_alone()) return;
  if (outcome.result == StopResult::Stopped && drive.shows_test())
    lie("said that the test was stopped, and it runs");
  if (outcome.result == StopResult::NothingRuns && did_show && drive.shows_test())
    lie("said that nothing runs, and a test does");
}

void PlayedMachine::look(Process& process, const Place& place) {
  const int number = drive_at(place.device);
  PlayedDrive& drive = this->drive(number);
  const bool did_show = drive.shows_test();
  const bool did_run = drive.runs();
  const auto status = process.keeper.look(place, false);
  if (!is_alone() || status.look.fault != LookFault::None ||
      !process.keeper.history_fault().empty())
    return;
  if (status.look.has_log) drive.mark_shown();
  report_.seen.push_back({number, did_show && drive.shows_test(), did_run || drive.runs()});
}

void PlayedMachine::test_by_module(const Step& step, Process& process, const Place& place) {
  const auto row = process.keeper.begin_foreign(place, TestKind::Short, drivetest::Source::Module);
  if (!row) return;
  note_row_that_begins(drive(drive_at(place.device)).drive());
  begin_call();
  const bool is_heard =
      begin(drive_at(place.device), TestKind::Short).answer == ToolAnswer::Accepted;
  const bool is_begun = is_heard && calls_.back().test >= 0;
  begin_call();
  // The module sees the test run before it says that it is over.
  pass(kMoment + step.amount % 400);
  process.keeper.end_foreign(*row, is_begun);
}

}  // namespace random_lives
