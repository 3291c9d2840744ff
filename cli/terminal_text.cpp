#include "cli/terminal_text.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "platform/utf8.h"
#include "platform/words.h"

namespace cli {
namespace {

// The bytes of the first that many characters.
std::size_t bytes_of(std::string_view text, std::size_t characters) {
  std::size_t bytes = 0;
  for (; characters > 0 && bytes < text.size(); --characters)
    bytes += platform::first_utf8(text.substr(bytes)).length;
  return bytes;
}

// Takes from the front of an escaped line what fits, up to a blank if there is one.
std::string_view take_piece(std::string_view& line, std::size_t columns) {
  const std::size_t fits = bytes_of(line, columns);
  if (fits >= line.size()) return std::exchange(line, {});
  const std::size_t blank = line.rfind(' ', fits);
  const bool breakable = blank != std::string_view::npos && blank > 0;
  const std::string_view piece = line.substr(0, breakable ? blank : fits);
  line.remove_prefix(breakable ? blank + 1 : fits);
  return piece;
}

}  // namespace

std::string escape(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const auto [character, length] = platform::first_utf8(text);
    const std::string_view bytes = text.substr(0, length);
    if (!platform::misleads(character)) {
      result += bytes;
    } else if (character == '\n') {
      result += "\\n";
    } else if (character == '\r') {
      result += "\\r";
    } else if (character == '\t') {
      result += "\\t";
    } else {
      for (const char byte : bytes)
        result += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    }
    text.remove_prefix(length);
  }
  return result;
}

std::size_t columns_of(std::string_view text) {
  std::size_t columns = 0;
  for (; !text.empty(); text.remove_prefix(platform::first_utf8(text).length)) ++columns;
  return columns;
}

std::string elide(std::string_view text, std::size_t columns) {
  const std::size_t all = columns_of(text);
  if (all <= columns) return std::string(text);
  constexpr std::string_view kGap = "...";
  if (columns <= kGap.size()) return std::string(text.substr(0, bytes_of(text, columns)));
  const std::size_t kept = columns - kGap.size();
  const std::size_t tail = kept / 2;
  std::string result(text.substr(0, bytes_of(text, kept - tail)));
  result += kGap;
  result += text.substr(bytes_of(text, all - tail));
  return result;
}

std::string labelled(std::string_view label, std::string_view text, std::size_t columns) {
  const std::size_t margin = columns_of(label);
  // Where the margin takes most of the width, broken lines would be harder to read than long ones.
  const std::size_t width = columns > 2 * margin ? columns - margin : 0;
  std::string result;
  const auto add_line = [&](std::string_view line) {
    result += result.empty() ? std::string(label) : std::string(margin, ' ');
    result += line;
    result.resize(platform::trim_end(result, " ").size());
    result += '\n';
  };
  if (text.ends_with('\n')) text.remove_suffix(1);
  for (bool more = true; more;) {
    const std::size_t end = text.find('\n');
    const std::string line = escape(text.substr(0, end));
    more = end != std::string_view::npos;
    if (more) text.remove_prefix(end + 1);
    std::string_view rest = line;
    do {
      add_line(width > 0 ? take_piece(rest, width) : std::exchange(rest, {}));
    } while (!rest.empty());
  }
  return result;
}

std::string duration_text(std::chrono::seconds duration) {
  const auto seconds = duration.count();
  if (seconds < 3600) return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
  return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::string size_text(std::uint64_t bytes) {
  constexpr std::array<const char*, 7> kUnits = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};
  auto number = static_cast<double>(bytes);
  std::size_t unit = 0;
  // What rounds to 1000 is one of the next unit.
  for (; number >= 999.5 && unit + 1 < kUnits.size(); ++unit) number /= 1000;
  if (unit == 0) return fmt::format("{} B", bytes);
  int decimals = 0;
  if (number < 99.95) decimals = 1;
  if (number < 9.995) decimals = 2;
  return fmt::format("{:.{}f} {}", number, decimals, kUnits[unit]);
}

}  // namespace cli
