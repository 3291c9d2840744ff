// An entry of the self-test log that "smartctl -l selftest" prints, of ATA and SCSI drives:
//
//   # 1  Short offline       Completed: read failure       70%      4660         12345
//   # 1  Background short  Completed                   -     134                 - [-   -    -]
//
// The module decides by parts of words what an entry means. The command reads the status by the
// whole texts that smartctl has for it, so that it can tell a failure of the drive from a status
// that nobody knows. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

enum class EntryKind { Passed, Failed, Aborted, Running, Unknown };

struct PrintedEntry {
  std::string_view text;  // the line behind the number, which tells the place only
  std::string_view type;  // "Short offline": what the drive was asked for
  EntryKind kind = EntryKind::Unknown;
  std::string_view status;         // in smartctl's words; the whole text where nobody knows it
  std::optional<int> remaining{};  // percent; nothing where there is none
  std::optional<std::uint64_t> hours{};  // power-on hours at its end
  std::optional<std::uint64_t> block{};  // the first bad one

  std::string_view cause{};  // a word for programs, such as "read-failure"; empty: passed, unknown

  bool is_short() const;  // whether it is of a test like ours
};

// The entries, the newest first; their texts are parts of the log.
std::vector<PrintedEntry> read_entries(std::string_view log);

// The status as a part of a sentence: "read failure".
std::string_view short_status(const PrintedEntry& entry);

// Whether the newest entry came between the two: the logs' entries differ, numbers aside.
bool has_new_entry(std::string_view before, std::string_view after);

}  // namespace cli
