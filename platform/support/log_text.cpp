#include "platform/support/log_text.h"

#include <charconv>
#include <chrono>

#include "platform/digits.h"

namespace NKVRHVX20 {

namespace {

// The length of the UTF-8 sequence at the start of a text that is not empty, 0 when it is none:
// cut short, longer than needed, a surrogate, or past U+10FFFF.
std::size_t SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first > 0xf4 || text.size() < length) return 0;
  const unsigned char lowest = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
  const unsigned char highest = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
  if (byte(1) < lowest || byte(1) > highest) return 0;
  for (std::size_t i = 2; i < length; ++i)
    if ((byte(i) & 0xc0) != 0x80) return 0;
  return length;
}

bool MustEscape(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence[0]);
  if (sequence.size() == 1) return first < 0x20 || first == 0x7f || first == '\\';
  if (sequence.size() == 2) return first == 0xc2 && static_cast<unsigned char>(sequence[1]) < 0xa0;
  return sequence == "\u2028" || sequence == "\u2029";
}

void AppendEscape(std::string& line, char byte) {
  constexpr char digits[] = "0123456789abcdef";
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
  line += digits[static_cast<unsigned char>(byte) >> 4];
  line += digits[static_cast<unsigned char>(byte) & 15];
}

}  // namespace

void AppendEscaped(std::string& line, std::string_view text) {
  std::size_t copied = 0;  // what stays as it is goes over in runs
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = SequenceLength(text.substr(at));
    const std::string_view sequence = text.substr(at, length > 0 ? length : 1);
    if (length == 0 || MustEscape(sequence)) {
      line.append(text, copied, at - copied);
      for (const char byte : sequence) AppendEscape(line, byte);
      copied = at + sequence.size();
    }
    at += sequence.size();
  }
  line.append(text, copied);
}

std::string FormatLogLine(std::int64_t microseconds, int severity, int processId,
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
  for (const int number : {severity, processId}) {
    *place++ = ' ';
    place = std::to_chars(place, head + sizeof head - 1, number).ptr;
  }
  *place++ = ' ';
  std::string line;
  line.reserve(static_cast<std::size_t>(place - head) + text.size() + 1);
  line.append(head, place);
  AppendEscaped(line, text);
  line += '\n';
  return line;
}

}  // namespace NKVRHVX20
