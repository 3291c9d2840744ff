#include "tests/drivetest/random/played_drive.h"

#include <algorithm>
#include <utility>

namespace random_lives {

namespace {

constexpr int kRuns = 15;
constexpr std::uint64_t kBadBlock = 4711;
constexpr std::size_t kExtendedRows = 19;
constexpr std::uint64_t kLongBlock = 5'000'000'000;

// By result code: passed, aborted, failed, or nothing that a standard names.
constexpr std::string_view kAta = "PAAFFFFFF??????";
constexpr std::string_view kScsi = "PAAFFFFF???????";
constexpr std::string_view kNvme = "PAAAAFFFAA?????";

bool names_bad_block(Protocol protocol, int result) {
  return meaning_of(protocol, result) == 'F' && result == 7;
}

}  // namespace

char meaning_of(Protocol protocol, int result) {
  std::string_view codes = kNvme;
  if (protocol == Protocol::Ata) codes = kAta;
  if (protocol == Protocol::Scsi) codes = kScsi;
  return codes.at(static_cast<std::size_t>(result));
}

std::string text_of(const Traits& traits) {
  std::string text(name_of(traits.protocol));
  const auto add = [&](bool is_so, const std::string& words) {
    if (is_so) text += ", " + words;
  };
  add(true, std::to_string(traits.rows) + " rows, hour " + std::to_string(traits.first_hour));
  add(traits.old_entries > 0,
      std::to_string(traits.old_entries) + (traits.old_are_equal ? " equal" : "") + " old entries");
  add(traits.old_result != 0, "each with result " + std::to_string(traits.old_result));
  add(traits.has_long_blocks, "blocks of more than 32 bits");
  add(!traits.has_log, "no log");
  add(!traits.log_grows, "the log never grows");
  add(!traits.keeps_aborted, "no entry of aborted tests");
  add(!traits.keeps_interrupted, "no entry of interrupted tests");
  add(traits.shows_running_row, "the running test is in the log");
  add(traits.leaves_running_row, "and stays there when the power is lost");
  add(traits.forgets_status, "forgets the status when the power is lost");
  add(!traits.tells_hours, "tells no power-on hours");
  add(!traits.tells_power_cycles, "tells no power cycles");
  add(traits.clock == Traits::Clock::Zero, "log hours are 0");
  add(traits.clock == Traits::Clock::Constant, "log hours are 4660");
  add(traits.clock == Traits::Clock::Other, "log hours of another clock");
  add(traits.seconds_to_show > 0,
      "shows a test after " + std::to_string(traits.seconds_to_show) + " s");
  add(traits.pace != 100, "tests take " + std::to_string(traits.pace) + " % of their time");
  add(traits.gets_stuck, "tests never end");
  add(!traits.obeys_stop, "does not stop");
  add(!traits.has_world_wide_name, "no world wide name");
  return text;
}

std::int64_t PlayedDrive::announced_minutes(std::optional<TestKind> kind) {
  if (!kind) return 10;
  if (*kind == TestKind::Short) return 2;
  return *kind == TestKind::Long ? 90 : 5;
}

int PlayedDrive::code_of(Protocol protocol, TestKind kind) {
  if (kind == TestKind::Short) return 1;
  if (kind == TestKind::Long) return 2;
  return protocol == Protocol::Ata ? 3 : 0;
}

PlayedDrive::PlayedDrive(const Traits& traits, int number) : traits_(traits) {
  drive_.protocol = traits.protocol;
  drive_.model = "Example Disk " + std::to_string(number);
  drive_.serial_number = "S" + std::to_string(number);
  if (traits.has_world_wide_name)
    drive_.world_wide_name = "wwn-0x500000000000000" + std::to_string(number);
  for (std::int64_t old = 0; old < traits.old_entries; ++old) {
    RealTest test;
    test.code = 1;
    test.kind = TestKind::Short;
    test.result = old % 5 == 3 ? 4 : 0;
    if (traits.old_are_equal) test.result = traits.old_result;
    if (traits.has_long_blocks) test.result = old % 3 == 0 ? 0 : 7;
    if (traits.protocol == Protocol::Nvme && test.result == 4) test.result = 6;
    test.begun = test.ended.emplace(-1);
    LogEntry entry;
    entry.test_code = 1;
    entry.kind = TestKind::Short;
    entry.result_code = test.result;
    entry.first_bad_block = bad_block(test.result);
    const std::int64_t before = traits.old_are_equal ? 1 : 30 * (traits.old_entries - old);
    entry.hours = log_hour() < static_cast<std::uint64_t>(before)
                      ? 0
                      : log_hour() - static_cast<std::uint64_t>(before);
    if (traits.clock != Traits::Clock::PowerOn) entry.hours = log_hour();
    tests_.push_back(test);
    tests_.back().entry = entry;
    add_entry(entry, static_cast<int>(tests_.size()) - 1);
  }
}

std::uint64_t PlayedDrive::log_hour() const {
  switch (traits_.clock) {
    case Traits::Clock::Zero:
      return 0;
    case Traits::Clock::Constant:
      return 4660;
    case Traits::Clock::Other:
      return static_cast<std::uint64_t>(powered_ / 3600 + 3);
    case Traits::Clock::PowerOn:
      break;
  }
  const auto now = static_cast<std::uint64_t>(hour());
  if (traits_.protocol == Protocol::Ata) return now % 65536;
  return traits_.protocol == Protocol::Scsi ? std::min<std::uint64_t>(now, 65535) : now;
}

Seconds PlayedDrive::duration_of_running() const {
  return announced_minutes(tests_[index(running_)].kind) * 60 * traits_.pace / 100;
}

void PlayedDrive::pass(Seconds duration) {
  if (runs() && !traits_.gets_stuck && done_ + duration >= duration_of_running()) {
    const Seconds until_end = duration_of_running() - done_;
    now_ += until_end;
    powered_ += until_end;
    duration -= until_end;
    end(tests_[index(running_)].result, true);
  }
  now_ += duration;
  powered_ += duration;
  if (runs()) done_ += duration;
}

void PlayedDrive::pass_switched_off(Seconds duration) { now_ += duration; }

// The long test of NVMe alone survives.
void PlayedDrive::reset() {
  if (!runs()) return;
  if (traits_.protocol == Protocol::Nvme && running()->kind == TestKind::Long) return;
  end(2, traits_.keeps_interrupted);
}

void PlayedDrive::lose_power() {
  if (runs() && traits_.shows_running_row && traits_.leaves_running_row &&
      traits_.protocol == Protocol::Ata)
    add_entry(running_row(), -1);
  reset();
  // What goes on when the power returns has long begun.
  if (runs()) tests_[index(running_)].shows_late = false;
  if (traits_.forgets_status) status_ = 0;
  ++power_cycles_;
}

PlayedDrive::Begun PlayedDrive::begin(int code, std::optional<TestKind> kind, int result, int call,
                                      bool shows_late) {
  if (runs() && traits_.protocol != Protocol::Ata) return Begun::Busy;
  if (runs()) end(1, traits_.keeps_aborted);
  RealTest test;
  test.code = code;
  test.kind = kind;
  test.result = result;
  test.call = call;
  test.shows_late = shows_late;
  test.begun = now_;
  tests_.push_back(test);
  running_ = static_cast<int>(tests_.size()) - 1;
  done_ = 0;
  return Begun::Yes;
}

void PlayedDrive::stop() {
  if (!runs() && !tests_.empty() && tests_.back().ended)
    tests_.back().was_stopped_at_end = now_ - *tests_.back().ended <= 2;
  if (runs() && traits_.obeys_stop) end(1, traits_.keeps_aborted);
}

bool PlayedDrive::shows_test() const {
  return runs() && (!running()->shows_late || done_ >= traits_.seconds_to_show);
}

void PlayedDrive::end(int result, bool is_kept) {
  RealTest& test = tests_[index(running_)];
  test.result = result;
  test.ended = now_;
  status_ = result;
  if (is_kept && traits_.has_log && traits_.log_grows) {
    LogEntry entry;
    entry.test_code = test.code;
    entry.kind = test.kind;
    entry.result_code = result;
    entry.hours = log_hour();
    entry.first_bad_block = bad_block(result);
    test.entry = entry;
    add_entry(entry, running_);
    // It may be new, or one of those that stood there before.
    test.is_hidden = is_full_of_equals();
  }
  running_ = -1;
}

bool PlayedDrive::is_full_of_equals() const {
  return std::cmp_equal(log_.size(), traits_.rows) &&
         std::all_of(log_.begin(), log_.end(),
                     [&](const LogEntry& one) { return one == log_.front(); });
}

void PlayedDrive::add_entry(const LogEntry& entry, int test) {
  log_.insert(log_.begin(), entry);
  log_tests_.insert(log_tests_.begin(), test);
  if (std::cmp_greater(log_.size(), traits_.rows)) {
    log_.pop_back();
    log_tests_.pop_back();
  }
}

std::optional<std::uint64_t> PlayedDrive::bad_block(int result) const {
  if (!names_bad_block(traits_.protocol, result)) return std::nullopt;
  return traits_.has_long_blocks ? kLongBlock : kBadBlock;
}

LogEntry PlayedDrive::running_row() const {
  LogEntry entry;
  entry.test_code = running()->code;
  entry.kind = running()->kind;
  entry.result_code = kRuns;
  entry.hours = traits_.protocol == Protocol::Scsi ? 0 : log_hour();
  return entry;
}

std::vector<LogEntry> PlayedDrive::log() const {
  std::vector<LogEntry> log = log_;
  if (shows_test() && traits_.shows_running_row) {
    log.insert(log.begin(), running_row());
    if (std::cmp_greater(log.size(), traits_.rows)) log.pop_back();
  }
  return log;
}

void PlayedDrive::show_status(drivetest::Look& look) const {
  look.drive = drive_;
  for (const TestKind kind : drivetest::kTestKinds) {
    if (kind == TestKind::Conveyance && traits_.protocol != Protocol::Ata) continue;
    look.abilities[static_cast<std::size_t>(kind)] = {
        true, static_cast<unsigned>(announced_minutes(kind))};
  }
  if (traits_.tells_power_cycles) look.power_cycles = power_cycles_;
  if (traits_.tells_hours) look.power_on_hours = static_cast<std::uint64_t>(hour());
  if (traits_.protocol == Protocol::Ata) look.status_code = shows_test() ? kRuns : status_;
  if (!shows_test()) return;
  drivetest::RunningTest running_test;
  Seconds left = traits_.gets_stuck ? 100 : 100 - done_ * 100 / duration_of_running();
  left = std::max<Seconds>(left, 0);
  if (traits_.protocol == Protocol::Ata) left = std::min<Seconds>(left / 10 * 10, 90);
  const bool tells_kind = traits_.protocol == Protocol::Nvme ||
                          (traits_.protocol == Protocol::Scsi && traits_.shows_running_row);
  if (tells_kind) running_test.kind = running()->kind;
  running_test.remaining_percent = static_cast<unsigned>(left);
  look.running = running_test;
}

void PlayedDrive::show_log(drivetest::Look& look) {
  look.has_log = traits_.has_log;
  if (!traits_.has_log) return;
  look.log = log();
  if (!traits_.has_long_blocks) return;
  const bool is_extended_read = ++looks_ % 4 != 0;
  for (std::size_t row = is_extended_read ? kExtendedRows : 0; row < look.log.size(); ++row)
    look.log[row].first_bad_block.reset();
}

std::size_t PlayedDrive::rows_shown() const {
  // The row of a running test takes the place of the oldest one in a full log.
  const bool has_running = shows_test() && traits_.shows_running_row;
  return log().size() - (has_running ? 1 : 0);
}

RealTest* PlayedDrive::test_of(std::size_t row) {
  return log_tests_[row] < 0 ? nullptr : &tests_[index(log_tests_[row])];
}

void PlayedDrive::mark_hidden() {
  if (log_.empty() || !is_full_of_equals()) return;
  const bool is_hidden_now = rows_shown() < log_.size();
  RealTest* const last = test_of(log_.size() - 1);
  const bool has_looked = test_of(0) && test_of(0)->is_shown;
  if (last && !last->is_shown && (is_hidden_now || has_looked)) last->is_hidden = true;
}

void PlayedDrive::mark_shown() {
  mark_hidden();
  for (std::size_t row = 0; row < rows_shown(); ++row)
    if (RealTest* const test = test_of(row)) test->is_shown = true;
}

}  // namespace random_lives
