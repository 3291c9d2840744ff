#include "drivetest/history_json.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

#include "drivetest/time_text.h"
#include "platform/words.h"

namespace drivetest {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kDeepest = 2;  // a member of the drive

template <class Value>
Json of_optional(const std::optional<Value>& value) {
  if (!value) return nullptr;
  return *value;
}

template <class Value>
Json of_name(const std::optional<Value>& value) {
  if (!value) return nullptr;
  return name_of(*value);
}

Json of_time(const std::optional<Time>& time) {
  if (!time) return nullptr;
  return time_text(*time);
}

std::string quoted(const std::string& text) {
  constexpr std::size_t kShown = 60;
  std::string shown = text.size() <= kShown ? text : text.substr(0, kShown) + "...";
  return Json(std::move(shown)).dump(-1, ' ', true, Json::error_handler_t::replace);
}

[[noreturn]] void refuse(const std::string& words) { throw JsonLineError(words); }

// Reads the members of one object. What is left at the end is unknown.
class Members {
 public:
  Members(const Json& object, std::string place) : object_(object), place_(std::move(place)) {
    if (!object.is_object()) refuse(place_.empty() ? "it is no object" : place_ + " is no object");
  }

  const Json& take(const char* name) {
    known_.insert(name);
    const auto found = object_.find(name);
    if (found == object_.end()) refuse(place_of(name) + " is missing");
    return *found;
  }

  void ignore(const char* name) { known_.insert(name); }

  std::string text(const char* name) {
    const Json& value = take(name);
    if (!value.is_string()) refuse(place_of(name) + " is no string");
    std::string text = value.get<std::string>();
    if (text.size() > kLongestMember) refuse(place_of(name) + " is too long");
    if (text.find('\0') != std::string::npos) refuse(place_of(name) + " holds a NUL");
    return text;
  }

  template <class Number>
  Number number(const char* name, Number least = std::numeric_limits<Number>::min(),
                Number most = std::numeric_limits<Number>::max()) {
    const std::optional<Number> number = optional_number<Number>(name, least, most);
    if (!number) refuse(place_of(name) + " is null");
    return *number;
  }

  template <class Number>
  std::optional<Number> optional_number(const char* name,
                                        Number least = std::numeric_limits<Number>::min(),
                                        Number most = std::numeric_limits<Number>::max()) {
    const Json& value = take(name);
    if (value.is_null()) return std::nullopt;
    return in_range<Number>(value, name, least, most);
  }

  std::optional<bool> optional_flag(const char* name) {
    const Json& value = take(name);
    if (value.is_null()) return std::nullopt;
    if (!value.is_boolean()) refuse(place_of(name) + " is neither true nor false");
    return value.get<bool>();
  }

  template <class Reader>
  auto optional_name(const char* name, Reader read) -> decltype(read({})) {
    if (take(name).is_null()) return std::nullopt;
    const std::string text = this->text(name);
    auto value = read(text);
    if (!value) refuse(place_of(name) + " is " + quoted(text));
    return value;
  }

  template <class Reader>
  auto name(const char* name, Reader read) {
    const auto value = optional_name(name, read);
    if (!value) refuse(place_of(name) + " is null");
    return *value;
  }

  void expect_no_others() const {
    for (const auto& [name, value] : object_.items())
      if (!known_.contains(name)) refuse(place_of(quoted(name)) + " is no member of a test");
  }

  std::string place_of(const std::string& name) const {
    return place_.empty() ? name : place_ + "." + name;
  }

 private:
  template <class Number>
  Number in_range(const Json& value, const char* name, Number least, Number most) const {
    if (!value.is_number_integer()) refuse(place_of(name) + " is no whole number");
    const bool is_inside = value.is_number_unsigned()
                               ? std::cmp_less_equal(value.get<std::uint64_t>(), most) &&
                                     std::cmp_greater_equal(value.get<std::uint64_t>(), least)
                               : std::cmp_greater_equal(value.get<std::int64_t>(), least) &&
                                     std::cmp_less_equal(value.get<std::int64_t>(), most);
    if (!is_inside) refuse(place_of(name) + " is " + value.dump() + ", which cannot be");
    return value.get<Number>();
  }

  const Json& object_;
  const std::string place_;
  std::set<std::string> known_;
};

Drive drive_from(const Json& json, std::string& identity) {
  Members members(json, "drive");
  Drive drive;
  identity = members.text("identity");
  if (identity.empty()) refuse("drive.identity is empty");
  drive.protocol = members.name("protocol", protocol_named);
  drive.model = members.text("model");
  drive.serial_number = members.text("serial_number");
  drive.firmware = members.text("firmware");
  drive.world_wide_name = members.text("world_wide_name");
  drive.size = members.optional_number<std::uint64_t>("size");
  drive.is_rotational = members.optional_flag("is_rotational");
  members.expect_no_others();
  return drive;
}

std::optional<std::string> id_from(std::string_view text) {
  if (!platform::is_hexadecimal(text, kIdDigits)) return std::nullopt;
  return std::string(text);
}

// Of a machine that has one.
std::optional<std::string> machine_id_from(std::string_view text) {
  return text.empty() ? std::optional<std::string>("") : id_from(text);
}

Json parsed(std::string_view line) {
  std::vector<std::set<std::string>> names;  // of the objects around the place that is read
  const auto expect_plain = [&](int depth, Json::parse_event_t event, Json& value) {
    if (depth >= kDeepest &&
        (event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start))
      refuse("it is nested too deep");
    if (event == Json::parse_event_t::object_start) names.emplace_back();
    if (event == Json::parse_event_t::object_end) names.pop_back();
    if (event == Json::parse_event_t::key && !names.back().insert(value.get<std::string>()).second)
      refuse(quoted(value.get<std::string>()) + " is there twice");
    return true;
  };
  try {
    return Json::parse(line, expect_plain);
  } catch (const Json::parse_error& error) {
    refuse("it is no JSON: at byte " + std::to_string(error.byte));
  } catch (const Json::out_of_range&) {
    refuse("it holds a number that is too large");
  }
}

}  // namespace

nlohmann::ordered_json to_json(const KeptTest& test) {
  const auto& [drive, row] = test;
  return {{"number", row.number},
          {"id", row.id},
          {"machine_id", row.machine_id},
          {"host_name", row.host_name},
          {"drive",
           {{"identity", row.drive},
            {"protocol", name_of(drive.protocol)},
            {"model", drive.model},
            {"serial_number", drive.serial_number},
            {"firmware", drive.firmware},
            {"world_wide_name", drive.world_wide_name},
            {"size", of_optional(drive.size)},
            {"is_rotational", of_optional(drive.is_rotational)}}},
          {"device", row.place.device},
          {"device_type", row.place.type},
          {"source", name_of(row.source)},
          {"kind", of_name(row.kind)},
          {"test_code", row.test_code},
          {"recorded", time_text(row.recorded)},
          {"started", of_time(row.started)},
          {"ended", of_time(row.ended)},
          {"looked", of_time(row.looked)},
          {"remaining_percent", of_optional(row.remaining_percent)},
          {"progressed", of_time(row.progressed)},
          {"outcome", of_name(row.outcome)},
          {"cause", row.cause},
          {"result_code", of_optional(row.result_code)},
          {"first_bad_block", of_optional(row.first_bad_block)},
          {"segment", of_optional(row.segment)},
          {"hours", of_optional(row.hours)},
          {"hours_at_start", of_optional(row.hours_at_start)},
          {"power_cycles_at_start", of_optional(row.power_cycles_at_start)}};
}

std::string json_line(const KeptTest& test) {
  return to_json(test).dump(-1, ' ', true, Json::error_handler_t::replace);
}

KeptTest test_from_json(std::string_view line) {
  const Json json = parsed(line);
  Members members(json, "");
  KeptTest test;
  TestRow& row = test.row;
  members.ignore("number");
  row.id = members.name("id", id_from);
  row.machine_id = members.name("machine_id", machine_id_from);
  row.host_name = members.text("host_name");
  test.drive = drive_from(members.take("drive"), row.drive);
  row.place.device = members.text("device");
  row.place.type = members.text("device_type");
  test.drive.place = row.place;
  row.source = members.name("source", source_named);
  row.kind = members.optional_name("kind", test_kind_named);
  row.test_code = members.number<int>("test_code");
  row.recorded = members.name("recorded", time_from_text);
  row.started = members.optional_name("started", time_from_text);
  row.ended = members.optional_name("ended", time_from_text);
  row.looked = members.optional_name("looked", time_from_text);
  row.remaining_percent = members.optional_number<unsigned>("remaining_percent", 0, 100);
  row.progressed = members.optional_name("progressed", time_from_text);
  row.outcome = members.optional_name("outcome", outcome_named);
  row.cause = members.text("cause");
  row.result_code = members.optional_number<int>("result_code");
  row.first_bad_block = members.optional_number<std::uint64_t>("first_bad_block");
  row.segment = members.optional_number<unsigned>("segment");
  row.hours = members.optional_number<std::uint64_t>("hours");
  row.hours_at_start = members.optional_number<std::uint64_t>("hours_at_start");
  row.power_cycles_at_start = members.optional_number<std::uint64_t>("power_cycles_at_start");
  members.expect_no_others();
  if (const std::string contradiction = contradiction_in(test); !contradiction.empty())
    refuse(contradiction);
  return test;
}

}  // namespace drivetest
