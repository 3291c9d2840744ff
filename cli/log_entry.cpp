#include "cli/log_entry.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "platform/words.h"

namespace cli {
namespace {

using platform::take_word;
using platform::trim;

struct StatusText {
  std::string_view text;
  EntryKind kind;
  std::string_view cause;
};

// smartctl's texts. Where one is the beginning of another, the longer stands first.
constexpr StatusText kStatusTexts[] = {
    {"Completed without error", EntryKind::Passed, ""},
    {"Completed: unknown failure", EntryKind::Failed, "unknown-failure"},
    {"Completed: electrical failure", EntryKind::Failed, "electrical-failure"},
    {"Completed: servo/seek failure", EntryKind::Failed, "servo-seek-failure"},
    {"Completed: read failure", EntryKind::Failed, "read-failure"},
    {"Completed: handling damage??", EntryKind::Failed, "handling-damage"},
    {"Fatal or unknown error", EntryKind::Failed, "unknown-error"},
    {"Aborted by host", EntryKind::Aborted, "aborted"},
    {"Interrupted (host reset)", EntryKind::Aborted, "interrupted"},
    {"Self-test routine in progress", EntryKind::Running, ""},
    // Of SCSI drives.
    {"Completed, segment failed", EntryKind::Failed, "segment-failed"},
    {"Completed", EntryKind::Passed, ""},
    {"Failed in first segment", EntryKind::Failed, "segment-failed"},
    {"Failed in second segment", EntryKind::Failed, "segment-failed"},
    {"Failed in segment", EntryKind::Failed, "segment-failed"},
    {"Unknown error, incomplete", EntryKind::Failed, "unknown-error"},
    {"Aborted (by user command)", EntryKind::Aborted, "aborted"},
    {"Aborted (device reset ?)", EntryKind::Aborted, "interrupted"},
    {"Self test in progress", EntryKind::Running, ""},
};

template <class Number>
std::optional<Number> number(std::string_view word) {
  Number value{};
  const char* const end = word.data() + word.size();
  const auto read = std::from_chars(word.data(), end, value);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return value;
}

// What stands behind the status: for ATA drives the share that remained, for SCSI drives a segment;
// then the hours and the block.
void read_columns(std::string_view columns, PrintedEntry& entry) {
  std::string_view first = take_word(columns);
  while (first == "..." || first == "-->") first = take_word(columns);
  if (first.ends_with('%')) {
    first.remove_suffix(1);
    const auto remaining = number<int>(first);
    if (remaining && *remaining >= 0 && *remaining <= 100) entry.remaining = remaining;
  }
  entry.hours = number<std::uint64_t>(take_word(columns));
  entry.block = number<std::uint64_t>(take_word(columns));
}

// An entry's line is '#', a number of two columns, and the rest. Nothing for any other line.
std::optional<PrintedEntry> read_entry(std::string_view line) {
  if (!line.starts_with('#')) return std::nullopt;
  std::string_view rest = line.substr(1);
  if (!number<int>(take_word(rest))) return std::nullopt;
  PrintedEntry entry{.text = trim(rest), .type = {}, .status = trim(rest)};
  std::size_t place = std::string_view::npos;
  for (const StatusText& known : kStatusTexts) {
    // The test's type comes first and may hold a status' beginning only by chance.
    const std::size_t found = rest.find(known.text);
    if (found == std::string_view::npos || found >= place) continue;
    place = found;
    entry.kind = known.kind;
    entry.status = known.text;
    entry.cause = known.cause;
  }
  if (place == std::string_view::npos) return entry;
  entry.type = trim(rest.substr(0, place));
  read_columns(rest.substr(place + entry.status.size()), entry);
  return entry;
}

}  // namespace

bool PrintedEntry::is_short() const {
  return type.starts_with("Short") || type.starts_with("Background short");
}

std::vector<PrintedEntry> read_entries(std::string_view log) {
  std::vector<PrintedEntry> entries;
  while (!log.empty()) {
    if (auto entry = read_entry(platform::take_to(log, '\n'))) entries.push_back(*entry);
  }
  return entries;
}

std::string_view short_status(const PrintedEntry& entry) {
  std::string_view text = entry.status;
  for (const std::string_view begin : {"Completed: ", "Completed, "})
    if (text.starts_with(begin)) text.remove_prefix(begin.size());
  return platform::trim_end(text, "? ");
}

bool has_new_entry(std::string_view before, std::string_view after) {
  const std::vector<PrintedEntry> old = read_entries(before);
  const std::vector<PrintedEntry> now = read_entries(after);
  if (now.empty()) return false;
  return !std::equal(
      now.begin(), now.end(), old.begin(), old.end(),
      [](const PrintedEntry& one, const PrintedEntry& other) { return one.text == other.text; });
}

}  // namespace cli
