// The self-test log that smartctl prints.
#include "fuzz/target.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "engine/HDDTest.h"

namespace {

constexpr auto kUntouched = static_cast<HDDIAG_TEST_STATUS>(2);

// The status of the newest entry, or the value from before if the log has none.
HDDIAG_TEST_STATUS latest_status(THDDTest& engine, const std::string& text, bool has_entry) {
  HDDIAG_TEST_STATUS status = kUntouched;
  try {
    engine.GetLatestSelfTestStatus(text, status);
    fuzz::require(has_entry, "a log without entries has no status");
  } catch (const std::out_of_range&) {
    // No finding, since it is kept on purpose: reading a log without any entry throws.
    fuzz::require(!has_entry, "only a log without entries ends the reading");
  }
  return status;
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  static THDDTest& engine = *new THDDTest;
  const std::string text(input);
  const std::size_t log = text.find("Self-test log");
  const bool is_log = log != std::string::npos;
  const std::string entries = is_log ? text.substr(log) : "";
  const auto count = std::count(entries.begin(), entries.end(), '#');

  const HDDIAG_TEST_STATUS status = latest_status(engine, text, !is_log || count > 0);
  require(status == (is_log && count > 0 ? status : kUntouched), "only an entry has a status");
  require(!is_log || count == 0 || (status != kUntouched && status >= 0 && status <= 4),
          "an entry has one of the four statuses");
  require(engine.CountLogNumer(text) == count, "every # after the keyword is an entry");

  // No finding, since it is kept on purpose: with 20 entries or more, the splitting at two adjacent
  // # does not end.
  const bool ends = entries.find("##") == std::string::npos;
  if (ends || count < 20) {
    const bool same = engine.IsEntryFullAndSame(text);
    require(!same || count >= 20, "a log of few entries is not full");
  }
  if (!ends) return;
  std::vector<std::string> split{"emptied"};
  engine.SplitLogEntry(text, split);
  require(split.size() <= static_cast<std::size_t>(count), "no more entries than #");
  std::size_t at = 0;
  for (const std::string& entry : split) {
    at = entries.find(entry, at);
    require(!entry.empty() && at != std::string::npos, "entries are parts of the log, in order");
  }
}
