// The history: every test of every drive, in a file that stays when processes, object managers and
// the machine end. A row is begun before the drive is told to test itself, and ended by the process
// that sees the end first.
//
// Several processes may use one history at once. A History is one thread's at a time and belongs to
// the process that made it, not to a child after fork. Calls block while others write, each at most
// for the patience. When begin, update or another function that writes has returned, the disk has
// it; when it has thrown, nothing was written.
//
// Functions throw HistoryError, whose words say what to do, or std::bad_alloc. A damaged file is no
// error: it is given another name, a new history is begun, and take_notes tells it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/drive_change.h"
#include "drivetest/history_error.h"
#include "drivetest/test_row.h"
#include "platform/descriptor.h"

namespace drivetest {

class Database;
class HistoryFolder;

// Whose tests are begun here.
struct Host {
  std::string machine_id;
  std::string name;
};
// Of /etc/machine-id, in lower case; empty where there is none. And the host's name.
Host this_host();

// /var/lib/hvx, or what HVX_STATE_DIR says, made absolute.
std::string state_folder();

Time system_time();

struct HistoryOptions {
  std::string folder = state_folder();
  Host host = this_host();
  std::chrono::milliseconds patience{10'000};
  Time (*clock)() = system_time;
  const char* file_system = nullptr;  // a VFS of SQLite, for tests
};

class History {
 public:
  // Opens the history, and makes it where there is none. On a file system that is read-only it can
  // be read where the last program that wrote it has ended well.
  explicit History(HistoryOptions options = {});
  ~History();
  History(const History&) = delete;
  History& operator=(const History&) = delete;

  struct Begun {
    std::int64_t number = 0;          // of the new row; 0: none was made
    std::optional<KeptTest> running;  // the test that runs already, which is why none was made
  };
  // Keeps a test that is about to begin. Of the row it takes everything but number, id and
  // recorded; machine and host are this one's, and `drive` is the drive's identity where it is
  // empty. A drive has one running test at most.
  Begun begin(const Drive& drive, TestRow row);
  // Takes back a row that was begun where the drive has begun nothing. False if it has ended,
  // or a look has shown it running; with also_seen only if it has ended.
  bool withdraw(std::int64_t number, bool also_seen = false);

  // As long as the descriptor is open and the process lives, the test is being started: all
  // processes see that in DriveState. Without a descriptor where the file system cannot say so.
  platform::Descriptor mark_starting(const TestRow& row);

  // Brings the row with the row's number up to date; with an outcome it ends. A test ends once:
  // false, and nothing changes, if somebody else has told its end or there is no such test.
  bool update(const TestRow& row);
  // Keeps the row's cause of a test that has ended, where more is known of it than to the process
  // that has seen its end.
  void explain(const TestRow& row);

  // An NVMe drive that has told the EUI-64 or NGUID of its namespace, and that the history knew by
  // model and serial number while that could not be read, is known by that name from now on, with
  // all its tests. Where both names are known, see joined_drives.h. The tests of a drive which
  // shares its identity, from before that was seen, become those of the drive at its place.
  void recognise(const Drive& drive);
  // That name of the NVMe drive with that model and serial number, for a drive that tells none: it
  // may not be readable for a time, and a drive of no namespace or of several has none of its own.
  // Empty: the drive has a name, or none or several such drives have tests here.
  std::string name_of(const Drive& drive);
  // Whether drives of this machine that claim to be this one are known by their places.
  bool is_known_apart(const Drive& drive);
  // By what the history knows the drive, after recognise. Where the history cannot be written, this
  // may still be what it was known by before.
  std::string identity_of(const Drive& drive);

  // What the history knows of a drive of this machine, by its identity.
  DriveState state(std::string_view drive);
  // Keeps what a look at the drive has changed. `before` is what state gave when it was worked out:
  // false, and nothing changes, if somebody else has changed it since. So what a log shows is taken
  // over once. Rows that are added get what begin gives them.
  bool change(const Drive& drive, const DriveState& before, const DriveChange& change);
  // How many such changes there were, of all drives. A look that was begun at a number below
  // DriveState::changed is older than what the history knows.
  std::int64_t changes();

  // The rows of this machine that run.
  std::vector<KeptTest> running();
  std::optional<KeptTest> running(std::string_view drive);
  // The drives of this machine, also those that are gone or were never tested.
  std::vector<KnownDrive> drives();
  // The newest row of each drive, of this and other machines.
  std::vector<KeptTest> last_of_each_drive();
  // The rows of a drive of this machine, the newest first.
  std::vector<KeptTest> of_drive(std::string_view drive, std::size_t limit);
  // Of each kind the newest test that passed and the newest that failed, the newest first: what it
  // takes to say which failure no later test answers (TestRow::answers_failure).
  std::vector<KeptTest> telling_of_failures(std::string_view drive);
  // The same of the drives with that serial number or world wide name, of this and other machines,
  // drive by drive; none for an empty name.
  std::vector<KeptTest> of_drives_named(std::string_view name, std::size_t limit);
  // The rows of all drives that were at a device when they were tested, in the order in which the
  // history got them. All rows are read for it.
  std::vector<KeptTest> at_device(std::string_view device);
  std::optional<KeptTest> find(std::int64_t number);
  // All rows, in the order in which the history got them, as they are at the beginning of the call.
  void each(const std::function<void(const KeptTest&)>& visit);

  // Removes the tests that ended (where that is not known: began, else were recorded) before then,
  // none that runs. How many there were.
  std::size_t forget_before(Time time);

  // What became of a row that another history has.
  enum class Import { Added, Ended, Unchanged, Different, DriveIsBusy };
  // Takes over a row with all that it says. A test is known by its id. Ended: it ran here and the
  // row tells its end. Different: it has ended here otherwise, which stays. DriveIsBusy: the row
  // says that the test runs, but another one of its drive does; nothing was changed.
  Import import(const KeptTest& test);

  // All that the function writes here is kept, or nothing of it if something throws. It may be
  // called twice.
  void together(const std::function<void()>& work);

  // What has happened to the file that the user is to know, in words; empty from then on.
  std::vector<std::string> take_notes();

  const std::string& file() const;

  // For those who look at how SQLite does it.
  Database& database() { return *database_; }

 private:
  void open();
  bool open_locked(bool is_exclusive);
  void open_unwritable();
  void open_file();
  void begin_anew(const std::string& damage);
  bool is_open_file_in_place() const;
  void set_aside(const std::string& damage);
  void write(const std::function<void()>& work);
  void read(const std::function<void()>& work);
  void guarded(const std::function<void()>& work);
  TestRow completed(const Drive& drive, TestRow row) const;
  Time next_recorded(std::int64_t drive);

  HistoryOptions options_;
  std::unique_ptr<HistoryFolder> folder_;
  std::unique_ptr<Database> database_;
  std::uint64_t device_ = 0;  // of the open file
  std::uint64_t inode_ = 0;
  bool is_together_ = false;
  std::vector<std::string> notes_;
};

}  // namespace drivetest
