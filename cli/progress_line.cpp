#include "cli/progress_line.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/terminal_text.h"

namespace cli {
namespace {

// Moves from the last of so many lines to the beginning of the first.
std::string back(std::size_t lines) {
  return lines > 1 ? fmt::format("\r\x1b[{}A", lines - 1) : "\r";
}

}  // namespace

std::string line_text(const ProgressLine& line, std::size_t columns) {
  const std::string rest = fmt::format(": {} ({})", line.doing, duration_text(line.elapsed));
  if (columns == 0) return line.title + rest;
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
