#include "drivetest/history_rows.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>
#include <utility>

#include "drivetest/time_text.h"

namespace drivetest {

namespace {

// The file says something that cannot be true. Its reader takes that for damage.
[[noreturn]] void throw_unreadable(const std::string& words) {
  throw DatabaseError(SQLITE_CORRUPT, words);
}

std::optional<std::string> text_of(const std::optional<Time>& time) {
  if (!time) return std::nullopt;
  return time_text(*time);
}

template <class Value>
std::optional<std::string_view> name_of_optional(const std::optional<Value>& value) {
  if (!value) return std::nullopt;
  return name_of(*value);
}

template <class Reader>
auto read_name(const std::string& name, Reader read) {
  auto value = read(name);
  if (!value) throw_unreadable("it says '" + name + "'");
  return *value;
}

template <class Reader>
auto next_optional_name(Query& query, Reader read) -> decltype(read({})) {
  const std::optional<std::string> name = query.next_optional_text();
  if (!name) return std::nullopt;
  return read_name(*name, read);
}

std::optional<Time> next_optional_time(Query& query) {
  return next_optional_name(query, time_from_text);
}

template <class Number>
std::optional<Number> next_optional_small(Query& query) {
  const std::optional<std::int64_t> number = query.next_optional_integer();
  if (!number) return std::nullopt;
  if (!std::in_range<Number>(*number)) throw_unreadable("it says " + std::to_string(*number));
  return static_cast<Number>(*number);
}

template <class Number>
Number next_small(Query& query) {
  const std::optional<Number> number = next_optional_small<Number>(query);
  if (!number) throw_unreadable("it lacks a number");
  return *number;
}

std::string joined(const std::vector<unsigned>& numbers) {
  std::string text;
  for (const unsigned number : numbers) text += (text.empty() ? "" : " ") + std::to_string(number);
  return text;
}

std::vector<unsigned> divided(const std::string& text) {
  std::vector<unsigned> numbers;
  const char* place = text.data();
  const char* const end = place + text.size();
  while (place != end) {
    unsigned number = 0;
    const auto [behind, error] = std::from_chars(place, end, number);
    if (error != std::errc() || (behind != end && *behind != ' '))
      throw_unreadable("it says '" + text + "'");
    numbers.push_back(number);
    place = behind == end ? end : behind + 1;
  }
  return numbers;
}

// The columns from protocol to is_rotational.
Drive next_drive(Query& query) {
  Drive drive;
  drive.protocol = read_name(query.next_text(), protocol_named);
  drive.model = query.next_text();
  drive.serial_number = query.next_text();
  drive.firmware = query.next_text();
  drive.world_wide_name = query.next_text();
  drive.size = query.next_optional_unsigned();
  const std::optional<std::int64_t> is_rotational = query.next_optional_integer();
  if (is_rotational) drive.is_rotational = *is_rotational != 0;
  return drive;
}

std::vector<LogEntry> read_log_seen(Database& database, std::int64_t drive) {
  Query query = database.query(
      "SELECT test_code, kind, result_code, remaining_percent, hours, first_bad_block, segment, "
      "namespace_id, error_codes FROM log_seen WHERE drive = ? ORDER BY position",
      drive);
  std::vector<LogEntry> log;
  while (query.step()) {
    LogEntry& entry = log.emplace_back();
    entry.test_code = next_small<int>(query);
    entry.kind = next_optional_name(query, test_kind_named);
    entry.result_code = next_small<int>(query);
    entry.remaining_percent = next_optional_small<unsigned>(query);
    entry.hours = query.next_optional_unsigned();
    entry.first_bad_block = query.next_optional_unsigned();
    entry.segment = next_optional_small<unsigned>(query);
    entry.namespace_id = query.next_optional_integer();
    entry.error_codes = divided(query.next_text());
  }
  return log;
}

// The newest of them: no log that is read has more entries, and a file may bring any number of
// tests.
std::vector<TestRow> read_with_entry(Database& database, std::int64_t drive) {
  constexpr std::int64_t kMost = 100;
  Query query = database.query(
      "SELECT number FROM tests WHERE drive = ? AND result_code IS NOT NULL AND hours IS NOT NULL"
      " ORDER BY recorded DESC, number DESC LIMIT ?",
      drive, kMost);
  std::vector<TestRow> rows;
  while (query.step()) rows.push_back(read_known_test(database, query.next_integer()).row);
  std::reverse(rows.begin(), rows.end());
  return rows;
}

}  // namespace

std::optional<std::int64_t> find_drive(Database& database, std::string_view machine_id,
                                       std::string_view identity) {
  Query query = database.query("SELECT number FROM drives WHERE machine_id = ? AND identity = ?",
                               machine_id, identity);
  if (!query.step()) return std::nullopt;
  return query.next_integer();
}

std::int64_t keep_drive(Database& database, const KeptTest& test) {
  const Drive& drive = test.drive;
  Query query = database.query(
      "INSERT INTO drives (machine_id, identity, protocol, model, serial_number, firmware,"
      " world_wide_name, size, is_rotational) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"
      " ON CONFLICT (machine_id, identity) DO UPDATE SET"
      " protocol = iif(excluded.protocol = 'unknown', protocol, excluded.protocol),"
      " model = iif(excluded.model = '', model, excluded.model),"
      " serial_number = iif(excluded.serial_number = '', serial_number, excluded.serial_number),"
      " firmware = iif(excluded.firmware = '', firmware, excluded.firmware),"
      " world_wide_name ="
      " iif(excluded.world_wide_name = '', world_wide_name, excluded.world_wide_name),"
      " size = coalesce(excluded.size, size),"
      " is_rotational = coalesce(excluded.is_rotational, is_rotational) RETURNING number",
      test.row.machine_id, test.row.drive, name_of(drive.protocol), drive.model,
      drive.serial_number, drive.firmware, drive.world_wide_name, drive.size, drive.is_rotational);
  query.step();
  const std::int64_t number = query.next_integer();
  query.run();
  return number;
}

std::int64_t insert_test(Database& database, std::int64_t drive, const TestRow& row) {
  database.run(
      "INSERT INTO tests (id, drive, host_name, device, device_type, source, kind, test_code,"
      " recorded, started, ended, looked, remaining_percent, progressed, outcome, cause,"
      " result_code, first_bad_block, segment, hours, hours_at_start, power_cycles_at_start)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      row.id, drive, row.host_name, row.place.device, row.place.type, name_of(row.source),
      name_of_optional(row.kind), row.test_code, time_text(row.recorded), text_of(row.started),
      text_of(row.ended), text_of(row.looked), row.remaining_percent, text_of(row.progressed),
      name_of_optional(row.outcome), row.cause, row.result_code, row.first_bad_block, row.segment,
      row.hours, row.hours_at_start, row.power_cycles_at_start);
  return database.last_number();
}

bool update_test(Database& database, const TestRow& row) {
  database.run(
      "UPDATE tests SET kind = ?, test_code = ?, started = ?, ended = ?, looked = ?,"
      " remaining_percent = ?, progressed = ?, outcome = ?, cause = ?, result_code = ?,"
      " first_bad_block = ?, segment = ?, hours = ? WHERE number = ? AND outcome IS NULL",
      name_of_optional(row.kind), row.test_code, text_of(row.started), text_of(row.ended),
      text_of(row.looked), row.remaining_percent, text_of(row.progressed),
      name_of_optional(row.outcome), row.cause, row.result_code, row.first_bad_block, row.segment,
      row.hours, row.number);
  return database.changes() > 0;
}

std::optional<std::int64_t> running_number(Database& database, std::int64_t drive) {
  Query query =
      database.query("SELECT number FROM tests WHERE drive = ? AND outcome IS NULL", drive);
  if (!query.step()) return std::nullopt;
  return query.next_integer();
}

std::optional<Time> last_recorded(Database& database, std::int64_t drive) {
  Query query = database.query("SELECT max(recorded) FROM tests WHERE drive = ?", drive);
  query.step();
  return next_optional_time(query);
}

std::optional<KeptTest> read_test(Database& database, std::int64_t number) {
  Query query = database.query(
      "SELECT drives.machine_id, drives.identity, drives.protocol, drives.model,"
      " drives.serial_number, drives.firmware, drives.world_wide_name, drives.size,"
      " drives.is_rotational, tests.id, tests.host_name, tests.device, tests.device_type,"
      " tests.source, tests.kind, tests.test_code, tests.recorded, tests.started, tests.ended,"
      " tests.looked, tests.remaining_percent, tests.progressed, tests.outcome, tests.cause,"
      " tests.result_code, tests.first_bad_block, tests.segment, tests.hours, tests.hours_at_start,"
      " tests.power_cycles_at_start"
      " FROM tests JOIN drives ON drives.number = tests.drive WHERE tests.number = ?",
      number);
  if (!query.step()) return std::nullopt;
  KeptTest test;
  auto& [drive, row] = test;
  row.number = number;
  row.machine_id = query.next_text();
  row.drive = query.next_text();
  drive = next_drive(query);
  row.id = query.next_text();
  row.host_name = query.next_text();
  row.place.device = query.next_text();
  row.place.type = query.next_text();
  drive.place = row.place;
  row.source = read_name(query.next_text(), source_named);
  row.kind = next_optional_name(query, test_kind_named);
  row.test_code = next_small<int>(query);
  row.recorded = read_name(query.next_text(), time_from_text);
  row.started = next_optional_time(query);
  row.ended = next_optional_time(query);
  row.looked = next_optional_time(query);
  row.remaining_percent = next_optional_small<unsigned>(query);
  row.progressed = next_optional_time(query);
  row.outcome = next_optional_name(query, outcome_named);
  row.cause = query.next_text();
  row.result_code = next_optional_small<int>(query);
  row.first_bad_block = query.next_optional_unsigned();
  row.segment = next_optional_small<unsigned>(query);
  row.hours = query.next_optional_unsigned();
  row.hours_at_start = query.next_optional_unsigned();
  row.power_cycles_at_start = query.next_optional_unsigned();
  return test;
}

KeptTest read_known_test(Database& database, std::int64_t number) {
  std::optional<KeptTest> test = read_test(database, number);
  if (!test) throw_unreadable("an index has a test that is not there");
  return *std::move(test);
}

std::vector<KnownDrive> read_drives(Database& database, std::string_view machine_id) {
  Query query = database.query(
      "SELECT identity, protocol, model, serial_number, firmware, world_wide_name, size,"
      " is_rotational, looked FROM drives WHERE machine_id = ? ORDER BY number",
      machine_id);
  std::vector<KnownDrive> drives;
  while (query.step()) {
    KnownDrive& known = drives.emplace_back();
    known.identity = query.next_text();
    known.drive = next_drive(query);
    known.looked = next_optional_time(query);
  }
  return drives;
}

DriveState read_state(Database& database, std::int64_t drive) {
  DriveState state;
  {
    Query query = database.query("SELECT changed, looked FROM drives WHERE number = ?", drive);
    if (query.step()) {
      state.changed = query.next_integer();
      if (query.next_optional_text()) state.log = read_log_seen(database, drive);
    }
  }
  if (!state.log) state.kept = read_with_entry(database, drive);
  if (const auto number = running_number(database, drive))
    state.running = read_known_test(database, *number).row;
  return state;
}

void keep_log_seen(Database& database, std::int64_t drive, const std::vector<LogEntry>& log,
                   Time looked) {
  database.run("DELETE FROM log_seen WHERE drive = ?", drive);
  std::int64_t position = 0;
  for (const LogEntry& entry : log)
    database.run("INSERT INTO log_seen VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", drive, position++,
                 entry.test_code, name_of_optional(entry.kind), entry.result_code,
                 entry.remaining_percent, entry.hours, entry.first_bad_block, entry.segment,
                 entry.namespace_id, joined(entry.error_codes));
  database.run("UPDATE drives SET looked = ? WHERE number = ?", time_text(looked), drive);
}

}  // namespace drivetest
