// The file of the history, as somebody or a broken disk may have left it. The input is the file or,
// behind an "E", what is different in a sound one: a byte's place, in two bytes, and the byte.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "drivetest/history.h"
#include "fuzz/target.h"
#include "tests/scratch_folder.h"

namespace {

using fuzz::require;
namespace fs = std::filesystem;

std::string content_of(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

drivetest::HistoryOptions new_options() {
  static const ScratchFolder scratch;
  drivetest::HistoryOptions options;
  options.folder = scratch.path() / "state";
  options.host = {"0123456789abcdef0123456789abcdef", "host"};
  fs::remove_all(options.folder);
  return options;
}

std::string sound_file() {
  const drivetest::HistoryOptions options = new_options();
  {
    drivetest::History history(options);
    drivetest::Drive drive;
    drive.model = "Example Disk";
    for (const char* const serial_number : {"S1", "S2", "S3"}) {
      drive.serial_number = serial_number;
      drivetest::TestRow row;
      row.number = history.begin(drive, row).number;
      row.outcome = drivetest::Outcome::Failed;
      row.cause = "read failure";
      history.update(row);
      history.begin(drive, row);
      drivetest::DriveChange change;
      change.log.emplace(1);
      history.change(drive, history.state(drive.identity()), change);
    }
  }
  return content_of(fs::path(options.folder) / "history.sqlite");
}

std::string edited(std::string_view edits) {
  static const std::string sound = sound_file();
  std::string file = sound;
  constexpr std::size_t kEdit = 3;
  for (; edits.size() >= kEdit; edits.remove_prefix(kEdit)) {
    const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(edits[place]); };
    file[(byte(0) << 8 | byte(1)) % file.size()] = edits[2];
  }
  return file;
}

// A history in a new folder, with this file.
drivetest::HistoryOptions lay_out(std::string_view input) {
  drivetest::HistoryOptions options = new_options();
  fs::create_directory(options.folder);
  fs::permissions(options.folder, fs::perms::owner_all);
  const fs::path file = fs::path(options.folder) / "history.sqlite";
  std::ofstream(file, std::ios::binary) << input;
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
  return options;
}

void use(drivetest::History& history) {
  drivetest::Drive drive;
  drive.place.device = "/dev/sda";
  drive.model = "Example Disk";
  drive.serial_number = "S1";
  history.running();
  for (const drivetest::KeptTest& test : history.last_of_each_drive())
    history.of_drive(test.row.drive, 100);
  history.each(
      [](const drivetest::KeptTest& test) { require(test.row.number != 0, "a row has a number"); });
  const drivetest::History::Begun begun = history.begin(drive, {});
  require(begun.number != 0 || begun.running, "a test is begun, or runs");
  if (begun.number != 0) require(history.find(begun.number).has_value(), "what was begun is kept");
  drivetest::DriveChange change;
  change.log.emplace(3);
  const drivetest::DriveState before = history.state(drive.identity());
  if (history.change(drive, before, change))
    require(history.state(drive.identity()).log == change.log, "what was changed is kept");
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  const std::string content = input.starts_with('E') ? edited(input.substr(1)) : std::string(input);
  const drivetest::HistoryOptions options = lay_out(content);
  try {
    drivetest::History history(options);
    use(history);
    history.forget_before(drivetest::Time::max());
  } catch (const drivetest::HistoryError& error) {
    require(std::string_view(error.what()).find("history.sqlite") != std::string_view::npos,
            "an error names the file");
  }
  for (const auto& one : fs::directory_iterator(options.folder)) {
    const std::string name = one.path().filename();
    // A file that was found out later has been written to before.
    if (name.starts_with("history.sqlite.damaged-") && !name.ends_with("-wal"))
      require(one.file_size() >= std::min<std::size_t>(content.size(), 512) ||
                  content_of(one.path()) == content,
              "a damaged file is kept");
  }
}
