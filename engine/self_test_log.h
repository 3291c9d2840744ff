// Reading of the text that "smartctl -l selftest" prints: pure functions, substring searches
// only, no column is parsed.
//
// Everything before the first "Self-test log" is ignored. An entry begins at a "#" and runs up
// to the next one or to the end of the text, so that it includes its line end and the last one
// whatever follows in the output. The first entry is the newest test.
//
// The extended and NVMe forms print "Self-test Log" and so count as no log.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/HDDTest.h"

namespace engine {

// Where the log begins; npos when the text has none.
std::size_t find_self_test_log(const std::string& text);

// The newest entry of the log that begins there. Throws std::out_of_range when it has no entry.
std::string newest_entry(const std::string& text, std::size_t log);

// The outcome that an entry tells; the first rule that matches, without regard to case.
HDDIAG_TEST_STATUS classify_entry(std::string entry);

// The number of entries of the log that begins there.
int count_entries(const std::string& text, std::size_t log);

// One entry, a part of the text that was searched, and where the search for the next one begins.
struct FoundEntry {
  std::string_view text;
  std::size_t next;  // npos after the last entry
};

// The first entry at or after a position.
// Kept on purpose: the next search begins one character before the next "#". When two stand
// side by side that is the first of them again, so that a walk by next does not end there.
std::optional<FoundEntry> find_entry(std::string_view text, std::size_t position);

// The entry without its "#" and number, three characters; nothing when there is no more to it.
std::optional<std::string_view> entry_without_number(std::string_view entry);

// Whether a log of that many entries is full: 21 for the table of ATA drives, 20 for others.
bool is_log_full(const std::string& text, int entries);

// Whether each entry contains the whole text of the first; false when there is none.
bool are_entries_same(const std::vector<std::string>& entries);

}  // namespace engine
