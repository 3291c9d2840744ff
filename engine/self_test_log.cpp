#include "engine/self_test_log.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "engine/trace.h"

namespace engine {
namespace {

constexpr std::size_t kNone = std::string::npos;

bool Contains(std::string_view text, std::string_view part) { return text.find(part) != kNone; }

}  // namespace

std::size_t FindSelfTestLog(const std::string& text) { return text.find("Self-test log"); }

std::string NewestEntry(const std::string& text, std::size_t log) {
  const std::size_t begin = text.find('#', log);
  // Kept on purpose: this exception. The client gets a failed RunDiagnostic with its text, and the
  // run leaves no record.
  if (begin == kNone) throw std::out_of_range("the self-test log has no entry");
  const std::size_t end = text.find('#', begin + 1);
  return text.substr(begin, end - begin);
}

HDDIAG_TEST_STATUS ClassifyEntry(std::string entry) {
  // The words are ASCII, whatever locale the object manager has set.
  for (char& c : entry)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  if (Contains(entry, "in progress")) return HDDIAG_TEST_IN_PROGRESS;
  if (Contains(entry, "aborted")) return HDDIAG_TEST_ABORTED;
  if (Contains(entry, "interrupted")) return HDDIAG_TEST_ABORTED;
  if (Contains(entry, "completed without error")) return HDDIAG_TEST_PASSED;
  if (Contains(entry, "completed") && !Contains(entry, "error") && !Contains(entry, "fail")) {
    return HDDIAG_TEST_PASSED;
  }
  return HDDIAG_TEST_FAILED;
}

int CountEntries(const std::string& text, std::size_t log) {
  // By find, which is quicker than a look at each byte: nearly all of them lie between two marks.
  int entries = 0;
  for (log = text.find('#', log); log != kNone; log = text.find('#', log + 1)) ++entries;
  return entries;
}

std::optional<Log_Entry> FindEntry(std::string_view text, std::size_t position) {
  // Whoever walks from entry to entry stands one character before the next mark. To look at two
  // characters is quicker than a search.
  const auto is_mark = [&](std::size_t place) { return place < text.size() && text[place] == '#'; };
  const std::size_t begin = is_mark(position)       ? position
                            : is_mark(position + 1) ? position + 1
                                                    : text.find('#', position);
  if (begin == kNone) return std::nullopt;
  const std::size_t end = text.find('#', begin + 1);
  return Log_Entry{text.substr(begin, end - begin), end == kNone ? kNone : end - 1};
}

std::optional<std::string_view> EntryWithoutNumber(std::string_view entry) {
  if (entry.size() <= 3) return std::nullopt;
  return entry.substr(3);
}

bool IsLogFull(const std::string& text, int entries) {
  const bool ata = Contains(text, "Remaining") && Contains(text, "LBA_of_first_error");
  return entries > (ata ? 20 : 19);
}

bool AreEntriesSame(const std::vector<std::string>& entries) {
  return !entries.empty() && std::all_of(entries.begin(), entries.end(), [&](const auto& entry) {
    return Contains(entry, entries.front());
  });
}

}  // namespace engine

using engine::Trace;

namespace {

// Where the log begins; npos, and a line about it, when the text has none.
std::size_t FindOrTrace(const std::string& text) {
  const std::size_t log = engine::FindSelfTestLog(text);
  if (log == std::string::npos) Trace("Can not find keyword (Self-test log)");
  return log;
}

}  // namespace

void THDDTest::GetLatestSelfTestStatus(const std::string& text, HDDIAG_TEST_STATUS& status) {
  Trace("THDDTest::GetLatestSelfTestStatus -- Entering");
  if (const std::size_t log = FindOrTrace(text); log != std::string::npos) {
    std::string entry = engine::NewestEntry(text, log);
    Trace("Latest log: ", entry);
    status = engine::ClassifyEntry(std::move(entry));
  }
  Trace("THDDTest::GetLatestSelfTestStatus -- Exiting");
}

int THDDTest::CountLogNumer(const std::string& text) {
  Trace("THDDTest::CountLogNumer -- Entering");
  const std::size_t log = FindOrTrace(text);
  const int entries = log == std::string::npos ? 0 : engine::CountEntries(text, log);
  Trace("THDDTest::CountLogNumer -- Exiting");
  return entries;
}

void THDDTest::SplitLogEntry(const std::string& text, std::vector<std::string>& entries) {
  Trace("THDDTest::SplitLogEntry -- Entering");
  entries.clear();
  entries.reserve(21);  // what a full log holds
  std::size_t position = FindOrTrace(text);
  while (position != std::string::npos) {
    const auto entry = engine::FindEntry(text, position);
    if (!entry) break;
    if (const auto stored = engine::EntryWithoutNumber(entry->text)) {
      entries.emplace_back(*stored);
      Trace("Extract one entry = ", *stored);
    } else {
      Trace("Wrong format, entry = ", entry->text);
    }
    position = entry->next;
  }
  Trace("THDDTest::SplitLogEntry -- Exiting");
}

bool THDDTest::IsEntryFullAndSame(const std::string& text) {
  Trace("THDDTest::IsEntryFullAndSame -- Entering");
  bool full_and_same = false;
  if (engine::IsLogFull(text, CountLogNumer(text))) {
    std::vector<std::string> entries;
    SplitLogEntry(text, entries);
    full_and_same = engine::AreEntriesSame(entries);
  }
  Trace("THDDTest::IsEntryFullAndSame -- Exiting");
  return full_and_same;
}
