#include "cli/worker_message.h"

#include <cstdint>

namespace cli {
namespace {

template <class T>
Json optional_json(const std::optional<T>& value) {
  return value ? Json(*value) : Json();
}

template <class T>
std::optional<T> optional_value(const Json& json) {
  if (json.is_null()) return std::nullopt;
  return json.get<T>();
}

}  // namespace

Json pack(const DriveResult& result) {
  const Verdict& verdict = result.verdict;
  Json outcome;
  if (verdict.outcome) outcome = static_cast<std::uint16_t>(*verdict.outcome);
  Json begin;
  if (result.begin) begin = result.begin->time_since_epoch().count();
  return {{"outcome", std::move(outcome)},
          {"cause", verdict.cause},
          {"reason", verdict.reason},
          {"remaining", optional_json(verdict.remaining)},
          {"block", optional_json(verdict.block)},
          {"hours", optional_json(verdict.hours)},
          {"entry", optional_json(result.entry)},
          {"advice", optional_json(result.advice)},
          {"place", {result.place.device, result.place.type}},
          {"model", result.model},
          {"serial", result.serial},
          {"job", result.job},
          {"record", result.record},
          {"begin", std::move(begin)},
          {"elapsed", result.elapsed.count()},
          {"history_fault", result.history_fault},
          {"kind", result.kind ? Json(static_cast<int>(*result.kind)) : Json()}};
}

DriveResult unpack_result(const Json& json) {
  DriveResult result;
  if (const auto outcome = optional_value<std::uint64_t>(json.at("outcome")))
    result.verdict.outcome = outcome_of(*outcome);
  result.verdict.cause = json.at("cause");
  result.verdict.reason = json.at("reason");
  result.verdict.remaining = optional_value<int>(json.at("remaining"));
  result.verdict.block = optional_value<std::uint64_t>(json.at("block"));
  result.verdict.hours = optional_value<std::uint64_t>(json.at("hours"));
  result.entry = optional_value<std::string>(json.at("entry"));
  result.advice = optional_value<std::string>(json.at("advice"));
  result.place = {json.at("place").at(0), json.at("place").at(1)};
  result.model = json.at("model");
  result.serial = json.at("serial");
  result.job = json.at("job");
  result.record = json.at("record");
  if (const auto begin = optional_value<std::int64_t>(json.at("begin")))
    result.begin = std::chrono::sys_seconds(std::chrono::seconds(*begin));
  result.elapsed = std::chrono::seconds(json.at("elapsed").get<std::int64_t>());
  result.history_fault = json.at("history_fault");
  result.kind.reset();
  if (const auto kind = optional_value<int>(json.at("kind")))
    result.kind = static_cast<drivetest::TestKind>(*kind);
  return result;
}

Json pack(const TestProgress& progress) {
  return {{"kind", progress.kind ? Json(static_cast<int>(*progress.kind)) : Json()},
          {"source", static_cast<int>(progress.source)},
          {"percent", optional_json(progress.percent)},
          {"minutes", optional_json(progress.minutes)},
          {"stalled", progress.is_stalled}};
}

TestProgress unpack_progress(const Json& json) {
  TestProgress progress;
  if (const auto kind = optional_value<int>(json.at("kind")))
    progress.kind = static_cast<drivetest::TestKind>(*kind);
  progress.source = static_cast<drivetest::Source>(json.at("source").get<int>());
  progress.percent = optional_value<unsigned>(json.at("percent"));
  progress.minutes = optional_value<unsigned>(json.at("minutes"));
  progress.is_stalled = json.at("stalled");
  return progress;
}

}  // namespace cli
