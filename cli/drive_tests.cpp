#include "cli/drive_tests.h"

#include <algorithm>
#include <iterator>
#include <thread>
#include <utility>

#include "cli/output.h"
#include "cli/test_words.h"
#include "platform/at_once.h"

namespace cli {

using drivetest::Drive;
using drivetest::DriveStatus;
using drivetest::FoundDrive;
using drivetest::Look;
using drivetest::LookFault;
using drivetest::Place;
using drivetest::SeenLook;
using drivetest::TestRow;

namespace {

// Drives that are asked at a time: those of a full enclosure, since most of a look is waiting.
constexpr std::size_t kAtOnce = 24;

}  // namespace

// " /dev/sda", with the type that tells it from the others where drives behind a controller share
// their device.
std::string DriveTests::listed(const Place& place, const std::vector<FoundDrive>& drives) {
  const auto is_there = [&](const FoundDrive& one) {
    return one.drive.place.device == place.device;
  };
  const bool is_shared = std::count_if(drives.begin(), drives.end(), is_there) > 1;
  return " " + place.device + (is_shared ? " (--type " + place.type + ")" : "");
}

std::string ChosenDrive::shown_name() const { return cli::shown_name(name, place); }

std::string ChosenDrive::serial_number(const Look& look) const {
  if (look.drive.serial_number.empty() && !known.is_on_usb) return known.serial_number;
  return look.drive.serial_number;
}

void SystemTime::wait(std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }

DriveTests::DriveTests(OpensHistory opens)
    : drives_([this](const Drive& drive) { return name_of(drive); },
              [this](const Drive& drive) { return was_apart(drive); }),
      keeper_(drives_, time_, [this] { return &history(); }) {
  if (opens == OpensHistory::AtOnce) keeper_.open_history();
}

SeenLook DriveTests::look_of(ChosenDrive& drive, bool wake) {
  std::optional<SeenLook> seen = std::exchange(drive.seen, std::nullopt);
  const bool is_asleep = seen && seen->look.fault == LookFault::Standby;
  if (!seen || (wake && is_asleep)) seen = keeper_.see(drive.place, wake);
  if (seen->look.fault != LookFault::None) {
    try {
      const std::lock_guard guard(lock_);  // compare() notes who has answered
      keeper_.with_history([&](drivetest::History& history) {
        seen->look.drive = recognised(history, drive, seen->look);
        history.identity_of(seen->look.drive);
      });
    } catch (const drivetest::HistoryError&) {
      // The keeper meets this failure too, and reports it.
    }
    // That of the bridge.
    if (seen->look.drive.is_on_usb && !is_known(seen->look)) seen->look.drive.serial_number.clear();
  }
  return *std::move(seen);
}

// Of drives of other protocols the kernel tells.
std::string DriveTests::name_of(const Drive& drive) {
  std::string name;
  if (drive.protocol == drivetest::Protocol::Nvme)
    ask_history([&](drivetest::History& history) { name = history.name_of(drive); });
  return name;
}

Place DriveTests::place_of(const std::string& device) {
  Survey survey{drivetest::find_drives({}), {}, {}};
  survey.looks.resize(survey.found.size());
  if (drivetest::drives_in_doubt(survey.found, survey.looks).empty()) return {device, ""};
  survey.found = drivetest::find_drives(drives_.scan());
  survey.looks.assign(survey.found.size(), std::nullopt);
  tell_apart(survey);
  for (const FoundDrive& one : survey.found)
    if (one.drive.place.device == device && is_apart(one.drive.place)) return one.drive.place;
  return {device, ""};
}

// Those of these numbers that were not looked at yet.
void DriveTests::look_at(Survey& survey, std::vector<std::size_t> numbers, bool wake) {
  std::erase_if(numbers, [&](std::size_t number) { return survey.looks[number].has_value(); });
  std::vector<FoundDrive> asked;
  for (const std::size_t number : numbers) asked.push_back(survey.found[number]);
  std::vector<Look> looks = drivetest::look_at(drives_, asked, wake, kAtOnce);
  for (std::size_t i = 0; i < numbers.size(); ++i) take(survey, numbers[i], std::move(looks[i]));
}

void DriveTests::take(Survey& survey, std::size_t number, Look look) {
  std::string& serial_number = survey.found[number].drive.serial_number;
  if (!look.drive.serial_number.empty()) serial_number = look.drive.serial_number;
  if (look.fault == LookFault::None) answered_.insert(look.drive.claimed_identity());
  survey.looks[number] = std::move(look);
}

// Where the kernel does not tell, the drives' own words decide: a second path to a drive is left
// out, and different drives with one identity are known by their places. Returns the names of
// these.
std::string DriveTests::tell_apart(Survey& survey) {
  const auto is_unseen = [&](std::size_t number) { return !survey.looks[number]; };
  // What a drive says may bring another into doubt.
  for (;;) {
    const auto doubtful = drivetest::drives_in_doubt(survey.found, survey.looks);
    if (std::none_of(doubtful.begin(), doubtful.end(), is_unseen)) break;
    look_at(survey, doubtful, false);
  }
  std::string names = keep_apart(survey.found, survey.looks);
  names += tell_from_silent(survey);
  for (std::optional<Look>& look : survey.looks)
    if (look) look->drive.shares_identity = drives_.is_apart(look->drive);
  return names;
}

void DriveTests::complain_of(const std::string& apart) {
  if (apart.empty()) return;
  complain("these drives claim to be one and the same, and are known by their places:" + apart);
}

// Drives are asked side by side: one that has to spin up takes long to answer.
void DriveTests::compare(const ChosenDrive& drive, bool wake) {
  const auto number_of_drive = [&] {
    const auto known = std::ranges::find_if(chosen_.found, [&](const FoundDrive& one) {
      return is_same_place(one.drive.place, drive.place);
    });
    return static_cast<std::size_t>(known - chosen_.found.begin());
  };
  std::vector<FoundDrive> asked;
  {
    const std::lock_guard guard(lock_);
    const std::size_t number = number_of_drive();
    if (number == chosen_.found.size()) return;
    asked = {chosen_.found[number]};
  }
  Look look = drivetest::look_at(drives_, asked, wake, 1).front();
  const std::lock_guard guard(lock_);
  const std::size_t number = number_of_drive();
  if (number == chosen_.found.size()) return;
  take(chosen_, number, std::move(look));
  complain_of(tell_apart(chosen_));
}

std::string DriveTests::keep_apart(std::vector<FoundDrive>& found,
                                   std::vector<std::optional<Look>>& looks) {
  std::string names;
  for (const Drive& drive : join_paths(found, looks))
    if (drives_.keep_apart(drive)) names += listed(drive.place, found);
  return names;
}

// A drive behind a bridge that smartctl does not know answers only to the -d type that the user
// gave earlier. If the history has a test of the claimed drive at this place, its type is tried.
std::string DriveTests::tell_from_silent(const Survey& survey) {
  Survey asked = survey;
  for (std::size_t number = 0; number < survey.found.size(); ++number) {
    const std::optional<Look>& look = survey.looks[number];
    if (!look || look->fault != LookFault::CannotBeReached || !is_silent(*look)) continue;
    for (const std::optional<Look>& other : survey.looks) {
      if (!other || other->fault != LookFault::None || is_silent(*other)) continue;
      const std::optional<Place> place = known_place(survey.found[number], other->drive);
      if (place) asked.looks[number] = drives_.look(*place, false);
    }
  }
  return keep_apart(asked.found, asked.looks);
}

// Where the history has last seen a test of what the claimant claims to be, if that is the place of
// the silent drive and has a type of its own.
std::optional<Place> DriveTests::known_place(const FoundDrive& silent, const Drive& claimant) {
  std::optional<Place> known;
  const std::string& device = silent.drive.place.device;
  Drive at_place = claimant;
  at_place.shares_identity = true;
  at_place.place = silent.drive.place;
  ask_history([&](drivetest::History& history) {
    for (const std::string& identity : {claimant.claimed_identity(), at_place.identity()})
      for (const drivetest::KeptTest& test : history.of_drive(identity, 1))
        if (test.row.place.device == device && !test.row.place.type.empty()) known = test.row.place;
  });
  return known;
}

bool DriveTests::was_apart(const Drive& drive) {
  bool is_apart = false;
  if (!drive.claimed_identity().empty())
    ask_history([&](drivetest::History& history) { is_apart = history.is_known_apart(drive); });
  return is_apart;
}

// While drives are looked at. Where it cannot tell, each further drive would wait as long.
void DriveTests::ask_history(const std::function<void(drivetest::History&)>& work) {
  keeper_.open_history();  // which keeps in mind why there is none
  try {
    keeper_.with_history([&](drivetest::History& history) {
      if (!std::exchange(can_ask_, false)) return;
      work(history);
      can_ask_ = true;
    });
  } catch (const drivetest::HistoryError&) {
    // The keeper meets this failure too, and reports it.
  }
}

drivetest::History& DriveTests::history() {
  if (no_history_) throw drivetest::HistoryError(*no_history_);
  try {
    if (!history_) history_ = std::make_unique<drivetest::History>();
  } catch (const drivetest::HistoryError& error) {
    no_history_ = error;
    throw;
  }
  return *history_;
}

std::vector<DriveStatus> DriveTests::look_at(std::vector<ChosenDrive>& drives, bool wake) {
  std::vector<DriveStatus> statuses(drives.size());
  at_once(drives.size(), [&](std::size_t i) {
    if (drives[i].reason.empty()) statuses[i] = keeper_.settle(look_of(drives[i], wake), wake);
  });
  return statuses;
}

std::optional<TestRow> DriveTests::newest(const ChosenDrive& drive, const DriveStatus& status) {
  if (status.running) return status.running;
  const std::vector<TestRow> tests = newest_tests(drive, status, 1);
  return tests.empty() ? std::nullopt : std::optional(tests.front());
}

std::vector<TestRow> DriveTests::newest_tests(const ChosenDrive& drive, const DriveStatus& status,
                                              std::size_t most) {
  std::vector<TestRow> tests;
  try {
    keeper_.with_history([&](drivetest::History& history) {
      for (drivetest::KeptTest& test : history.of_drive(identity_of(drive, status.look), most))
        tests.push_back(std::move(test.row));
    });
  } catch (const drivetest::HistoryError&) {
    // The keeper meets this failure too, and reports it.
  }
  // The history may have been unable to keep the end that was just seen.
  if (!status.ended.empty() && (tests.empty() || !has_history())) {
    const TestRow& ended = status.ended.front();
    std::erase_if(tests, [&](const TestRow& row) {
      return !row.outcome || (row.number != 0 && row.number == ended.number);
    });
    tests.insert(tests.begin(), ended);
  }
  return tests;
}

bool DriveTests::can_read_history() {
  try {
    return keeper_.with_history([](drivetest::History&) {});
  } catch (const drivetest::HistoryError&) {
    return false;
  }
}

void DriveTests::tell_of_history() {
  if (const std::string fault = keeper_.history_fault(); !fault.empty())
    complain((keeper_.had_history() ? "not everything is kept in the history: "
                                    : "nothing is kept in the history: ") +
             fault);
  if (!history_) return;
  for (const std::string& note : history_->take_notes()) complain(note);
}

std::vector<ChosenDrive> each_once(std::vector<ChosenDrive> drives) {
  std::vector<ChosenDrive> once;
  for (ChosenDrive& drive : drives) {
    const bool is_there = std::ranges::any_of(once, [&](const ChosenDrive& other) {
      return other.reason.empty() && is_same_place(other.place, drive.place);
    });
    if (!drive.reason.empty() || !is_there) once.push_back(std::move(drive));
  }
  return once;
}

void at_once(std::size_t count, const std::function<void(std::size_t)>& work) {
  platform::at_once(count, kAtOnce, work);
}

}  // namespace cli
