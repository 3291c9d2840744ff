#include "drivetest/history_check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "drivetest/database.h"
#include "drivetest/history_error.h"
#include "drivetest/history_folder.h"
#include "drivetest/history_schema.h"

namespace drivetest {

namespace {

using Result = HistoryCheck::Result;

// The folder is not there: whether it could be made.
HistoryCheck check_parent(const std::string& folder) {
  const std::filesystem::path parent = std::filesystem::absolute(folder).parent_path();
  if (faccessat(AT_FDCWD, parent.c_str(), W_OK | X_OK, AT_EACCESS) == 0)
    return {Result::NotThere, folder, "", ""};
  const int error = errno;
  const std::string words = parent.string() + ", where the history's folder belongs: " +
                            std::generic_category().message(error);
  if (error == EACCES) return {Result::Hidden, folder, words, "root makes it"};
  return {Result::Unusable, folder, words, ""};
}

struct Trouble {
  std::string words;
  std::string remedy;
};

// What is wrong with the tables; not set: nothing.
std::optional<Trouble> trouble_of(Database& database) {
  try {
    const std::int64_t version = schema_version(database);
    if (std::cmp_greater(version, schema_steps().size()))
      return Trouble{"it was written by a newer hddtest", "upgrade hddtest"};
    if (std::cmp_equal(version, schema_steps().size())) expect_tables(database);
    return std::nullopt;
  } catch (const DatabaseError& error) {
    if (error.is_damage()) database.leave_files_alone();
    throw;
  }
}

std::optional<Trouble> trouble_of(const std::string& file) {
  try {
    Database database(file, std::chrono::seconds(1));
    return trouble_of(database);
  } catch (const DatabaseError& error) {
    if (!error.is_damage()) return Trouble{error.what(), "try again later"};
    return Trouble{std::string("it is damaged (") + error.what() + ")",
                   "the next use keeps it aside by another name and begins a new one"};
  }
}

}  // namespace

HistoryCheck check_history(const std::string& folder) {
  struct stat status {};
  if (lstat(folder.c_str(), &status) != 0 && errno == ENOENT) return check_parent(folder);
  try {
    const HistoryFolder opened(folder);
    const auto unusable = [&](const std::string& words, const std::string& remedy) {
      return HistoryCheck{Result::Unusable, opened.file(), words, remedy};
    };
    const auto id = opened.file_id();
    if (opened.is_read_only())
      return unusable("its file system is read-only", "mount it for writing");
    if (opened.is_full()) return unusable("its file system is full", "make room on it");
    if (!id || id->size == 0) return {Result::NotThere, opened.file(), "", ""};
    if (const auto trouble = trouble_of(opened.file()))
      return unusable(trouble->words, trouble->remedy);
    return {Result::Sound, opened.file(), "", ""};
  } catch (const HistoryError& error) {
    const bool is_hidden = error.fault() == HistoryFault::NotPermitted;
    return {is_hidden ? Result::Hidden : Result::Unusable, folder, error.found(), error.remedy()};
  }
}

}  // namespace drivetest
