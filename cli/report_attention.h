// Which drives need somebody, and why. Pure functions over what is known of a drive.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "cli/report_drive.h"

namespace cli {

// The gravest first: so the page is ordered. From None on nobody has to do anything.
enum class Need {
  Failed,
  Gone,  // lately, and perhaps by itself
  Stalled,
  Unknown,
  Overdue,
  NeverTested,
  None,
  Untestable,  // has no self-test, and never had one that is kept
  Former,      // was taken out of the machine some time ago
};
inline constexpr std::size_t kNeeds = static_cast<std::size_t>(Need::Former) + 1;
constexpr bool is_needy(Need need) { return need < Need::None; }

// "failed", "no test known"; of None "in order".
std::string_view name_of(Need need);

struct Attention {
  Need need = Need::None;
  std::string words;  // a sentence or two for people; not escaped
};

// A drive is overdue as the alerts for fleets have it: its last long test passed longer ago than a
// month and some days, or its last short one longer than two weeks and a day, without a long one in
// that time; or neither is known to have passed.
inline constexpr std::chrono::days kLongOverdue{40};
inline constexpr std::chrono::days kShortOverdue{15};
// A drive that was not seen for so long has been taken out.
inline constexpr std::chrono::days kTakenOut{40};

// `now` is the time of the report; `told` the last time that its machine's history tells of, since
// a file may be older than the report.
Attention attention_of(const ReportedDrive& drive, drivetest::Time now, drivetest::Time told);

// "long test failed on 2026-11-19 at 08:12: read failure"; times are UTC. Not escaped.
std::string dated_test_text(const drivetest::TestRow& row);

// "2026-11-19", in UTC.
std::string date_text(drivetest::Time time);

}  // namespace cli
