#include "cli/report_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "cli/wrong_dates.h"
#include "drivetest/history_json.h"
#include "drivetest/written_line.h"
#include "platform/words.h"

namespace cli {

using drivetest::KeptTest;
using drivetest::Time;

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;

[[noreturn]] void refuse(std::size_t line, const std::string& words) {
  throw MachineFileError(fmt::format("line {}: {}", line, words));
}

// The lines of a file, without their line feeds. A view holds until the next one is read.
class Lines {
 public:
  Lines(std::istream& file, const FileLimits& limits)
      : bytes_(*file.rdbuf()), limits_(limits), buffer_(kChunk, '\0') {}

  std::size_t number() const { return number_; }

  std::optional<std::string_view> next() {
    ++number_;
    for (;;) {
      const std::size_t feed = buffer_.find('\n', searched_);
      if (feed < filled_) return taken(feed, feed + 1);
      if (filled_ - begin_ > limits_.line)
        refuse(number_, fmt::format("it is longer than {} bytes", limits_.line));
      searched_ = filled_;
      if (!fill()) break;
    }
    if (begin_ == filled_) return std::nullopt;
    return taken(filled_, filled_);
  }

 private:
  std::string_view taken(std::size_t end, std::size_t next) {
    if (end - begin_ > limits_.line)
      refuse(number_, fmt::format("it is longer than {} bytes", limits_.line));
    const std::string_view line(buffer_.data() + begin_, end - begin_);
    begin_ = next;
    searched_ = next;
    return line;
  }

  // Moves what is left to the front and reads behind it.
  bool fill() {
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_),
              buffer_.begin() + static_cast<std::ptrdiff_t>(filled_), buffer_.begin());
    filled_ -= begin_;
    searched_ -= begin_;
    begin_ = 0;
    const auto room = static_cast<std::streamsize>(buffer_.size() - filled_);
    std::streamsize count = 0;
    try {
      count = bytes_.sgetn(buffer_.data() + filled_, room);
    } catch (const std::ios_base::failure&) {
      throw MachineFileError("it cannot be read");
    }
    filled_ += static_cast<std::size_t>(count);
    size_ += static_cast<std::size_t>(count);
    if (size_ > limits_.file)
      throw MachineFileError(fmt::format("it is larger than {} bytes", limits_.file));
    return count > 0;
  }

  std::streambuf& bytes_;
  const FileLimits& limits_;
  std::string buffer_;        // larger than the longest line and what is read behind it
  std::size_t begin_ = 0;     // of the next line
  std::size_t searched_ = 0;  // no line feed before that
  std::size_t filled_ = 0;
  std::size_t size_ = 0;
  std::size_t number_ = 0;
};

KeptTest test_of(std::string_view line, std::size_t number) {
  if (auto test = drivetest::test_from_written_line(line)) return *std::move(test);
  try {
    return drivetest::test_from_json(line);
  } catch (const drivetest::JsonLineError& error) {
    refuse(number, error.what());
  }
}

struct OneMachine {
  std::vector<ReportedDrive> drives;
  std::unordered_map<std::string, std::size_t> places;  // by identity
  std::size_t tests = 0;
  std::size_t dated_ahead = 0;
  Time recorded{};        // the newest test
  std::string host_name;  // of that test
};

std::string_view first_label(std::string_view name) { return name.substr(0, name.find('.')); }

// How well the file's name fits: 2 for the whole one, 1 up to the first dot, else 0.
int likeness(std::string_view host_name, std::string_view file_name) {
  if (host_name.empty()) return 0;
  if (platform::same_name(host_name, file_name)) return 2;
  return platform::same_name(first_label(host_name), first_label(file_name)) ? 1 : 0;
}

// The greatest is that of the machine which has printed the file.
std::tuple<int, std::size_t, Time, std::string_view> claim_of(std::string_view id,
                                                              const OneMachine& machine,
                                                              std::string_view file_name) {
  const int like = likeness(machine.host_name, file_name);
  return {like, like > 0 ? 0 : machine.tests, machine.recorded, id};
}

}  // namespace

MachineHistory read_machine_history(std::istream& file, std::string_view name, Time now,
                                    const FileLimits& limits) {
  std::unordered_map<std::string, OneMachine> machines;  // by id
  std::size_t drives = 0;
  Lines lines(file, limits);
  while (const auto line = lines.next()) {
    KeptTest test = test_of(*line, lines.number());
    OneMachine& machine = machines[test.row.machine_id];
    if (drop_dates_ahead(test.row, now)) ++machine.dated_ahead;
    const auto [place, is_new] = machine.places.try_emplace(test.row.drive, machine.drives.size());
    if (is_new) {
      if (++drives > limits.drives)
        refuse(lines.number(), fmt::format("it is about more than {} drives", limits.drives));
      machine.drives.emplace_back();
    }
    machine.drives[place->second].add(test);
    ++machine.tests;
    if (test.row.recorded < machine.recorded) continue;
    machine.recorded = test.row.recorded;
    if (machine.host_name != test.row.host_name) machine.host_name = test.row.host_name;
  }
  MachineHistory history;
  if (machines.empty()) return history;
  const auto owner =
      std::max_element(machines.begin(), machines.end(), [&](const auto& one, const auto& other) {
        return claim_of(one.first, one.second, name) < claim_of(other.first, other.second, name);
      });
  for (const auto& [id, machine] : machines)
    if (id != owner->first) history.tests_elsewhere += machine.tests;
  history.machine_id = owner->first;
  history.dated_ahead = owner->second.dated_ahead;
  history.drives = std::move(owner->second.drives);
  for (const ReportedDrive& drive : history.drives)
    history.told = std::max(history.told, drive.heard);
  return history;
}

}  // namespace cli
