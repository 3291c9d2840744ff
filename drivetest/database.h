// A thin layer on SQLite: a connection, a query, a transaction, each one an owner. It knows nothing
// of drives. Values go in as bound parameters only; a statement's text is always a constant.
//
// One thread at a time. What fails throws DatabaseError, but for missing memory: std::bad_alloc.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace drivetest {

class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(int code, const std::string& words) : std::runtime_error(words), code_(code) {}

  int code() const noexcept { return code_; }  // SQLite's extended one
  // Whether the file holds something else than what was written to it.
  bool is_damage() const noexcept {
    return (code_ & 0xFF) == SQLITE_CORRUPT || (code_ & 0xFF) == SQLITE_NOTADB;
  }

 private:
  int code_;
};

// A statement with its values bound. Ends the statement when it goes, so that it holds no lock.
// Must not outlive its database.
class Query {
 public:
  explicit Query(sqlite3_stmt* statement) : statement_(statement) {}
  Query(Query&& other) noexcept : statement_(std::exchange(other.statement_, nullptr)) {}
  Query& operator=(Query&&) = delete;
  ~Query();

  // Binds the next parameter. Texts become what every reader can show: invalid UTF-8 and NUL, at
  // which the shell of SQLite would stop, become U+FFFD. A number beyond SQLite's is kept as text.
  void bind(std::string_view text);
  void bind(std::int64_t number);
  void bind(std::uint64_t number);
  void bind(int number) { bind(std::int64_t{number}); }
  void bind(unsigned number) { bind(std::int64_t{number}); }
  void bind(bool flag) { bind(std::int64_t{flag}); }
  void bind(std::nullopt_t);
  void bind(const std::string& text) { bind(std::string_view(text)); }
  void bind(const char* text) { bind(std::string_view(text)); }
  template <class Value>
  void bind(const std::optional<Value>& value) {
    if (value)
      bind(*value);
    else
      bind(std::nullopt);
  }

  bool step();            // whether there is a row
  void run();             // to the end
  void again() noexcept;  // from the start, and the parameters are to be bound anew

  // The columns of the row, one after the other. What is there but is no such value throws
  // DatabaseError as damage.
  std::string next_text();
  std::optional<std::string> next_optional_text();
  std::int64_t next_integer();
  std::optional<std::int64_t> next_optional_integer();
  std::optional<std::uint64_t> next_optional_unsigned();

 private:
  int next_column(int& type);
  [[noreturn]] static void throw_wrong_column();
  void check(int code);

  sqlite3_stmt* statement_;
  int parameters_ = 0;
  int columns_ = 0;
};

class Database {
 public:
  // Opens the file, which must be there and may not be a link. `file_system` is the name of a VFS
  // of SQLite; nullptr: the usual one. Waits for others at most `patience` each time.
  Database(const std::string& path, std::chrono::milliseconds patience,
           const char* file_system = nullptr);
  // Opens a file that nobody can write, and makes nothing beside it.
  static Database unwritable(const std::string& path);

  // The statement is kept for the next time. Its text has to stay where it is (a literal), and one
  // text must not be queried again before the last query of it has gone.
  template <class... Values>
  Query query(std::string_view sql, const Values&... values) {
    Query query(kept(sql));
    (query.bind(values), ...);
    return query;
  }
  template <class... Values>
  void run(std::string_view sql, const Values&... values) {
    query(sql, values...).run();
  }
  void run_script(const std::string& sql);  // several statements, without parameters

  std::int64_t changes() const;            // rows that the last statement has changed
  std::int64_t last_number() const;        // of the row that was inserted last
  std::vector<std::string> texts() const;  // of the statements that are kept
  void leave_files_alone() noexcept;       // from now on closing writes nothing into them
  bool is_in_transaction() const;

 private:
  struct Closer {
    void operator()(sqlite3* connection) const noexcept { sqlite3_close_v2(connection); }
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };
  Database() = default;
  void open(const std::string& name, int flags, const char* file_system);
  sqlite3_stmt* kept(std::string_view sql);

  std::unique_ptr<sqlite3, Closer> connection_;
  std::unordered_map<std::string_view, std::unique_ptr<sqlite3_stmt, Finalizer>> statements_;
};

// Writes of one transaction: all or, unless it was committed, nothing. Waits until no other
// connection writes.
class Transaction {
 public:
  explicit Transaction(Database& database, std::string_view begin = "BEGIN IMMEDIATE")
      : database_(database) {
    database.run(begin);
  }
  Transaction(const Transaction&) = delete;
  ~Transaction();

  // When it returns, the disk has what was written.
  void commit() { database_.run("COMMIT"); }

 private:
  Database& database_;
};

}  // namespace drivetest
