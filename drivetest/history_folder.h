// The folder that has the history's files: for its owner alone, and without links. Internal to the
// history.
//
// SQLite finds its file by name. So nobody but the owner may change names in the folder, and what
// is wrong with folder or file is told before SQLite opens anything.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "drivetest/test_row.h"
#include "platform/descriptor.h"

namespace drivetest {

class HistoryFolder {
 public:
  // Makes the folder where it is missing (its parent must be there). Throws HistoryError.
  explicit HistoryFolder(const std::string& path);

  const std::string& file() const { return file_; }

  // Held by those who write (shared), and alone by the process that puts another file into its
  // place. Ends with the process at the latest. Throws HistoryError if it takes longer than the
  // patience.
  platform::Descriptor lock(bool is_exclusive, std::chrono::milliseconds patience) const;

  // Says to all processes, for as long as it is open, that the process which has it is starting the
  // test of that id. Ends with the process, and does not depend on any clock. Without a descriptor
  // where the file system knows no such locks.
  platform::Descriptor mark_starting(const std::string& id) const;
  // Whether a process, this one or another, has marked it so.
  bool is_marked_starting(const std::string& id) const;

  struct FileId {
    dev_t device = 0;
    ino_t number = 0;
    off_t size = 0;

    bool is_same(const FileId& other) const {
      return device == other.device && number == other.number;
    }
  };
  // Of the history file; not set if there is none. Throws HistoryError for what is not safe.
  std::optional<FileId> file_id() const;

  // Whether the history file lacks changes that stand beside it.
  bool has_changes() const;
  bool is_full() const;
  bool is_read_only() const;

  // The following need the lock for oneself.

  void make_file() const;
  // Gives the file and what belongs to it a name of their own, and returns that.
  std::string set_aside(Time now) const;
  // Whether there are changes that a history file lacks which is missing or empty.
  bool has_changes_alone() const;

 private:
  bool has_bytes(const std::string& name) const;

  std::string path_;
  std::string file_;
  platform::Descriptor folder_;
};

}  // namespace drivetest
