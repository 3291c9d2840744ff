#include "cli/run_progress.h"

#include <charconv>
#include <system_error>
#include <utility>

#include "cli/drive_look.h"
#include "platform/words.h"

namespace cli {
namespace {

// The words with one blank between them.
std::string without_long_blanks(std::string_view text) {
  std::string result;
  while (true) {
    const std::string_view word = platform::take_word(text);
    if (word.empty()) return result;
    if (!result.empty()) result += ' ';
    result += word;
  }
}

}  // namespace

std::optional<int> remaining_percentage(std::string_view log) {
  const std::size_t begin = log.find('#');
  if (begin == std::string_view::npos) return std::nullopt;
  std::string_view entry = log.substr(begin, log.find('#', begin + 1) - begin);
  entry = entry.substr(0, entry.find('\n'));
  const std::size_t found = entry.find(kInProgressText);
  if (found == std::string_view::npos) return std::nullopt;
  entry.remove_prefix(found + kInProgressText.size());
  entry = platform::trim_begin(entry, " .");
  int percentage = 0;
  const auto [end, error] = std::from_chars(entry.data(), entry.data() + entry.size(), percentage);
  const bool given = error == std::errc() && end != entry.data() + entry.size() && *end == '%';
  if (!given || percentage < 0 || percentage > 100) return std::nullopt;
  return percentage;
}

bool Progress::take(int severity, std::string_view text) {
  if (severity == 0) {
    reason_ = complaint_.empty() ? std::string(text) : std::string(text) + ": " + complaint_;
    return false;
  }
  if (const std::size_t message = text.find(kSmartMessageText); message != std::string_view::npos) {
    complaint_ = complaint_of(text.substr(message));
    return false;
  }
  if (text.starts_with(kPollText)) {
    const std::optional<unsigned> remaining = remaining_percentage(text.substr(kPollText.size()));
    return remaining && remaining != std::exchange(remaining_, remaining);
  }
  if (text.starts_with(kLatestEntryText)) {
    entry_ = without_long_blanks(text.substr(kLatestEntryText.size()));
    return false;
  }
  for (const LogText& known : kStepTexts) {
    if (!text.starts_with(known.begins)) continue;
    step_ = known.step;
    return std::exchange(doing_, known.shown) != known.shown;
  }
  return false;
}

std::optional<TestProgress> Progress::test() const {
  if (step_ != RunStep::Testing) return std::nullopt;
  TestProgress progress{drivetest::TestKind::Short, drivetest::Source::Module, remaining_};
  progress.minutes = minutes_that_remain(minutes_, remaining_);
  return progress;
}

std::string Progress::shown() const {
  const std::optional<TestProgress> progress = test();
  return std::string(doing_) + (progress ? remaining_text(*progress) : "");
}

}  // namespace cli
