#include "cli/run_evidence.h"

#include <charconv>
#include <system_error>

#include "cli/log_texts.h"

namespace cli {
namespace {

// "STATUS\n... Smart Message \nOUTPUT". An answer of another form proves nothing.
std::optional<SmartctlAnswer> read_answer(std::string_view text) {
  SmartctlAnswer answer;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, answer.status);
  if (read.ec != std::errc() || read.ptr == end || *read.ptr != '\n') return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(read.ptr - text.data()) + 1);
  const std::size_t line_end = text.find('\n');
  if (line_end == std::string_view::npos ||
      text.substr(0, line_end).find(kSmartMessageText) == std::string_view::npos)
    return std::nullopt;
  answer.output = text.substr(line_end + 1);
  return answer;
}

}  // namespace

void RunEvidence::take(int severity, std::string_view text) {
  constexpr int kTrace = 3;
  if (severity != kTrace) return;
  for (const AnswerText& known : kAnswerTexts) {
    if (!text.starts_with(known.begins)) continue;
    const std::optional<SmartctlAnswer> answer = read_answer(text.substr(known.begins.size()));
    if (known.step == RunStep::Checking)
      information = answer;
    else if (known.step == RunStep::Reading)
      baseline = answer;
    else
      start = answer;
  }
  if (text.starts_with(kPollText)) log = text.substr(kPollText.size());
  if (text == kStillInProgressText) in_progress = true;
  for (const LogText& known : kStepTexts)
    if (known.step == RunStep::Classifying && text.starts_with(known.begins)) ended = true;
}

}  // namespace cli
