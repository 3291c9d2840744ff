#include "drivetest/drive_names.h"

#include <utility>

#include "drivetest/history_rows.h"
#include "drivetest/joined_drives.h"

namespace drivetest {

bool has_nguid(const Drive& drive) { return drive.world_wide_name.starts_with("nguid-"); }

Drive unnamed(Drive drive) {
  drive.world_wide_name.clear();
  return drive;
}

std::vector<std::string> former_identities(const Drive& drive) {
  std::vector<std::string> former;
  if (has_nguid(drive)) former.push_back(unnamed(drive).identity());
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

std::optional<KeptTest> running_before_apart(Database& database, std::string_view machine_id,
                                             const Drive& drive) {
  if (!drive.shares_identity) return std::nullopt;
  const auto claimed = find_drive(database, machine_id, drive.claimed_identity());
  const auto number = claimed ? running_number(database, *claimed) : std::nullopt;
  if (!number) return std::nullopt;
  KeptTest test = read_known_test(database, *number);
  return test.row.place.device == drive.place.device ? std::optional(std::move(test))
                                                     : std::nullopt;
}

void take_running(Database& database, const Drive& drive, KeptTest test, Time now) {
  const auto claimed = find_drive(database, test.row.machine_id, drive.claimed_identity()).value();
  const std::optional<std::vector<LogEntry>> log = read_state(database, claimed).log;
  test.drive = drive;
  test.row.drive = drive.identity();
  const std::int64_t apart = keep_drive(database, test);
  if (running_number(database, apart)) return;
  database.run("UPDATE tests SET drive = ? WHERE number = ?", apart, test.row.number);
  if (log) keep_log_seen(database, apart, *log, now);
}

Drive kept_drive(const KeptTest& test) {
  Drive drive = test.drive;
  drive.shares_identity = test.row.drive != drive.claimed_identity();
  return drive;
}

bool is_former_identity(std::string_view identity, const KeptTest& here) {
  const Drive drive = kept_drive(here);
  return has_nguid(drive) && unnamed(drive).identity() == identity;
}

std::optional<std::int64_t> find_named(Database& database, std::string_view machine_id,
                                       const Drive& drive) {
  if (!drive.world_wide_name.empty() || drive.shares_identity || drive.protocol != Protocol::Nvme ||
      drive.serial_number.empty())
    return std::nullopt;
  Query query = database.query(
      "SELECT number FROM drives WHERE machine_id = ? AND identity >= 'nguid-'"
      " AND identity < 'nguid.' AND identity = world_wide_name AND model = ? AND serial_number = ?",
      machine_id, drive.model, drive.serial_number);
  if (!query.step()) return std::nullopt;
  const std::int64_t number = query.next_integer();
  return query.step() ? std::nullopt : std::optional(number);
}

}  // namespace drivetest
