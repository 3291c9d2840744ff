#include "drivetest/ata_logs.h"

#include <algorithm>
#include <span>

#include "drivetest/outcome.h"

namespace drivetest {

namespace {

using Log = std::vector<LogEntry>;
using Rows = std::span<const LogEntry>;

constexpr std::uint64_t kNoBlock = 0xFFFFFFFF;  // as the standard log says it

Rows ended(const Log& log) {
  const bool has_running = !log.empty() && log.front().result_code == kRunningCode;
  return Rows(log).subspan(has_running ? 1 : 0);
}

// Whether both are the same as far as both go back.
bool agree(Rows one, Rows other) {
  const auto [of_one, of_other] =
      std::mismatch(one.begin(), one.end(), other.begin(), other.end(), is_same_test);
  return of_one == one.end() || of_other == other.end();
}

bool is_one_ahead(Rows one, Rows other) {
  return one.size() > 1 && !other.empty() && agree(one.subspan(1), other);
}

// Hours have 16 bits, and a log may count them from any time: of two hours, the later one is that
// to which fewer lead.
bool is_newer(Rows one, Rows other) {
  constexpr std::uint64_t kHours = 1U << 16;
  if (one.empty() || other.empty() || !one.front().hours || !other.front().hours) return false;
  const std::uint64_t later = (*one.front().hours - *other.front().hours) % kHours;
  return later > 0 && later < kHours / 2;
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

// A test may end after smartctl has read the one log and before it reads the other, and some drives
// show a running test in one of them only.
std::vector<LogEntry> joined_logs(const Log& extended, const Log& standard) {
  const Rows of_extended = ended(extended);
  const Rows of_standard = ended(standard);
  const auto joined = [&](Rows newest, std::size_t in_both) {
    Log log(newest.begin(), newest.end());
    log.insert(log.end(), of_extended.begin(), of_extended.end());
    const Rows older = of_standard.subspan(std::min(in_both, of_standard.size()));
    log.insert(log.end(), older.begin(), older.end());
    return log;
  };
  const Rows extended_running = Rows(extended).first(extended.size() - of_extended.size());
  const Rows standard_running = Rows(standard).first(standard.size() - of_standard.size());
  if (agree(of_extended, of_standard))
    return joined(extended_running.empty() ? standard_running : extended_running,
                  of_extended.size());
  if (is_one_ahead(of_standard, of_extended))
    return joined(Rows(standard).first(standard_running.size() + 1), of_extended.size() + 1);
  if (is_one_ahead(of_extended, of_standard))
    return joined(extended_running, of_extended.size() - 1);
  if (is_newer(of_extended, of_standard)) return extended;
  if (is_newer(of_standard, of_extended)) return standard;
  return standard.size() > extended.size() ? standard : extended;
}

}  // namespace drivetest
