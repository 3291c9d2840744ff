// What the commands over tests of any drive share: which drives are meant, the keeper of their
// tests, and the history.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/drives_apart.h"
#include "drivetest/find_drives.h"
#include "drivetest/history.h"
#include "drivetest/keeper.h"

namespace cli {

// Why a name is that of no drive, and what to do.
inline constexpr const char* kNoSuchDrive = "there is no such drive";
inline constexpr const char* kShowsAll = "; 'hddtest status' shows all";

// A drive of the machine, or a name that is none.
struct ChosenDrive {
  std::string name;  // as the user wrote it; the device where nobody named it
  drivetest::Place place;
  std::string reason;      // why there is no such drive; empty: there is one
  drivetest::Drive known;  // what the kernel tells of it; it may be less than the drive itself does
  // A look that was taken to tell drives apart, so that no second one is needed.
  std::optional<drivetest::SeenLook> seen;
  // Where the kernel shows it; empty for a name of the user's own.
  std::vector<std::string> nodes{};

  // The name as people read it: cli::shown_name().
  std::string shown_name() const;
  // As the drive or else the kernel tells, after this look. A USB bridge has one of its own, and
  // may pass it off as the drive's: it is shown where the history knows such a drive.
  std::string serial_number(const drivetest::Look& look) const;
};

// The machine's clock.
class SystemTime : public drivetest::TimeSource {
 public:
  std::chrono::sys_seconds now() override { return drivetest::system_time(); }
  void wait(std::chrono::milliseconds duration) override;
};

class DriveTests {
 public:
  // At once: a command is about to look at drives. When needed: it may never come to that.
  enum class OpensHistory { AtOnce, WhenNeeded };
  explicit DriveTests(OpensHistory opens = OpensHistory::AtOnce);

  // Which drives are looked at before they are chosen, where no names are given: all, all but those
  // that are busy with the work of an array, or none. Those of which the kernel does not tell which
  // drives they are, are looked at in any case.
  enum class LooksAhead { AtAll, OutsideBusyArrays, InDoubt };

  // The drives that go by these names: device, serial number or name below /dev/disk/by-id; all
  // drives of the machine without names. Without names it looks at those that `ahead` says, else at
  // those of which the kernel does not tell which drives they are. wake: those that are chosen
  // (outside busy arrays only those that the kernel does not tell apart), and where no other drive
  // has a serial number that is named, all that rest, do not say theirs and have no name from the
  // kernel. Tells on standard error of drives that claim to be one. Throws WrongCommandLine for a
  // type without names, and for an empty name.
  std::vector<ChosenDrive> choose(const std::vector<std::string>& names, const std::string& type,
                                  bool wake, LooksAhead ahead = LooksAhead::AtAll);

  // Looks at a drive that was not looked at before it was chosen, or did not answer then, and
  // compares it with those that were chosen with it. Several threads may call it at once.
  void compare(const ChosenDrive& drive, bool wake);

  // The look at a drive that was chosen: the one that was taken, the first time. What a drive that
  // does not answer leaves untold of itself is what the history knows of it. Several threads may
  // call it at once, for different drives.
  drivetest::SeenLook look_of(ChosenDrive& drive, bool wake);

  // Of a device that is tested by its name alone: with its type where other drives claim to be the
  // same one, for then the place is a part of what it is known by.
  drivetest::Place place_of(const std::string& device);

  drivetest::Keeper& keeper() { return keeper_; }
  // Throws HistoryError where there is none.
  drivetest::History& history();
  drivetest::TimeSource& time() { return time_; }
  // For a drive whose place other processes know to be a part of its identity.
  void keep_apart(const drivetest::Place& place) { drives_.keep_apart(place); }
  bool is_apart(const drivetest::Place& place) { return drives_.is_apart(place); }

  // Looks at the drives, several at once, and brings the history up to date.
  std::vector<drivetest::DriveStatus> look_at(std::vector<ChosenDrive>& drives, bool wake);

  // The test that runs in the drive, or the last one that is kept. May be called while other
  // threads look at drives.
  std::optional<drivetest::TestRow> newest(const ChosenDrive& drive,
                                           const drivetest::DriveStatus& status);

  // The newest tests of the drive, running and ended, the newest first; at most so many.
  std::vector<drivetest::TestRow> newest_tests(const ChosenDrive& drive,
                                               const drivetest::DriveStatus& status,
                                               std::size_t most);

  // By what the history knows the drive.
  std::string identity_of(const ChosenDrive& drive, const drivetest::Look& look);

  // Whether it is known which drive this look of look_of is at. One that does not answer may be
  // known all the same.
  static bool is_known(const drivetest::Look& look);
  // Where that is not known: the tests that were made here at its place and may be its own.
  std::vector<drivetest::KeptTest> tests_at(const drivetest::Look& look);
  // Where that is not known: whether one of them runs as far as the history knows.
  bool may_be_testing(const drivetest::Look& look);

  // Whether the history told who began tests, and which there were.
  bool has_history() const { return keeper_.history_fault().empty(); }

  // Whether the history can be read, though it may keep nothing more.
  bool can_read_history();

  // Says on standard error why nothing could be kept, and what has happened to the history.
  void tell_of_history();

 private:
  // All drives that were found, and the looks at them so far.
  struct Survey {
    std::vector<drivetest::FoundDrive> found;
    std::vector<std::optional<drivetest::Look>> looks;
    std::optional<std::int64_t> changes;  // SeenLook::changes, for all looks
  };
  void look_at(Survey& survey, std::vector<std::size_t> numbers, bool wake);
  void take(Survey& survey, std::size_t number, drivetest::Look look);
  void look_outside_busy_arrays(Survey& survey, bool wake);
  std::string tell_apart(Survey& survey);
  static void complain_of(const std::string& apart);
  std::string keep_apart(std::vector<drivetest::FoundDrive>& found,
                         std::vector<std::optional<drivetest::Look>>& looks);
  std::string tell_from_silent(const Survey& survey);
  drivetest::Drive recognised(drivetest::History& history, const ChosenDrive& chosen,
                              const drivetest::Look& look);
  std::optional<drivetest::Drive> known_drive(drivetest::History& history,
                                              const drivetest::Drive& told);
  std::optional<drivetest::Place> known_place(const drivetest::FoundDrive& silent,
                                              const drivetest::Drive& claimant);
  static bool is_silent(const drivetest::Look& look);
  static std::string listed(const drivetest::Place& place,
                            const std::vector<drivetest::FoundDrive>& drives);
  bool may_be_of(const drivetest::Drive& told, const drivetest::KeptTest& test) const;
  std::vector<std::size_t> owners(const Survey& survey, const std::string& serial_number,
                                  bool wake);
  std::optional<drivetest::Place> named_place(const Survey& survey, const std::string& name,
                                              const std::string& type, bool wake);
  bool was_tested_at(const drivetest::Drive& silent, const std::set<std::string>& serial_numbers);
  enum class Silent { WhereTested, All };
  bool ask_silent(Survey& survey, const std::vector<std::string>& names, const std::string& type,
                  bool wake, Silent which);
  std::string not_chosen_reason(const Survey& survey, const std::string& name, bool wake);
  std::string name_of(const drivetest::Drive& drive);
  bool was_apart(const drivetest::Drive& drive);
  void ask_history(const std::function<void(drivetest::History&)>& work);
  static ChosenDrive chosen(const Survey& survey, std::size_t number);
  ChosenDrive chosen(const Survey& survey, const std::string& name, const std::string& type,
                     bool wake);

  DrivesApart drives_;
  // What the drives claim to be that have said so; under the lock where several threads
  // look. Only a patrol adds to it then, and it does not ask what was chosen meanwhile.
  std::set<std::string> answered_;
  std::set<std::string> named_;  // what the kernel knows the drives of this machine by
  SystemTime time_;
  std::unique_ptr<drivetest::History> history_;
  std::optional<drivetest::HistoryError> no_history_;  // why it cannot be opened
  bool can_ask_ = true;  // until the history could not tell; used with it alone
  drivetest::Keeper keeper_;
  std::mutex lock_;  // over what follows
  Survey chosen_;    // the last time that drives were chosen
};

// Throws WrongCommandLine where one of the names is empty, as that of a variable without a value
// is.
void expect_names(const std::vector<std::string>& names);

// The drives without those that stand there already by another of their names.
std::vector<ChosenDrive> each_once(std::vector<ChosenDrive> drives);

// Does the work for each index, several at once; returns when all is done. What one throws is
// thrown here, once the others have ended.
void at_once(std::size_t count, const std::function<void(std::size_t)>& work);

}  // namespace cli
