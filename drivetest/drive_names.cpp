#include "drivetest/drive_names.h"

#include <utility>

#include "drivetest/history_rows.h"
#include "drivetest/joined_drives.h"

namespace drivetest {

namespace {

bool differ(const std::optional<std::uint64_t>& a, const std::optional<std::uint64_t>& b) {
  return a && b && *a != *b;
}

std::optional<std::int64_t> running_or_newest(Database& database, std::int64_t drive) {
  if (const auto running = running_number(database, drive)) return running;
  Query query = database.query(
      "SELECT number FROM tests WHERE drive = ? ORDER BY recorded DESC, number DESC LIMIT 1",
      drive);
  if (!query.step()) return std::nullopt;
  return query.next_integer();
}

}  // namespace

bool is_named_by_namespace(const Drive& drive) {
  const std::string_view name = drive.world_wide_name;
  return name.starts_with("eui-") || name.starts_with("nguid-");
}

Drive unnamed(Drive drive) {
  drive.world_wide_name.clear();
  return drive;
}

std::vector<std::string> former_identities(const Drive& drive) {
  std::vector<std::string> former;
  if (is_named_by_namespace(drive)) former.push_back(unnamed(drive).identity());
  const std::string identity = drive.identity();
  if (identity != drive.claimed_identity() && member_type(drive.place.type) != drive.place.type)
    former.push_back(identity + " -d " + drive.place.type);
  return former;
}

void name_drive(Database& database, std::string_view machine_id, const std::string& former,
                const Drive& drive, Time now) {
  const auto before = find_drive(database, machine_id, former);
  if (!before) return;
  if (const auto named = find_drive(database, machine_id, drive.identity()))
    return join_drives(database, *before, *named, now);
  database.run("UPDATE drives SET identity = ?, world_wide_name = ? WHERE number = ?",
               drive.identity(), drive.world_wide_name, *before);
}

bool is_known_apart(Database& database, std::string_view machine_id, const Drive& drive) {
  const std::string claimed = drive.claimed_identity();
  if (claimed.empty()) return false;
  // Identities with a place go on with "\nat ". '!' is the character after the blank, so the range
  // holds all of them, and the index finds it.
  return database
      .query("SELECT 1 FROM drives WHERE machine_id = ? AND identity >= ? AND identity < ? LIMIT 1",
             machine_id, claimed + "\nat ", claimed + "\nat!")
      .step();
}

std::optional<std::int64_t> known_before_apart(Database& database, std::string_view machine_id,
                                               const Drive& drive) {
  if (!drive.shares_identity) return std::nullopt;
  const auto claimed = find_drive(database, machine_id, drive.claimed_identity());
  const auto number = claimed ? running_or_newest(database, *claimed) : std::nullopt;
  if (!number) return std::nullopt;
  const KeptTest test = read_known_test(database, *number);
  const bool is_here =
      is_same_place(test.row.place, drive.place) && !differ(test.drive.size, drive.size);
  return is_here ? claimed : std::nullopt;
}

void know_apart(Database& database, std::string_view machine_id, std::int64_t claimed,
                std::string_view identity, Time now) {
  if (const auto apart = find_drive(database, machine_id, identity))
    return join_drives(database, claimed, *apart, now);
  database.run(
      "INSERT INTO drives (machine_id, identity, protocol, model, serial_number, firmware,"
      " world_wide_name, size, is_rotational, looked, changed)"
      " SELECT machine_id, ?, protocol, model, serial_number, firmware, world_wide_name, size,"
      " is_rotational, looked, changed FROM drives WHERE number = ?",
      identity, claimed);
  const std::int64_t apart = database.last_number();
  database.run(
      "INSERT INTO log_seen SELECT ?, position, test_code, kind, result_code, remaining_percent,"
      " hours, first_bad_block, segment, namespace_id, error_codes FROM log_seen WHERE drive = ?",
      apart, claimed);
  database.run("UPDATE tests SET drive = ? WHERE drive = ?", apart, claimed);
}

Drive kept_drive(const KeptTest& test) {
  Drive drive = test.drive;
  drive.shares_identity = test.row.drive != drive.claimed_identity();
  return drive;
}

bool is_apart_since(const KeptTest& here, const KeptTest& test) {
  return here.row.machine_id == test.row.machine_id &&
         here.row.drive == test.drive.claimed_identity() &&
         test.row.drive.starts_with(here.row.drive + "\nat ");
}

bool is_former_identity(std::string_view identity, const KeptTest& here) {
  const Drive drive = kept_drive(here);
  if (drive.shares_identity && drive.claimed_identity() == identity) return true;
  return is_named_by_namespace(drive) && unnamed(drive).identity() == identity;
}

std::optional<std::int64_t> find_named(Database& database, std::string_view machine_id,
                                       const Drive& drive) {
  if (!drive.world_wide_name.empty() || drive.shares_identity || drive.protocol != Protocol::Nvme ||
      drive.serial_number.empty())
    return std::nullopt;
  Query query = database.query(
      "SELECT number FROM drives WHERE machine_id = ? AND identity = world_wide_name"
      " AND (identity GLOB 'eui-*' OR identity GLOB 'nguid-*') AND model = ? AND serial_number = ?",
      machine_id, drive.model, drive.serial_number);
  if (!query.step()) return std::nullopt;
  const std::int64_t number = query.next_integer();
  return query.step() ? std::nullopt : std::optional(number);
}

}  // namespace drivetest
