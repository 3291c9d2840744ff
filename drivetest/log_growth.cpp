#include "drivetest/log_growth.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include "drivetest/ata_logs.h"

namespace drivetest {

namespace {

using Log = std::vector<LogEntry>;

bool is_running(const LogEntry& entry) { return entry.result_code == kRunningCode; }

// How many rows tools show of a full log: SCSI and NVMe 20, of which some bridges let 18 or 19
// through, ATA 21, or 19 and 25 of the extended one.
bool may_be_full(const Log& log) {
  constexpr std::array<std::size_t, 5> kSizes = {18, 19, 20, 21, 25};
  return std::find(kSizes.begin(), kSizes.end(), log.size()) != kSizes.end();
}

// Whether the log now is that of before under so many new rows. A log that was not full and is not
// now loses none.
bool continues(const Log& before, const Log& now, std::size_t added) {
  const std::size_t rest = now.size() - added;
  if (rest > before.size()) return false;
  const bool has_lost = rest < before.size();
  if (has_lost && (now.size() < before.size() || (now.size() > before.size() && !may_be_full(now))))
    return false;
  return std::equal(now.begin() + static_cast<std::ptrdiff_t>(added), now.end(), before.begin(),
                    is_same_test);
}

// How many rows may have been added; every number that fits, the smallest first.
std::vector<std::size_t> fitting(const Log& before, const Log& now) {
  std::vector<std::size_t> numbers;
  for (std::size_t added = 0; added <= now.size(); ++added)
    if (continues(before, now, added)) numbers.push_back(added);
  return numbers;
}

void add_fitting(std::vector<std::size_t>& numbers, const Log& before, const Log& now) {
  const std::vector<std::size_t> others = fitting(before, now);
  // The log may always have been replaced as a whole, so this case is not counted.
  std::copy_if(others.begin(), others.end(), std::back_inserter(numbers),
               [&](std::size_t number) { return number < now.size(); });
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

// Hours are 16 bits wide in ATA's log, whatever the drive's counter of power-on hours has.
constexpr std::uint64_t kWrap = 1U << 16;
// SCSI's stay there instead.
constexpr std::uint64_t kLastScsiHour = kWrap - 1;

bool can_have_ended_at(const OwnTest& test, std::uint64_t hours) {
  if (!test.hours_at_start) return false;
  const std::uint64_t begin = *test.hours_at_start;
  switch (test.protocol) {
    case Protocol::Nvme:
      return hours >= begin && hours - begin <= test.most_hours;
    case Protocol::Scsi:
      if (hours == kLastScsiHour && begin + test.most_hours >= kLastScsiHour) return true;
      [[fallthrough]];
    default:
      return (hours - begin) % kWrap <= test.most_hours;
  }
}

// An hour between the start of the test and now is one of the counter that told both. Logs of which
// the clock is another one tell other hours.
bool has_ended_later(const OwnTest& test, std::uint64_t hours) {
  if (!test.hours_at_start || !test.hours_now || *test.hours_now < *test.hours_at_start)
    return false;
  const std::uint64_t begin = *test.hours_at_start;
  if (test.protocol == Protocol::Nvme && hours < begin) return false;
  const std::uint64_t after =
      test.protocol == Protocol::Nvme ? hours - begin : (hours - begin) % kWrap;
  return after > test.usual_hours && after <= *test.hours_now - begin;
}

}  // namespace

LogGrowth growth_from_unknown(const Log& now) {
  LogGrowth growth;
  std::remove_copy_if(now.begin(), now.end(), std::back_inserter(growth.added), is_running);
  growth.is_certain = false;
  growth.is_before_known = false;
  return growth;
}

LogGrowth growth_of(const Log& before, const Log& now) {
  // A running test's row gives way to that of its result, or is left behind for ever; then it is
  // among the rows that were added, and no result.
  const auto without_running = [](const Log& log) {
    return Log(log.begin() + (!log.empty() && is_running(log.front()) ? 1 : 0), log.end());
  };
  const Log old = without_running(before);
  const bool had_running = old.size() < before.size();
  // It comes to the top again when the test above it is over without an entry.
  const bool is_left_behind = had_running && !old.empty() && !now.empty() &&
                              is_running(now.front()) && now.front() == old.front();
  const Log rows = is_left_behind ? now : without_running(now);
  const bool has_running = rows.size() < now.size();

  LogGrowth growth;
  std::vector<std::size_t> numbers = fitting(old, rows);
  // A full log shows one row less while its first is the running test's, and that row again where
  // the test has left no entry.
  if (has_running && rows.size() + 1 == old.size())
    add_fitting(numbers, Log(old.begin(), old.end() - 1), rows);
  const std::size_t fewest = numbers.empty() ? rows.size() : numbers.front();
  if (had_running && rows.size() == before.size() && may_be_full(before))
    add_fitting(numbers, old, Log(rows.begin(), rows.end() - 1));
  growth.is_result_in_doubt = !numbers.empty() && numbers.front() < fewest && fewest < rows.size();
  const bool has_overlap = !numbers.empty() && (old.empty() || numbers.front() < rows.size());
  const std::size_t added = has_overlap ? numbers.front() : rows.size();
  // The log may always have been replaced as a whole. That is a doubt only if nothing else fits.
  const std::size_t doubts = has_overlap && !old.empty() && numbers.back() == rows.size() ? 1 : 0;
  growth.is_certain = has_overlap && (added == rows.size() || numbers.size() - doubts == 1);
  if (has_overlap && !growth.is_certain)
    growth.doubtful.assign(
        rows.begin() + static_cast<std::ptrdiff_t>(added),
        rows.begin() + static_cast<std::ptrdiff_t>(numbers[numbers.size() - 1 - doubts]));
  // Where nothing goes on, what stands from the first known row on is still not new: the log may
  // have been read in another way, which shows more old rows, or its rows have changed places.
  const auto first_old = has_overlap ? rows.begin() + static_cast<std::ptrdiff_t>(added)
                                     : std::find_first_of(rows.begin(), rows.end(), old.begin(),
                                                          old.end(), is_same_test);
  for (auto row = rows.begin(); row != first_old; ++row) {
    if (is_running(*row))
      growth.left = {row->kind, growth.added.size()};
    else
      growth.added.push_back(*row);
  }
  return growth;
}

OwnEntry own_entry(const OwnTest& test, const LogGrowth& growth) {
  // NVMe's log has the counter of power-on hours, which does not go back.
  const auto is_of_before = [&](const LogEntry& row) {
    return test.protocol == Protocol::Nvme && row.hours && test.hours_at_start &&
           *row.hours < *test.hours_at_start;
  };
  const auto is_of_its_kind = [&](const LogEntry& row) {
    return (!test.kind || row.kind == test.kind) && !is_of_before(row);
  };
  const auto oldest = std::find_if(growth.added.rbegin(), growth.added.rend(), is_of_its_kind);
  const auto is_left = [&](const LogGrowth::LeftRow& left) {
    const auto older = growth.added.begin() + static_cast<std::ptrdiff_t>(left.newer);
    return (!test.kind || left.kind == test.kind) &&
           std::none_of(older, growth.added.end(), is_of_its_kind);
  };
  if (test.may_be_lost && growth.left && is_left(*growth.left))
    return {std::nullopt, "the drive has left its entry as that of a running test", true};
  if (growth.is_certain) {
    if (oldest != growth.added.rend() && oldest->hours && has_ended_later(test, *oldest->hours))
      return {std::nullopt, "the drive has written entries of later tests only", true};
    if (oldest != growth.added.rend()) return {*oldest, "", true};
    if (std::any_of(growth.added.begin(), growth.added.end(), is_of_before))
      return {std::nullopt, "the drive has written entries of hours before the test began", false};
    return {std::nullopt,
            growth.added.empty() ? "the drive has written no entry in its log"
                                 : "the drive has written entries of other tests only",
            false};
  }
  OwnEntry none{std::nullopt, "the drive's log does not tell which entry is this test's",
                growth.is_before_known && oldest != growth.added.rend()};
  if (!growth.doubtful.empty()) {
    if (oldest == growth.added.rend() || (oldest->hours && has_ended_later(test, *oldest->hours)))
      return none;
    // If the hours fit this test, only a rival whose hours fit too counts.
    const bool tells_hours = oldest->hours && can_have_ended_at(test, *oldest->hours);
    const bool has_rival =
        std::any_of(growth.doubtful.begin(), growth.doubtful.end(), [&](const LogEntry& row) {
          return is_of_its_kind(row) && row.result_code != oldest->result_code &&
                 (!tells_hours || (row.hours && can_have_ended_at(test, *row.hours)));
        });
    return has_rival ? none : OwnEntry{*oldest, "", true};
  }
  // Rows may have come and gone since: the hours must tell which is the test's. What ended in the
  // hour of its start may have been there before.
  std::vector<LogEntry> fitting;
  for (const LogEntry& row : growth.added)
    if (is_of_its_kind(row) && row.hours && can_have_ended_at(test, *row.hours) &&
        !has_ended_later(test, *row.hours) &&
        (growth.is_before_known || (*row.hours - *test.hours_at_start) % kWrap > 0))
      fitting.push_back(row);
  const bool agree = std::all_of(fitting.begin(), fitting.end(), [&](const LogEntry& row) {
    return row.result_code == fitting.front().result_code;
  });
  if (!fitting.empty() && agree) return {fitting.back(), "", true};
  return none;
}

}  // namespace drivetest
