// A drive that is played: what it does with tests, what it shows of them, and what really became of
// each, which no look tells. Written from what drives do and the standards say; it shares no table
// with the library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/drive.h"
#include "drivetest/look.h"

namespace random_lives {

using drivetest::LogEntry;
using drivetest::Protocol;
using drivetest::TestKind;
using Seconds = std::int64_t;

// How a drive differs from others. What stands here is the plain one.
struct Traits {
  Protocol protocol = Protocol::Ata;
  std::int64_t rows = 21;  // that tools show of its log
  bool has_log = true;
  bool log_grows = true;            // else the log stays as it is, whatever is tested
  bool keeps_aborted = true;        // in the log
  bool keeps_interrupted = true;    // by a reset or a loss of power
  bool shows_running_row = false;   // in the log
  bool leaves_running_row = false;  // there, when the power is lost
  bool forgets_status = false;      // ATA's status byte, when the power is lost
  bool tells_hours = true;
  bool tells_power_cycles = true;
  enum class Clock { PowerOn, Zero, Constant, Other } clock = Clock::PowerOn;  // of the log
  std::int64_t first_hour = 1000;
  std::int64_t old_entries = 0;
  bool old_are_equal = false;
  int old_result = 0;  // of those, if they are equal
  // Bad blocks have more than 32 bits. They stand in the extended log only, which has 19 rows and
  // cannot always be read.
  bool has_long_blocks = false;
  Seconds seconds_to_show = 0;  // until a test that has begun shows
  std::int64_t pace = 100;      // per cent of the announced time that a test takes
  bool gets_stuck = false;      // its tests never end by themselves
  bool obeys_stop = true;
  bool has_world_wide_name = true;
};

std::string text_of(const Traits& traits);

// What really happened. A test has no result while it runs.
struct RealTest {
  int code = 0;  // the drive's own for this kind of test
  std::optional<TestKind> kind;
  int call = -1;  // which of our starts began it; -1: somebody else
  Seconds begun = 0;
  std::optional<Seconds> ended;
  int result = 0;
  bool shows_late = false;
  bool was_stopped_at_end = false;  // told to end in the moment in which it had ended by itself
  std::optional<LogEntry> entry;    // that the log got
  bool is_shown = false;            // the entry was in the log that the history took over
  bool is_hidden = false;           // the log could not tell that this entry was new
};

// 'P', 'F', 'A' or '?' by the meaning that the standards give the code.
char meaning_of(Protocol protocol, int result);

class PlayedDrive {
 public:
  PlayedDrive(const Traits& traits, int number);

  // Time passes with the power on. Times are those of the world, not of any clock.
  void pass(Seconds duration);
  void pass_switched_off(Seconds duration);
  void reset();
  void lose_power();

  enum class Begun { Yes, Busy };
  // Of a test of that code, which will have that result. An ATA drive ends the test that runs.
  // It shows late, where the drive is so, only if it is said to.
  Begun begin(int code, std::optional<TestKind> kind, int result, int call, bool shows_late);
  void stop();

  bool runs() const { return running_ >= 0; }
  bool shows_test() const;
  const RealTest* running() const { return runs() ? &tests_[index(running_)] : nullptr; }

  // The two halves of a look, and what both have in common.
  void show_status(drivetest::Look& look) const;
  void show_log(drivetest::Look& look);
  // The history has taken over what stands in the log now.
  void mark_shown();
  // At any look. When a running test's row hides the oldest of equal entries, that entry cannot be
  // told from a new one once it shows again.
  void mark_hidden();

  const Traits& traits() const { return traits_; }
  const drivetest::Drive& drive() const { return drive_; }
  std::vector<RealTest>& tests() { return tests_; }
  // Of each row of the log, the newest first, whose it is; -1: one that no test has.
  const std::vector<int>& log_tests() const { return log_tests_; }
  std::vector<LogEntry> log() const;
  Seconds now() const { return now_; }

  static std::int64_t announced_minutes(std::optional<TestKind> kind);
  static int code_of(Protocol protocol, TestKind kind);

 private:
  static std::size_t index(int number) { return static_cast<std::size_t>(number); }
  std::int64_t hour() const { return traits_.first_hour + powered_ / 3600; }
  std::uint64_t log_hour() const;
  Seconds duration_of_running() const;
  void end(int result, bool is_kept);
  void add_entry(const LogEntry& entry, int test);
  // Then nothing tells whether its log has got one more.
  bool is_full_of_equals() const;
  LogEntry running_row() const;
  std::optional<std::uint64_t> bad_block(int result) const;
  std::size_t rows_shown() const;
  RealTest* test_of(std::size_t row);  // of a row of the log; nullptr: it is of none

  Traits traits_;
  drivetest::Drive drive_;
  Seconds now_ = 0;
  Seconds powered_ = 0;
  Seconds done_ = 0;  // of the running test
  int running_ = -1;
  int status_ = 0;
  int looks_ = 0;
  std::uint64_t power_cycles_ = 20;
  std::vector<RealTest> tests_;
  std::vector<LogEntry> log_;
  std::vector<int> log_tests_;
};

}  // namespace random_lives
