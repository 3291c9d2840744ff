#include "drivetest/ata_logs.h"

#include <algorithm>
#include <span>

namespace drivetest {

namespace {

using Log = std::vector<LogEntry>;
using Rows = std::span<const LogEntry>;

constexpr std::uint64_t kNoBlock = 0xFFFFFFFF;  // as the standard log says it

// Whether both are the same as far as both go back.
bool agree(Rows one, Rows other) {
  const auto [of_one, of_other] =
      std::mismatch(one.begin(), one.end(), other.begin(), other.end(), is_same_test);
  return of_one == one.end() || of_other == other.end();
}

}  // namespace

bool is_same_block(const std::optional<std::uint64_t>& one,
                   const std::optional<std::uint64_t>& other) {
  const auto& [less, more] = std::minmax(one, other);
  return less == more || (more >= kNoBlock && (!less || *less == (*more & kNoBlock)));
}

bool is_same_test(const LogEntry& one, const LogEntry& other) {
  LogEntry same = one;
  same.first_bad_block = other.first_bad_block;
  return same == other && is_same_block(one.first_bad_block, other.first_bad_block);
}

std::vector<LogEntry> joined_logs(const Log& extended, const Log& standard) {
  if (!agree(extended, standard)) return standard.size() > extended.size() ? standard : extended;
  Log log = extended;
  const Rows older = Rows(standard).subspan(std::min(extended.size(), standard.size()));
  log.insert(log.end(), older.begin(), older.end());
  return log;
}

}  // namespace drivetest
