#include "drivetest/written_line.h"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "drivetest/history_json.h"
#include "drivetest/time_text.h"
#include "platform/words.h"

namespace drivetest {

namespace {

// Reads a line from the front. Each function returns whether that stood there.
class Reader {
 public:
  explicit Reader(std::string_view line) : rest_(line) {}

  bool word(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  bool is_at_end() const { return rest_.empty(); }

  bool text(std::string& value) {
    if (!word("\"")) return false;
    value.clear();
    while (!rest_.empty() && value.size() <= kLongestMember) {
      const char letter = rest_.front();
      rest_.remove_prefix(1);
      if (letter == '"') return true;
      if (letter < ' ' || letter > '~' || !(letter == '\\' ? escaped(value) : plain(letter, value)))
        return false;
    }
    return false;
  }

  // Of hexadecimal digits.
  bool id(std::string& value) { return text(value) && platform::is_hexadecimal(value, kIdDigits); }

  // As JSON writes them: without plus sign and leading zeros.
  template <class Number>
  bool number(Number& value) {
    const char* const begin = rest_.data();
    const auto [end, error] = std::from_chars(begin, begin + rest_.size(), value);
    if (error != std::errc()) return false;
    const std::string_view digits(begin, static_cast<std::size_t>(end - begin));
    const bool is_plain = digits == "0" || (digits.front() >= '1' && digits.front() <= '9');
    rest_.remove_prefix(digits.size());
    return is_plain;
  }

  template <class Number>
  bool number(std::optional<Number>& value) {
    if (word("null")) return true;
    value.emplace();
    return number(*value);
  }

  bool flag(std::optional<bool>& value) {
    if (word("null")) return true;
    value = word("true");
    return *value || word("false");
  }

  // A value by its name.
  template <class Value, class Read>
  bool name(std::optional<Value>& value, Read read) {
    const std::size_t end = rest_.find('"', 1);
    if (!rest_.starts_with('"') || end == std::string_view::npos) return false;
    value = read(rest_.substr(1, end - 1));
    rest_.remove_prefix(end + 1);
    return value.has_value();
  }

  template <class Value, class Read>
  bool name_or_null(std::optional<Value>& value, Read read) {
    return word("null") || name(value, read);
  }

  bool time(std::optional<Time>& value) { return name_or_null(value, time_from_text); }

 private:
  static bool plain(char letter, std::string& value) {
    value += letter;
    return true;
  }

  // Those that drives' texts have: an identity has a line feed.
  bool escaped(std::string& value) {
    if (rest_.empty()) return false;
    const char letter = rest_.front();
    rest_.remove_prefix(1);
    if (letter != 'n' && letter != '"' && letter != '\\') return false;
    return plain(letter == 'n' ? '\n' : letter, value);
  }

  std::string_view rest_;
};

bool read_drive(Reader& line, KeptTest& test) {
  Drive& drive = test.drive;
  std::optional<Protocol> protocol;
  const bool is_read =
      line.word("{\"identity\":") && line.text(test.row.drive) && !test.row.drive.empty() &&
      line.word(",\"protocol\":") && line.name(protocol, protocol_named) &&
      line.word(",\"model\":") && line.text(drive.model) && line.word(",\"serial_number\":") &&
      line.text(drive.serial_number) && line.word(",\"firmware\":") && line.text(drive.firmware) &&
      line.word(",\"world_wide_name\":") && line.text(drive.world_wide_name) &&
      line.word(",\"size\":") && line.number(drive.size) && line.word(",\"is_rotational\":") &&
      line.flag(drive.is_rotational) && line.word("}");
  if (is_read) drive.protocol = *protocol;
  return is_read;
}

bool read_head(Reader& line, KeptTest& test) {
  TestRow& row = test.row;
  std::int64_t number = 0;  // is not taken over
  const bool has_number = line.word("{\"number\":") && line.number(number);
  if (!has_number || !line.word(",\"id\":") || !line.id(row.id) || !line.word(",\"machine_id\":"))
    return false;
  // A machine may have none.
  const bool has_machine = line.word("\"\"") || line.id(row.machine_id);
  return has_machine && line.word(",\"host_name\":") && line.text(row.host_name) &&
         line.word(",\"drive\":") && read_drive(line, test) && line.word(",\"device\":") &&
         line.text(row.place.device) && line.word(",\"device_type\":") && line.text(row.place.type);
}

bool read_times(Reader& line, TestRow& row) {
  std::optional<Source> source;
  std::optional<Time> recorded;
  const bool is_read =
      line.word(",\"source\":") && line.name(source, source_named) && line.word(",\"kind\":") &&
      line.name_or_null(row.kind, test_kind_named) && line.word(",\"test_code\":") &&
      line.number(row.test_code) && line.word(",\"recorded\":") &&
      line.name(recorded, time_from_text) && line.word(",\"started\":") && line.time(row.started) &&
      line.word(",\"ended\":") && line.time(row.ended) && line.word(",\"looked\":") &&
      line.time(row.looked) && line.word(",\"remaining_percent\":") &&
      line.number(row.remaining_percent) && row.remaining_percent.value_or(0) <= 100 &&
      line.word(",\"progressed\":") && line.time(row.progressed);
  if (!is_read) return false;
  row.source = *source;
  row.recorded = *recorded;
  return true;
}

bool read_result(Reader& line, TestRow& row) {
  return line.word(",\"outcome\":") && line.name_or_null(row.outcome, outcome_named) &&
         line.word(",\"cause\":") && line.text(row.cause) && line.word(",\"result_code\":") &&
         line.number(row.result_code) && line.word(",\"first_bad_block\":") &&
         line.number(row.first_bad_block) && line.word(",\"segment\":") &&
         line.number(row.segment) && line.word(",\"hours\":") && line.number(row.hours) &&
         line.word(",\"hours_at_start\":") && line.number(row.hours_at_start) &&
         line.word(",\"power_cycles_at_start\":") && line.number(row.power_cycles_at_start) &&
         line.word("}") && line.is_at_end();
}

}  // namespace

std::optional<KeptTest> test_from_written_line(std::string_view line) {
  std::optional<KeptTest> test(std::in_place);
  Reader reader(line);
  if (!read_head(reader, *test) || !read_times(reader, test->row) ||
      !read_result(reader, test->row) || !contradiction_in(*test).empty())
    return std::nullopt;
  test->drive.place = test->row.place;
  return test;
}

}  // namespace drivetest
