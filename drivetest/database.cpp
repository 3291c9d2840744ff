#include "drivetest/database.h"

#include <charconv>
#include <new>
#include <system_error>

#include "platform/utf8.h"

namespace drivetest {

namespace {

[[noreturn]] void throw_error(sqlite3* connection, int code) {
  if ((code & 0xFF) == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM) throw std::bad_alloc();
  const char* const words = connection ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
  throw DatabaseError(code, words);
}

// A text from a drive is short. More than this is no row of ours.
constexpr int kLongestValue = 1 << 20;

std::string cleaned(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const platform::Utf8Sequence sequence = platform::first_utf8(text);
    const bool is_kept = sequence.character != 0 && sequence.character != sequence.kNone;
    clean += is_kept ? text.substr(0, sequence.length) : "\xEF\xBF\xBD";
    text.remove_prefix(sequence.length);
  }
  return clean;
}

}  // namespace

void Query::check(int code) {
  if (code != SQLITE_OK) throw_error(sqlite3_db_handle(statement_), code);
}

Query::~Query() {
  if (statement_) again();
}

void Query::again() noexcept {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
  parameters_ = 0;
}

void Query::bind(std::string_view text) {
  const std::string clean = cleaned(text);
  check(sqlite3_bind_text64(statement_, ++parameters_, clean.data(), clean.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8));
}

void Query::bind(std::int64_t number) {
  check(sqlite3_bind_int64(statement_, ++parameters_, number));
}

void Query::bind(std::uint64_t number) {
  const auto as_signed = static_cast<std::int64_t>(number);
  if (as_signed >= 0)
    bind(as_signed);
  else
    bind(std::to_string(number));
}

void Query::bind(std::nullopt_t) { check(sqlite3_bind_null(statement_, ++parameters_)); }

bool Query::step() {
  columns_ = 0;
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  throw_error(sqlite3_db_handle(statement_), code);
}

void Query::run() {
  bool has_row = step();
  while (has_row) has_row = step();
}

void Query::throw_wrong_column() {
  throw DatabaseError(SQLITE_CORRUPT, "a row holds a value of another kind");
}

int Query::next_column(int& type) {
  type = sqlite3_column_type(statement_, columns_);
  return columns_++;
}

std::optional<std::string> Query::next_optional_text() {
  int type = 0;
  const int column = next_column(type);
  if (type == SQLITE_NULL) return std::nullopt;
  if (type != SQLITE_TEXT) throw_wrong_column();
  const void* const text = sqlite3_column_text(statement_, column);
  if (!text) throw std::bad_alloc();
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  return cleaned({static_cast<const char*>(text), size});
}

std::string Query::next_text() {
  std::optional<std::string> text = next_optional_text();
  if (!text) throw_wrong_column();
  return *std::move(text);
}

std::optional<std::int64_t> Query::next_optional_integer() {
  int type = 0;
  const int column = next_column(type);
  if (type == SQLITE_NULL) return std::nullopt;
  if (type != SQLITE_INTEGER) throw_wrong_column();
  return sqlite3_column_int64(statement_, column);
}

std::int64_t Query::next_integer() {
  const std::optional<std::int64_t> number = next_optional_integer();
  if (!number) throw_wrong_column();
  return *number;
}

std::optional<std::uint64_t> Query::next_optional_unsigned() {
  if (sqlite3_column_type(statement_, columns_) != SQLITE_TEXT) {
    const std::optional<std::int64_t> number = next_optional_integer();
    if (number && *number < 0) throw_wrong_column();
    return number;
  }
  const std::string text = next_text();
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) throw_wrong_column();
  return number;
}

Database::Database(const std::string& path, std::chrono::milliseconds patience,
                   const char* file_system) {
  open(path, SQLITE_OPEN_READWRITE, file_system);
  sqlite3_busy_timeout(connection_.get(), static_cast<int>(patience.count()));
}

Database Database::unwritable(const std::string& path) {
  std::string name = "file:";
  for (const char letter : path) {
    // Some mean something in such a name.
    switch (letter) {
      case '%':
        name += "%25";
        break;
      case '?':
        name += "%3F";
        break;
      case '#':
        name += "%23";
        break;
      default:
        name += letter;
    }
  }
  Database database;
  database.open(name + "?immutable=1", SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
  return database;
}

void Database::open(const std::string& name, int flags, const char* file_system) {
  sqlite3* connection = nullptr;
  const int code = sqlite3_open_v2(
      name.c_str(), &connection,
      flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE, file_system);
  connection_.reset(connection);
  if (code != SQLITE_OK) throw_error(connection, code);
  // What somebody has put into the file must not do more than be read.
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, kLongestValue);
  // Not where the environment says that temporary files are to be.
  run_script("PRAGMA temp_store = MEMORY; PRAGMA cell_size_check = ON");
}

sqlite3_stmt* Database::kept(std::string_view sql) {
  auto& statement = statements_[sql];
  if (statement) return statement.get();
  sqlite3_stmt* made = nullptr;
  const int code = sqlite3_prepare_v3(connection_.get(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &made, nullptr);
  if (code != SQLITE_OK) throw_error(connection_.get(), code);
  statement.reset(made);
  return made;
}

void Database::run_script(const std::string& sql) {
  const int code = sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) throw_error(connection_.get(), code);
}

std::int64_t Database::changes() const { return sqlite3_changes64(connection_.get()); }

std::int64_t Database::last_number() const { return sqlite3_last_insert_rowid(connection_.get()); }

void Database::leave_files_alone() noexcept {
  sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

std::vector<std::string> Database::texts() const {
  std::vector<std::string> texts;
  for (const auto& one : statements_) texts.emplace_back(one.first);
  return texts;
}

bool Database::is_in_transaction() const { return sqlite3_get_autocommit(connection_.get()) == 0; }

Transaction::~Transaction() {
  // SQLite itself has ended the transaction after some failures.
  if (!database_.is_in_transaction()) return;
  try {
    database_.run("ROLLBACK");
  } catch (...) {
    // What could not be written is not kept either: nothing was committed.
  }
}

}  // namespace drivetest
