#include "drivetest/history.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

#include "drivetest/database.h"
#include "drivetest/drive_names.h"
#include "drivetest/history_folder.h"
#include "drivetest/history_rows.h"
#include "drivetest/time_text.h"

namespace drivetest {

namespace {

std::string new_id() {
  std::array<unsigned char, 16> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
    throw HistoryError(HistoryFault::Broken, "the kernel gives no random numbers");
  std::string id;
  for (const unsigned char byte : bytes) {
    id += "0123456789abcdef"[byte >> 4];
    id += "0123456789abcdef"[byte & 0xF];
  }
  return id;
}

std::optional<std::int64_t> number_of(Query query) {
  if (!query.step()) return std::nullopt;
  return query.next_optional_integer();
}

std::vector<KeptTest> tests_of(Database& database, Query numbers) {
  std::vector<KeptTest> tests;
  while (numbers.step()) {
    const std::optional<std::int64_t> number = numbers.next_optional_integer();
    if (!number) continue;  // a drive without tests
    tests.push_back(read_known_test(database, *number));
  }
  return tests;
}

// The newest first.
std::vector<KeptTest> newest_of(Database& database, std::int64_t drive, std::size_t limit) {
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  return tests_of(
      database,
      database.query("SELECT number FROM tests WHERE drive = ?"
                     " ORDER BY recorded DESC, number DESC LIMIT ?",
                     drive, static_cast<std::int64_t>(std::min<std::size_t>(limit, kMost))));
}

}  // namespace

Time History::next_recorded(std::int64_t drive) {
  const Time now = options_.clock();
  return std::max(now, last_recorded(*database_, drive).value_or(now));
}

TestRow History::completed(const Drive& drive, TestRow row) const {
  row.id = new_id();
  row.machine_id = options_.host.machine_id;
  row.host_name = options_.host.name;
  if (row.drive.empty()) row.drive = drive.identity();
  return row;
}

History::Begun History::begin(const Drive& drive, TestRow row) {
  row = completed(drive, std::move(row));
  row.outcome.reset();
  Begun begun;
  write([&] {
    begun = {};
    const std::int64_t number = keep_drive(*database_, {drive, row});
    if (const auto running = running_number(*database_, number)) {
      begun.running = read_known_test(*database_, *running);
      return;
    }
    row.recorded = next_recorded(number);
    begun.number = insert_test(*database_, number, row);
  });
  return begun;
}

bool History::withdraw(std::int64_t number, bool also_seen) {
  bool is_done = false;
  write([&] {
    database_->run(
        "DELETE FROM tests WHERE number = ? AND (? OR looked IS NULL) AND outcome IS NULL", number,
        also_seen);
    is_done = database_->changes() > 0;
  });
  return is_done;
}

platform::Descriptor History::mark_starting(const TestRow& row) {
  return folder_->mark_starting(row.id);
}

bool History::update(const TestRow& row) {
  bool is_done = false;
  write([&] { is_done = update_test(*database_, row); });
  return is_done;
}

void History::explain(const TestRow& row) {
  write([&] {
    database_->run("UPDATE tests SET cause = ? WHERE number = ? AND outcome IS NOT NULL", row.cause,
                   row.number);
  });
}

void History::recognise(const Drive& drive) {
  const std::vector<std::string> former = former_identities(drive);
  if (former.empty() && !drive.shares_identity) return;
  const std::string& machine_id = options_.host.machine_id;
  bool is_needed = false;
  read([&] {
    is_needed = known_before_apart(*database_, machine_id, drive).has_value() ||
                std::ranges::any_of(former, [&](const std::string& identity) {
                  return find_drive(*database_, machine_id, identity).has_value();
                });
  });
  if (!is_needed) return;
  write([&] {
    for (const std::string& identity : former)
      name_drive(*database_, machine_id, identity, drive, options_.clock());
    if (const auto claimed = known_before_apart(*database_, machine_id, drive))
      know_apart(*database_, machine_id, *claimed, drive.identity(), options_.clock());
  });
}

std::string History::name_of(const Drive& drive) {
  std::string name;
  read([&] {
    name.clear();
    const auto number = find_named(*database_, options_.host.machine_id, drive);
    if (!number) return;
    Query query = database_->query("SELECT world_wide_name FROM drives WHERE number = ?", *number);
    if (query.step()) name = query.next_text();
  });
  return name;
}

bool History::is_known_apart(const Drive& drive) {
  bool is_apart = false;
  read([&] { is_apart = drivetest::is_known_apart(*database_, options_.host.machine_id, drive); });
  return is_apart;
}

std::string History::identity_of(const Drive& drive) {
  try {
    recognise(drive);
    return drive.identity();
  } catch (const HistoryError&) {
    const std::string& machine_id = options_.host.machine_id;
    std::string identity;
    read([&] {
      const auto is_known = [&](std::string_view name) {
        return find_drive(*database_, machine_id, name).has_value();
      };
      const std::string former = unnamed(drive).identity();
      identity = drive.identity();
      if (is_known(identity)) return;
      if (is_known(former))
        identity = former;
      else if (known_before_apart(*database_, machine_id, drive))
        identity = drive.claimed_identity();
    });
    return identity;
  }
}

DriveState History::state(std::string_view drive) {
  DriveState state;
  read([&] {
    const auto number = find_drive(*database_, options_.host.machine_id, drive);
    state = number ? read_state(*database_, *number) : DriveState{};
  });
  // A look has told of a test that has one.
  if (state.running && !state.running->looked)
    state.is_starting = folder_->is_marked_starting(state.running->id);
  return state;
}

bool History::change(const Drive& drive, const DriveState& before, const DriveChange& change) {
  const TestRow any = completed(
      drive, change.added.empty() ? change.running.value_or(TestRow{}) : change.added.front());
  bool is_done = false;
  write([&] {
    const std::int64_t number = keep_drive(*database_, {drive, any});
    DriveState now = read_state(*database_, number);
    now.is_starting = before.is_starting;
    is_done = now == before;
    if (!is_done) return;
    if (change.running) update_test(*database_, *change.running);
    for (const TestRow& added : change.added) {
      TestRow row = completed(drive, added);
      row.recorded = next_recorded(number);
      insert_test(*database_, number, row);
    }
    if (change.log) keep_log_seen(*database_, number, *change.log, options_.clock());
    if (change.running || !change.added.empty() || (change.log && change.log != before.log))
      database_->run(
          "UPDATE drives SET changed = (SELECT max(changed) FROM drives) + 1"
          " WHERE number = ?",
          number);
  });
  return is_done;
}

std::int64_t History::changes() {
  std::int64_t number = 0;
  read([&] {
    Query query = database_->query("SELECT coalesce(max(changed), 0) FROM drives");
    query.step();
    number = query.next_integer();
  });
  return number;
}

std::vector<KeptTest> History::running() {
  std::vector<KeptTest> tests;
  read([&] {
    // Without the name SQLite prefers to read all rows in their order.
    tests = tests_of(*database_, database_->query("SELECT number FROM tests INDEXED BY"
                                                  " one_running_test_of_a_drive"
                                                  " WHERE outcome IS NULL"));
  });
  std::erase_if(
      tests, [&](const KeptTest& test) { return test.row.machine_id != options_.host.machine_id; });
  return tests;
}

std::optional<KeptTest> History::running(std::string_view drive) {
  std::optional<KeptTest> test;
  read([&] {
    test.reset();
    const auto known = find_drive(*database_, options_.host.machine_id, drive);
    const auto number = known ? running_number(*database_, *known) : std::nullopt;
    if (number) test = read_known_test(*database_, *number);
  });
  return test;
}

std::vector<KnownDrive> History::drives() {
  std::vector<KnownDrive> drives;
  read([&] { drives = read_drives(*database_, options_.host.machine_id); });
  return drives;
}

std::vector<KeptTest> History::last_of_each_drive() {
  std::vector<KeptTest> tests;
  read([&] {
    tests = tests_of(*database_,
                     database_->query("SELECT (SELECT tests.number FROM tests WHERE tests.drive ="
                                      " drives.number ORDER BY recorded DESC, tests.number DESC"
                                      " LIMIT 1) FROM drives ORDER BY drives.number"));
  });
  return tests;
}

std::vector<KeptTest> History::of_drive(std::string_view drive, std::size_t limit) {
  std::vector<KeptTest> tests;
  read([&] {
    tests.clear();
    const auto known = find_drive(*database_, options_.host.machine_id, drive);
    if (known) tests = newest_of(*database_, *known, limit);
  });
  return tests;
}

std::vector<KeptTest> History::of_drives_named(std::string_view name, std::size_t limit) {
  std::vector<KeptTest> tests;
  if (name.empty()) return tests;
  read([&] {
    tests.clear();
    Query drives = database_->query(
        "SELECT number FROM drives WHERE serial_number = ? OR world_wide_name = ?", name, name);
    while (drives.step()) {
      auto found = newest_of(*database_, drives.next_integer(), limit);
      std::move(found.begin(), found.end(), std::back_inserter(tests));
    }
  });
  return tests;
}

std::vector<KeptTest> History::at_device(std::string_view device) {
  std::vector<KeptTest> tests;
  read([&] {
    tests = tests_of(
        *database_,
        database_->query("SELECT number FROM tests WHERE device = ? ORDER BY number", device));
  });
  return tests;
}

std::optional<KeptTest> History::find(std::int64_t number) {
  std::optional<KeptTest> test;
  read([&] { test = read_test(*database_, number); });
  return test;
}

void History::each(const std::function<void(const KeptTest&)>& visit) {
  std::int64_t shown = 0;  // is not shown again where the file turns out to be damaged
  read([&] {
    Query numbers =
        database_->query("SELECT number FROM tests WHERE number > ? ORDER BY number", shown);
    while (numbers.step()) {
      const KeptTest test = read_known_test(*database_, numbers.next_integer());
      shown = test.row.number;
      visit(test);
    }
  });
}

std::size_t History::forget_before(Time time) {
  std::size_t forgotten = 0;
  write([&] {
    database_->run(
        "DELETE FROM tests WHERE outcome IS NOT NULL AND coalesce(ended, started, recorded) < ?",
        time_text(time));
    forgotten = static_cast<std::size_t>(database_->changes());
  });
  return forgotten;
}

History::Import History::import(const KeptTest& test) {
  Import what = Import::Added;
  const Drive imported = kept_drive(test);
  const auto take = [&] {
    if (is_named_by_namespace(imported) && imported.identity() == test.row.drive)
      name_drive(*database_, test.row.machine_id, unnamed(imported).identity(), imported,
                 options_.clock());
    const auto known =
        number_of(database_->query("SELECT number FROM tests WHERE id = ?", test.row.id));
    if (!known) {
      auto drive = find_drive(*database_, test.row.machine_id, test.row.drive);
      if (!drive) drive = find_named(*database_, test.row.machine_id, imported);
      if (!drive) drive = keep_drive(*database_, test);
      if (!test.row.outcome && running_number(*database_, *drive)) return Import::DriveIsBusy;
      insert_test(*database_, *drive, test.row);
      return Import::Added;
    }
    TestRow row = test.row;
    row.number = *known;
    std::optional<KeptTest> here = read_test(*database_, *known);
    if (here && is_apart_since(*here, test)) {
      const auto claimed = find_drive(*database_, row.machine_id, here->row.drive);
      know_apart(*database_, row.machine_id, claimed.value(), row.drive, options_.clock());
      here = read_test(*database_, *known);
    }
    if (here && is_former_identity(row.drive, *here)) row.drive = here->row.drive;
    if (!here || here->row.drive != row.drive || here->row.machine_id != row.machine_id)
      return Import::Different;
    if (!row.outcome || here->row == row) return Import::Unchanged;
    return update_test(*database_, row) ? Import::Ended : Import::Different;
  };
  write([&] { what = take(); });
  return what;
}

}  // namespace drivetest
