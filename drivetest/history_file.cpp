// The history as a file: opening it, what is wrong with it, and the frame of every call.
#include <algorithm>
#include <utility>

#include "drivetest/database.h"
#include "drivetest/history.h"
#include "drivetest/history_folder.h"
#include "drivetest/history_schema.h"

namespace drivetest {

namespace {

HistoryFault fault_of(const DatabaseError& error, const HistoryFolder& folder) {
  switch (error.code() & 0xFF) {
    case SQLITE_FULL:
      return HistoryFault::Full;
    case SQLITE_READONLY:
      return HistoryFault::ReadOnly;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return HistoryFault::Busy;
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return HistoryFault::NotPermitted;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return HistoryFault::Damaged;
    default:
      // Here SQLite gives most writes that found no room, or no right to write, the same name.
      if (folder.is_read_only()) return HistoryFault::ReadOnly;
      return folder.is_full() ? HistoryFault::Full : HistoryFault::Broken;
  }
}

std::string_view remedy_of(HistoryFault fault) {
  switch (fault) {
    case HistoryFault::Full:
      return "make room on its file system";
    case HistoryFault::ReadOnly:
      return "mount its file system for writing, or set HVX_STATE_DIR to another folder";
    case HistoryFault::Busy:
      return "other programs keep it busy: try again later";
    case HistoryFault::NotPermitted:
      return "root sees it";
    case HistoryFault::Damaged:
      return "try again, and move the file away if that does not help";
    default:
      return "see what the kernel says of its disk (dmesg), and whether it is full";
  }
}

[[noreturn]] void throw_fault(const DatabaseError& error, const HistoryFolder& folder) {
  const HistoryFault fault = fault_of(error, folder);
  throw HistoryError(fault, "the history in " + folder.file() + " cannot be used: " + error.what() +
                                "; " + std::string(remedy_of(fault)));
}

bool is_write_ahead(Database& database) {
  Query query = database.query("PRAGMA journal_mode");
  return query.step() && query.next_text() == "wal";
}

// Whether a look at all of the file finds something wrong.
bool is_damaged(Database& database) {
  try {
    Query query = database.query("PRAGMA integrity_check(1)");
    return !query.step() || query.next_text() != "ok";
  } catch (const DatabaseError& error) {
    // Where the tables' description is damaged it may say what SQLite does not understand.
    if (!error.is_damage() && error.code() != SQLITE_ERROR) throw;
    return true;
  }
}

// Where there is no room for them, or others write all the time, a later process makes them.
void make_missing_indexes(Database& database) {
  try {
    if (lacks_indexes(database)) make_indexes(database);
  } catch (const DatabaseError& error) {
    if (error.is_damage()) throw;
  }
}

void expect_not_newer(std::int64_t version, const HistoryFolder& folder) {
  const std::size_t known = schema_steps().size();
  if (std::cmp_less_equal(version, known)) return;
  throw HistoryError(HistoryFault::Newer,
                     folder.file() + " was written by a newer hddtest (version " +
                         std::to_string(version) + " of its tables, this one knows " +
                         std::to_string(known) +
                         "): upgrade hddtest, or set HVX_STATE_DIR to another folder");
}

}  // namespace

History::History(HistoryOptions options) : options_(std::move(options)) { open(); }

History::~History() = default;

const std::string& History::file() const { return folder_->file(); }

std::vector<std::string> History::take_notes() { return std::exchange(notes_, {}); }

// Nearly always the file is there and needs nothing but to be opened. A process that has to make,
// change or replace it does so alone.
void History::open() {
  database_.reset();
  folder_ = std::make_unique<HistoryFolder>(options_.folder);
  for (const bool is_exclusive : {false, true}) {
    const platform::Descriptor lock = folder_->lock(is_exclusive, options_.patience);
    if (open_locked(is_exclusive)) return;
  }
}

// Whether it could be opened with such a lock.
bool History::open_locked(bool is_exclusive) {
  if (folder_->is_read_only()) {
    open_unwritable();
    return true;
  }
  const bool has_changes_alone = folder_->has_changes_alone();
  if (!folder_->file_id() || has_changes_alone) {
    if (!is_exclusive) return false;
    if (has_changes_alone) set_aside("the file is missing or empty, its changes are there");
    folder_->make_file();
  }
  try {
    open_file();
    const std::span<const std::string_view> steps = schema_steps();
    const std::int64_t version = schema_version(*database_);
    expect_not_newer(version, *folder_);
    if (!std::cmp_equal(version, steps.size()) || !is_write_ahead(*database_)) {
      if (!is_exclusive) {
        database_.reset();
        return false;
      }
      database_->run("PRAGMA journal_mode = WAL");
      if (!is_write_ahead(*database_))
        throw DatabaseError(SQLITE_ERROR, "its file system cannot do write-ahead logs");
      bring_up_to_date(*database_, steps);
    }
    database_->run_script("PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON");
    expect_tables(*database_);
    make_missing_indexes(*database_);
  } catch (const DatabaseError& error) {
    if (!error.is_damage()) {
      database_.reset();
      throw_fault(error, *folder_);
    }
    if (database_) database_->leave_files_alone();
    if (is_exclusive) set_aside(error.what());
    database_.reset();
    return is_exclusive && open_locked(true);
  } catch (...) {
    database_.reset();
    throw;
  }
  return true;
}

// A disk that fails leaves a file system that is read-only, and that is when a history is wanted.
void History::open_unwritable() {
  const std::optional<HistoryFolder::FileId> id = folder_->file_id();
  if (!id || folder_->has_changes())
    throw HistoryError(
        HistoryFault::ReadOnly,
        "the file system of " + folder_->file() + " is read-only, and " +
            (id ? "changes stand beside the file that have to be written into it first: "
                : "there is no history yet: ") +
            std::string(remedy_of(HistoryFault::ReadOnly)));
  device_ = id->device;
  inode_ = id->number;
  try {
    database_.reset(new Database(Database::unwritable(folder_->file())));
    expect_not_newer(schema_version(*database_), *folder_);
    expect_tables(*database_);
  } catch (const DatabaseError& error) {
    database_.reset();
    throw_fault(error, *folder_);
  } catch (...) {
    database_.reset();
    throw;
  }
}

void History::open_file() {
  const std::optional<HistoryFolder::FileId> id = folder_->file_id();
  if (!id) throw HistoryError(HistoryFault::Broken, folder_->file() + " has gone: try again");
  device_ = id->device;
  inode_ = id->number;
  database_ = std::make_unique<Database>(folder_->file(), options_.patience, options_.file_system);
}

bool History::is_open_file_in_place() const {
  if (!database_) return false;
  const std::optional<HistoryFolder::FileId> id = folder_->file_id();
  return id && id->device == device_ && id->number == inode_;
}

void History::set_aside(const std::string& damage) {
  if (database_) database_->leave_files_alone();
  database_.reset();
  const std::string aside = folder_->set_aside(options_.clock());
  notes_.push_back(folder_->file() + " was damaged (" + damage + "): it is kept as " + aside +
                   ", and a new history was begun");
}

void History::begin_anew(const std::string& damage) {
  try {
    const platform::Descriptor lock = folder_->lock(true, options_.patience);
    if (is_open_file_in_place()) {
      if (!is_damaged(*database_))
        throw HistoryError(HistoryFault::Damaged,
                           "the history in " + folder_->file() + " could not be read (" + damage +
                               "), though a look at all of it finds nothing wrong: try again");
      set_aside(damage);
    }
  } catch (const DatabaseError& error) {
    throw_fault(error, *folder_);
  }
  open();
}

void History::guarded(const std::function<void()>& work) {
  for (bool is_first = true;; is_first = false) {
    try {
      if (!is_open_file_in_place()) open();
      work();
      return;
    } catch (const DatabaseError& error) {
      if (!error.is_damage() || !is_first) throw_fault(error, *folder_);
      begin_anew(error.what());
    }
  }
}

void History::read(const std::function<void()>& work) {
  if (is_together_) return work();
  guarded([&] {
    Transaction transaction(*database_, "BEGIN");
    work();
  });
}

// What is written into a file that somebody else sets aside at the same time would be lost: nobody
// does while this lock is held.
void History::write(const std::function<void()>& work) {
  if (is_together_) return work();
  guarded([&] {
    platform::Descriptor lock = folder_->lock(false, options_.patience);
    while (!is_open_file_in_place()) {
      lock.close();
      open();
      lock = folder_->lock(false, options_.patience);
    }
    Transaction transaction(*database_);
    work();
    transaction.commit();
  });
}

void History::together(const std::function<void()>& work) {
  write([&] {
    struct Together {
      bool& is_set;
      const bool before = std::exchange(is_set, true);
      ~Together() { is_set = before; }
    } together{is_together_};
    work();
  });
}

}  // namespace drivetest
