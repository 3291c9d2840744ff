#include "cli/progress_line.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "cli/terminal_text.h"

namespace cli {
namespace {

// Moves from the last of so many lines to the beginning of the first.
std::string back(std::size_t lines) {
  return lines > 1 ? fmt::format("\r\x1b[{}A", lines - 1) : "\r";
}

}  // namespace

std::string line_text(const ProgressLine& line, std::size_t columns) {
  std::string_view doing = line.doing;
  const auto rest_of_line = [&] {
    return fmt::format(": {} ({})", doing, duration_text(line.elapsed));
  };
  if (columns == 0) return line.title + rest_of_line();
  const std::size_t first = doing.find(", ");
  for (std::size_t comma = doing.rfind(", ");
       comma != first && columns_of(line.title + rest_of_line()) > columns;
       comma = doing.rfind(", "))
    doing = doing.substr(0, comma);
  const std::string rest = rest_of_line();
  constexpr std::size_t kShortestTitle = 8;
  const std::size_t room = columns - std::min(columns, columns_of(rest));
  return elide(elide(line.title, std::max(room, kShortestTitle)) + rest, columns);
}

void ProgressLines::show(const std::vector<ProgressLine>& lines) {
  if (!rewrite_) return;
  if (lines.size() < drawn_) clear();
  std::string text = drawn_ > 0 || !lines.empty() ? back(drawn_) : "";
  for (const ProgressLine& line : lines) {
    if (&line != &lines.front()) text += '\n';
    // The last column stays free: some terminals begin a new line as soon as it is filled.
    text += line_text(line, output_->columns() - 1) + "\x1b[K";
  }
  output_->write(text);
  drawn_ = lines.size();
}

void ProgressLines::note(const ProgressLine& line) {
  if (output_ && !rewrite_) output_->write(line_text(line, 0) + "\n");
}

void ProgressLines::clear() {
  if (drawn_ > 0) output_->write(back(drawn_) + (drawn_ > 1 ? "\x1b[J" : "\x1b[K"));
  drawn_ = 0;
}

}  // namespace cli
