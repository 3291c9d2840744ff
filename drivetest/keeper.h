// Starts, looks at and stops the tests of drives, and keeps the history in step with what the
// drives show. The drives do the work: no process has to stay, and the next look, no matter
// whose, brings the history up to date.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "drivetest/drive_access.h"
#include "drivetest/drive_change.h"
#include "drivetest/history.h"
#include "drivetest/look.h"
#include "drivetest/progress.h"
#include "drivetest/test_row.h"

namespace drivetest {

// A look, and what the history had when it began. Where the history has changed since, the look may
// be older than what is known, and is taken again.
struct SeenLook {
  Look look;
  std::optional<std::int64_t> changes;  // History::changes()
};

// What a look at a drive has shown, and what the history knows of its tests since.
struct DriveStatus {
  Look look;
  // With look.fault: as it was at the last look, where the history is open and the look tells which
  // drive it is.
  std::optional<TestRow> running;
  std::vector<TestRow> ended;  // by this look
  bool is_stalled = false;

  // Whether the drive is busy with a test. One that may only say so is not, unless the history
  // knows of the test.
  bool is_testing() const { return look.running && (running || !look.running->is_doubtful); }
};

enum class StartResult {
  Started,         // the drive shows it
  AlreadyRunning,  // a test of ours or of somebody else, which was left alone
  NotAble,         // the drive knows no such test
  NotStarted,      // or the drive has not answered since: then the history keeps the row
};

struct StartOutcome {
  StartResult result = StartResult::NotStarted;
  std::string reason;  // why it was not started, in words; from outside in part
  // Of the test that runs, or that has ended already: with Started and AlreadyRunning alone.
  std::optional<TestRow> row;
  std::optional<TestRow> replaced;  // the test that was ended for it
  // The test that was to be replaced, and passed or failed before it could be ended.
  std::optional<TestRow> ended_before;
  DriveStatus status;
  bool is_untold = false;  // NotStarted: it may have begun, as the drive has not answered since
};

// Why the drive cannot do such a test, in words; empty: it can.
std::string why_not_able(const Look& look, TestKind kind);

enum class StopResult { Stopped, NothingRuns, NotStopped };

struct StopOutcome {
  StopResult result = StopResult::NotStopped;
  std::string reason;
  std::optional<TestRow> row;  // the test that was stopped, or has ended by itself meanwhile
  DriveStatus status;
  bool is_untold = false;  // NotStopped: it may have ended, as the drive has not answered since
};

// All members may be called from several threads at once, for different drives. Each blocks for as
// long as the drive takes to answer, and for seconds more where it does not show at once what it
// was told to do.
class Keeper {
 public:
  // Opens the history when it is first needed. Returns null or throws HistoryError if there is
  // none: drives are tested and nothing is kept. After others have kept it busy for the whole
  // patience, the keeper only reads; a later keeper tells how those tests ended.
  using OpenHistory = std::function<History*()>;

  // All must outlive the keeper, the history too.
  Keeper(DriveAccess& access, TimeSource& time, OpenHistory open)
      : access_(access), time_(time), open_(std::move(open)) {}

  // Opens the history now, which saves a second look at drives that it knows.
  void open_history();

  DriveStatus look(const Place& place, bool wake);
  // The same in two steps, for those who compare the looks at all drives before the history knows
  // of them.
  SeenLook see(const Place& place, bool wake);
  DriveStatus settle(SeenLook seen, bool wake);
  // What SeenLook::changes is before a look.
  std::optional<std::int64_t> changes();

  // With replace a test that runs is ended first.
  StartOutcome start(const Place& place, TestKind kind, bool replace, bool wake);
  StartOutcome start(SeenLook seen, TestKind kind, bool replace, bool wake);

  StopOutcome stop(const Place& place, bool wake);
  StopOutcome stop(SeenLook seen, bool wake);

  // For a test that somebody else begins and ends, as the module does: what is kept of it from then
  // on. Not set where something runs, the drive cannot be asked or there is no history.
  std::optional<TestRow> begin_foreign(const Place& place, TestKind kind, Source source);
  // The same after a look that was taken just now.
  std::optional<TestRow> begin_foreign(const DriveStatus& status, TestKind kind, Source source);
  // The row as it is when that test is over. was_seen: who began it has seen it running. Not set
  // where the drive shows no trace of a test that nobody has seen: then it did not come about, and
  // the row is taken back. A row that still runs is brought up to date by a later look.
  std::optional<TestRow> end_foreign(const TestRow& row, bool was_seen);
  // Takes back the row of a test that did not come about. False where another process has seen that
  // it did. With was_refused what a look has shown is another test: then only a row that has ended
  // stays.
  bool withdraw(const TestRow& row, bool was_refused = false);

  // A row as the history has it now; not set where it has none of that number, or there is none.
  std::optional<TestRow> kept(std::int64_t number);

  // Works with the history while no other thread of the keeper's does; it must call nothing of the
  // keeper. False: there is no history. Throws HistoryError.
  bool with_history(const std::function<void(History&)>& work);

  // Why something could not be read or kept, the first time that this happened; empty: all was.
  std::string history_fault() const;
  // Whether there was a history that could be used, be it only for a time.
  bool had_history() const;

 private:
  struct Settled {
    std::optional<TestRow> running;
    std::vector<TestRow> ended;
    bool look_again = false;
  };
  struct BegunTest {
    std::optional<TestRow> row;  // set
    bool runs_already = false;   // the row is that of a test that another process has begun
  };

  std::optional<TestRow> change(const Drive& drive,
                                const std::function<DriveChange(const DriveState&)>& decide);
  Settled settle_by(SeenLook& seen, bool wake, Circumstances circumstances);
  DriveStatus settle_by_looks(SeenLook seen, bool wake, Circumstances circumstances);
  BegunTest begin(const Look& look, TestKind kind, Source source);
  platform::Descriptor mark_starting(const TestRow& row);
  ToolReply tell_to_start(const Look& look, TestKind kind);
  StartOutcome await_start(StartOutcome outcome, const ToolReply& reply, const TestRow& row);
  // Tells the test of somebody else that is seen at another look, or else the reason.
  StartOutcome give_way(StartOutcome outcome, std::string reason);
  TestRow row_of_testing(const DriveStatus& status);
  // With is_replaced it is ended so that another test can begin.
  StopOutcome stop(SeenLook seen, bool wake, bool is_replaced);
  void tell_end_seen_by_others(StopOutcome& outcome, const Circumstances& circumstances);
  void explain(const TestRow& row);

  std::optional<TestRow> known_running(const Drive& drive);
  const DriveState* unkept(const std::string& identity) const;
  DriveState last_known(const std::string& identity);
  History* opened_history();
  void note_fault(const HistoryError& error);

  DriveAccess& access_;
  TimeSource& time_;
  mutable std::mutex lock_;     // over what follows
  OpenHistory open_;            // empty once it was called
  History* history_ = nullptr;  // none any more when it was too busy to be read
  bool is_busy_ = false;        // then nothing more is written
  std::string history_fault_;
  bool had_history_ = false;

  // What is known of a drive since the last look.
  struct Remembered {
    DriveState state;
    bool is_kept = false;  // by the history, which is asked first then
  };
  std::map<std::string, Remembered> remembered_;  // by Drive::identity()
  // Of tests that somebody else begins, by the row's number.
  std::map<std::int64_t, platform::Descriptor> starting_;
};

}  // namespace drivetest
