#include "drivetest/history_schema.h"

#include <array>
#include <string>

namespace drivetest {

namespace {

// "hvxh", by which the program "file" and we tell a history from other files of SQLite.
constexpr std::string_view kMark = "1752594536";

constexpr std::string_view kFirst = R"(
CREATE TABLE drives (
  number INTEGER PRIMARY KEY,
  machine_id TEXT NOT NULL,  -- of the machine that the drive was tested in, as in /etc/machine-id
  identity TEXT NOT NULL,    -- the world wide name, else model and serial number
  protocol TEXT NOT NULL CHECK (protocol IN ('ATA', 'SCSI', 'NVMe', 'unknown')),
  model TEXT NOT NULL,
  serial_number TEXT NOT NULL,
  firmware TEXT NOT NULL,
  world_wide_name TEXT NOT NULL,
  size ANY,                  -- bytes
  is_rotational INTEGER CHECK (is_rotational IN (0, 1)),
  looked TEXT CHECK (strftime('%Y-%m-%dT%H:%M:%SZ', looked) = looked),  -- at its log
  changed INTEGER NOT NULL DEFAULT 0,  -- the number of the last change, counted over all drives
  UNIQUE (machine_id, identity)
) STRICT;

-- Times are UTC, as in 2026-11-22T12:00:00Z. A number beyond 9223372036854775807 is a text.
CREATE TABLE tests (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  id TEXT NOT NULL UNIQUE,   -- of this test in every history
  drive INTEGER NOT NULL REFERENCES drives (number),
  host_name TEXT NOT NULL,
  device TEXT NOT NULL,      -- where the drive was: /dev/sda
  device_type TEXT NOT NULL, -- and its -d type of smartctl
  source TEXT NOT NULL CHECK (source IN ('hddtest', 'module', 'other')),  -- who began the test
  kind TEXT CHECK (kind IN ('short', 'long', 'conveyance')),
  test_code INTEGER NOT NULL,  -- the drive's own, 0: not known
  -- When the row was made; never before that of the drive's row before, also if the clock was.
  recorded TEXT NOT NULL CHECK (strftime('%Y-%m-%dT%H:%M:%SZ', recorded) = recorded),
  started TEXT CHECK (strftime('%Y-%m-%dT%H:%M:%SZ', started) = started),
  ended TEXT CHECK (strftime('%Y-%m-%dT%H:%M:%SZ', ended) = ended),
  looked TEXT CHECK (strftime('%Y-%m-%dT%H:%M:%SZ', looked) = looked),
  remaining_percent INTEGER CHECK (remaining_percent BETWEEN 0 AND 100),
  progressed TEXT CHECK (strftime('%Y-%m-%dT%H:%M:%SZ', progressed) = progressed),
  outcome TEXT CHECK (outcome IN ('passed', 'failed', 'aborted', 'unknown')),  -- null: it runs
  cause TEXT NOT NULL,
  result_code INTEGER,
  first_bad_block ANY,
  segment INTEGER,
  hours ANY,                 -- power-on hours of the drive's own entry
  hours_at_start ANY,
  power_cycles_at_start ANY  -- how often the drive had been switched on
) STRICT;
CREATE INDEX tests_of_a_drive ON tests (drive, recorded);
CREATE UNIQUE INDEX one_running_test_of_a_drive ON tests (drive) WHERE outcome IS NULL;

-- The drive's own log when it was last looked at, to tell which entries are new; position 0 is the
-- newest entry.
CREATE TABLE log_seen (
  drive INTEGER NOT NULL REFERENCES drives (number) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  test_code INTEGER NOT NULL,
  kind TEXT CHECK (kind IN ('short', 'long', 'conveyance')),
  result_code INTEGER NOT NULL,
  remaining_percent INTEGER,
  hours ANY,
  first_bad_block ANY,
  segment INTEGER,
  namespace_id INTEGER,
  error_codes TEXT NOT NULL,  -- numbers with blanks between
  PRIMARY KEY (drive, position)
) STRICT, WITHOUT ROWID;

-- What a person asks for. No duration where the clock went back.
CREATE VIEW history AS
SELECT tests.number, tests.drive, drives.machine_id, tests.host_name, tests.device, drives.model,
       drives.serial_number, tests.source, tests.kind, tests.started, tests.ended,
       CASE WHEN tests.ended >= tests.started
            THEN (unixepoch(tests.ended) - unixepoch(tests.started)) / 60 END AS minutes,
       coalesce(tests.outcome, 'running') AS outcome, tests.cause, tests.hours,
       tests.first_bad_block, tests.recorded
FROM tests JOIN drives ON drives.number = tests.drive;
)";

constexpr std::array<std::string_view, 1> kSteps = {kFirst};

constexpr std::string_view kEndedTests = "ended_tests_of_a_drive";
constexpr const char* kIndexes = R"(
CREATE INDEX IF NOT EXISTS ended_tests_of_a_drive ON tests (drive, outcome, kind, recorded)
  WHERE outcome IS NOT NULL;
)";

constexpr std::array<std::string_view, 6> kNames = {
    "drives", "tests", "tests_of_a_drive", "one_running_test_of_a_drive", "log_seen", "history"};

[[noreturn]] void throw_damage(const std::string& words) {
  throw DatabaseError(SQLITE_CORRUPT, words);
}

std::int64_t number_of(Database& database, std::string_view pragma) {
  Query query = database.query(pragma);
  return query.step() ? query.next_integer() : 0;
}

bool has(Database& database, std::string_view name) {
  return database.query("SELECT 1 FROM sqlite_schema WHERE name = ?", name).step();
}

}  // namespace

std::span<const std::string_view> schema_steps() { return kSteps; }

std::int64_t schema_version(Database& database) {
  return number_of(database, "PRAGMA user_version");
}

void bring_up_to_date(Database& database, std::span<const std::string_view> steps) {
  const std::int64_t version = schema_version(database);
  if (version < 0) throw_damage("the version of its tables is " + std::to_string(version));
  if (version == 0 && database.query("SELECT 1 FROM sqlite_schema").step())
    throw_damage("it has tables, but no version of them");
  for (auto done = static_cast<std::size_t>(version); done < steps.size(); ++done) {
    Transaction transaction(database);
    database.run_script(std::string(steps[done]));
    database.run_script("PRAGMA application_id = " + std::string(kMark) +
                        "; PRAGMA user_version = " + std::to_string(done + 1));
    transaction.commit();
  }
}

bool lacks_indexes(Database& database) { return !has(database, kEndedTests); }

void make_indexes(Database& database) {
  Transaction transaction(database);
  database.run_script(kIndexes);
  transaction.commit();
}

void expect_tables(Database& database) {
  const std::int64_t mark = number_of(database, "PRAGMA application_id");
  if (std::to_string(mark) != kMark) throw_damage("it is no history");
  for (const std::string_view name : kNames)
    if (!has(database, name)) throw_damage("it lacks " + std::string(name));
}

}  // namespace drivetest
