#include "platform/support/log_text.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include "platform/digits.h"
#include "platform/utf8.h"

namespace NKVRHVX20 {

namespace {

void append_escape(std::string& line, char byte) {
  constexpr char kDigits[] = "0123456789abcdef";
  line += '\\';
  switch (byte) {
    case '\\':
      line += '\\';
      return;
    case '\n':
      line += 'n';
      return;
    case '\r':
      line += 'r';
      return;
    case '\t':
      line += 't';
      return;
  }
  line += 'x';
  line += kDigits[static_cast<unsigned char>(byte) >> 4];
  line += kDigits[static_cast<unsigned char>(byte) & 15];
}

// Of an escaped text: the length of as many whole characters and escapes as take no more than most.
std::size_t length_of_whole(std::string_view escaped, std::size_t most) {
  std::size_t length = 0;
  while (length < escaped.size()) {
    const std::string_view rest = escaped.substr(length);
    std::size_t next = platform::first_utf8(rest).length;
    if (rest[0] == '\\') next = rest[1] == 'x' ? 4 : 2;
    if (length + next > most) break;
    length += next;
  }
  return length;
}

}  // namespace

void append_escaped(std::string& line, std::string_view text) {
  std::size_t copied = 0;  // up to here; unchanged text is copied in runs
  for (std::size_t at = 0; at < text.size();) {
    const auto [character, length] = platform::first_utf8(text.substr(at));
    if (character == '\\' || platform::misleads(character)) {
      line.append(text, copied, at - copied);
      for (const char byte : text.substr(at, length)) append_escape(line, byte);
      copied = at + length;
    }
    at += length;
  }
  line.append(text, copied);
}

void append_escaped(std::string& line, std::string_view text, std::size_t most) {
  const std::size_t begin = line.size();
  append_escaped(line,
                 text.substr(0, most));  // that is enough: escaping makes no character shorter
  if (text.size() <= most && line.size() - begin <= most) return;
  std::string tail = "... (";
  tail += std::to_string(text.size());
  tail += " bytes)";
  const std::string_view escaped = std::string_view(line).substr(begin);
  line.resize(begin + length_of_whole(escaped, most - tail.size()));
  line += tail;
}

std::string format_log_line(std::int64_t microseconds, int severity, int process_id,
                            std::string_view text) {
  // Not gmtime_r: it takes a lock, which another thread may have held when we were forked.
  using namespace std::chrono;
  const sys_time<std::chrono::microseconds> time{std::chrono::microseconds(microseconds)};
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);

  char head[64];
  char* place = head;
  const auto put = [&](unsigned digits, auto number, char after) {
    place = platform::put_digits(place, digits, static_cast<std::uint64_t>(number));
    *place++ = after;
  };
  put(4, static_cast<int>(date.year()), '-');
  put(2, static_cast<unsigned>(date.month()), '-');
  put(2, static_cast<unsigned>(date.day()), 'T');
  put(2, clock.hours().count(), ':');
  put(2, clock.minutes().count(), ':');
  put(2, clock.seconds().count(), '.');
  put(6, clock.subseconds().count(), 'Z');
  for (const int number : {severity, process_id}) {
    *place++ = ' ';
    place = std::to_chars(place, head + sizeof head - 1, number).ptr;
  }
  *place++ = ' ';
  const auto length = static_cast<std::size_t>(place - head);
  std::string line;
  line.reserve(std::min(length + text.size() + 1, kLogLineLimit));
  line.append(head, place);
  append_escaped(line, text, kLogLineLimit - length - 1);
  line += '\n';
  return line;
}

}  // namespace NKVRHVX20
