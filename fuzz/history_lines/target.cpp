// A file of tests as lines of JSON, which is taken over whole or not at all.
#include <sstream>

#include "drivetest/history_json.h"
#include "drivetest/history_transfer.h"
#include "drivetest/written_line.h"
#include "fuzz/target.h"
#include "tests/scratch_folder.h"

namespace {

using fuzz::require;

drivetest::HistoryOptions new_history() {
  static const ScratchFolder scratch;
  drivetest::HistoryOptions options;
  options.folder = scratch.path() / "state";
  options.host = {"0123456789abcdef0123456789abcdef", "host"};
  std::filesystem::remove_all(options.folder);
  return options;
}

std::string exported(drivetest::History& history) {
  std::string lines;
  drivetest::export_history(history, [&](std::string_view line) { lines += line; });
  return lines;
}

void read_line(std::string_view line) {
  const auto quick = drivetest::test_from_written_line(line);
  try {
    const drivetest::KeptTest test = drivetest::test_from_json(line);
    require(!quick || (quick->row == test.row && json_line(*quick) == json_line(test)),
            "both readers read the same");
    const std::string written = drivetest::json_line(test);
    require(drivetest::test_from_json(written).row == test.row, "a line is read back");
  } catch (const drivetest::JsonLineError& error) {
    require(!quick, "the quick reader refuses what the strict one does");
    for (const char* letter = error.what(); *letter != '\0'; ++letter)
      require(*letter >= ' ' && *letter < 0x7F, "an error has no effect on a terminal");
  }
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  for (std::string_view rest = input; !rest.empty();) read_line(take_line(rest));

  static auto history = std::make_unique<drivetest::History>(new_history());
  const std::string before = exported(*history);
  try {
    std::istringstream file{std::string(input)};
    drivetest::import_history(*history, file);
    const std::string after = exported(*history);
    std::istringstream again{std::string(input)};
    const drivetest::ImportCounts counts = drivetest::import_history(*history, again);
    require(counts.added == 0 && counts.ended == 0, "the second time changes nothing");
    require(exported(*history) == after, "the second time changes nothing");
  } catch (const drivetest::TransferError&) {
    require(exported(*history) == before, "a file with a fault changes nothing");
  }
  if (exported(*history) != before) {
    history.reset();
    history = std::make_unique<drivetest::History>(new_history());
  }
}
