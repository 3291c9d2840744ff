// A file system for SQLite that ends the process, or fails, at a chosen write, truncation,
// synchronisation or removal of a file. All else is done by the usual one. For tests.
#pragma once

#include <sqlite3.h>

namespace drivetest {

struct FaultPlan {
  enum class Kind {
    None,
    Kill,  // as a killed process: a write is done by half, all else not at all
    Fail,  // SQLITE_IOERR_WRITE and the like, once
    Full,  // SQLITE_FULL from then on
  };
  Kind kind = Kind::None;
  int at = 0;  // counted from one
};

inline constexpr int kKilled = 99;  // the exit status
inline constexpr const char* kFaultyFileSystem = "faulty";

// Registers the file system, and counts from the beginning.
void plan_faults(const FaultPlan& plan);

// How many of these calls there were.
int faulty_calls();

// Whether the write-ahead log holds what has not been synchronised since.
bool is_log_unsynchronised();

}  // namespace drivetest
