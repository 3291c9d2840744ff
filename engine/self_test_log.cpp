#include "engine/self_test_log.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "engine/trace.h"
#include "platform/words.h"

namespace engine {
namespace {

constexpr std::size_t kNone = std::string::npos;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != kNone; }

}  // namespace

std::size_t find_self_test_log(const std::string& text) { return text.find("Self-test log"); }

std::string newest_entry(const std::string& text, std::size_t log) {
  const std::size_t begin = text.find('#', log);
  // Kept on purpose: this exception. The client gets a failed RunDiagnostic with its text, and the
  // run leaves no record.
  if (begin == kNone) throw std::out_of_range("the self-test log has no entry");
  const std::size_t end = text.find('#', begin + 1);
  return text.substr(begin, end - begin);
}

HDDIAG_TEST_STATUS classify_entry(std::string entry) {
  entry = platform::lower(std::move(entry));
  if (contains(entry, "in progress")) return HDDIAG_TEST_IN_PROGRESS;
  if (contains(entry, "aborted")) return HDDIAG_TEST_ABORTED;
  if (contains(entry, "interrupted")) return HDDIAG_TEST_ABORTED;
  if (contains(entry, "completed without error")) return HDDIAG_TEST_PASSED;
  if (contains(entry, "completed") && !contains(entry, "error") && !contains(entry, "fail")) {
    return HDDIAG_TEST_PASSED;
  }
  return HDDIAG_TEST_FAILED;
}

int count_entries(const std::string& text, std::size_t log) {
  // By find and not byte by byte, since counting would miss its goal otherwise (bench/table.py).
  int entries = 0;
  for (log = text.find('#', log); log != kNone; log = text.find('#', log + 1)) ++entries;
  return entries;
}

std::optional<FoundEntry> find_entry(std::string_view text, std::size_t position) {
  const std::size_t begin = text.find('#', position);
  if (begin == kNone) return std::nullopt;
  const std::size_t end = text.find('#', begin + 1);
  return FoundEntry{text.substr(begin, end - begin), end == kNone ? kNone : end - 1};
}

std::optional<std::string_view> entry_without_number(std::string_view entry) {
  if (entry.size() <= 3) return std::nullopt;
  return entry.substr(3);
}

bool is_log_full(const std::string& text, int entries) {
  const bool ata = contains(text, "Remaining") && contains(text, "LBA_of_first_error");
  return entries > (ata ? 20 : 19);
}

bool are_entries_same(const std::vector<std::string>& entries) {
  return !entries.empty() && std::all_of(entries.begin(), entries.end(), [&](const auto& entry) {
    return contains(entry, entries.front());
  });
}

}  // namespace engine

using engine::trace;

namespace {

// Where the log begins; npos, and a line about it, when the text has none.
std::size_t find_or_trace(const std::string& text) {
  const std::size_t log = engine::find_self_test_log(text);
  if (log == std::string::npos) trace("Can not find keyword (Self-test log)");
  return log;
}

}  // namespace

void THDDTest::GetLatestSelfTestStatus(const std::string& text, HDDIAG_TEST_STATUS& status) {
  trace("THDDTest::GetLatestSelfTestStatus -- Entering");
  if (const std::size_t log = find_or_trace(text); log != std::string::npos) {
    std::string entry = engine::newest_entry(text, log);
    trace("Latest log: ", entry);
    status = engine::classify_entry(std::move(entry));
  }
  trace("THDDTest::GetLatestSelfTestStatus -- Exiting");
}

int THDDTest::CountLogNumer(const std::string& text) {
  trace("THDDTest::CountLogNumer -- Entering");
  const std::size_t log = find_or_trace(text);
  const int entries = log == std::string::npos ? 0 : engine::count_entries(text, log);
  trace("THDDTest::CountLogNumer -- Exiting");
  return entries;
}

void THDDTest::SplitLogEntry(const std::string& text, std::vector<std::string>& entries) {
  trace("THDDTest::SplitLogEntry -- Entering");
  entries.clear();
  std::size_t position = find_or_trace(text);
  while (position != std::string::npos) {
    const auto entry = engine::find_entry(text, position);
    if (!entry) break;
    if (const auto stored = engine::entry_without_number(entry->text)) {
      entries.emplace_back(*stored);
      trace("Extract one entry = ", *stored);
    } else {
      trace("Wrong format, entry = ", entry->text);
    }
    position = entry->next;
  }
  trace("THDDTest::SplitLogEntry -- Exiting");
}

bool THDDTest::IsEntryFullAndSame(const std::string& text) {
  trace("THDDTest::IsEntryFullAndSame -- Entering");
  bool full_and_same = false;
  if (engine::is_log_full(text, CountLogNumer(text))) {
    std::vector<std::string> entries;
    SplitLogEntry(text, entries);
    full_and_same = engine::are_entries_same(entries);
  }
  trace("THDDTest::IsEntryFullAndSame -- Exiting");
  return full_and_same;
}
