#include "cli/test_json.h"

#include <nlohmann/json.hpp>

#include "drivetest/history_json.h"

namespace cli {
namespace {

template <class Value>
Json or_null(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

Json abilities_json(const drivetest::Look& look) {
  Json json = Json::object();
  for (const drivetest::TestKind kind : drivetest::kTestKinds) {
    const drivetest::Ability& ability = look.abilities[static_cast<std::size_t>(kind)];
    json[std::string(name_of(kind))] = {{"able", ability.is_able},
                                        {"minutes", or_null(ability.minutes)}};
  }
  return json;
}

}  // namespace

Json text_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json drive_json(const ChosenDrive& chosen, const drivetest::Look& look) {
  const drivetest::Drive& drive = look.drive;
  return {{"name", text_or_null(chosen.name)},
          {"device", text_or_null(chosen.place.device)},
          {"type", text_or_null(chosen.place.type)},
          {"protocol", name_of(drive.protocol)},
          {"model", text_or_null(drive.model.empty() ? chosen.known.model : drive.model)},
          {"serial", text_or_null(chosen.serial_number(look))},
          {"firmware", text_or_null(drive.firmware)},
          {"world_wide_name", text_or_null(drive.world_wide_name)},
          {"size", or_null(drive.size)},
          {"rotational", or_null(drive.is_rotational)},
          {"tests", abilities_json(look)},
          {"inability", text_or_null(look.inability)}};
}

Json row_json(const drivetest::Look& look, const std::optional<drivetest::TestRow>& row,
              bool has_history) {
  if (!row) return {};
  Json json = drivetest::to_json({look.drive, *row});
  if (!has_history && row->source == drivetest::Source::Other) json["source"] = nullptr;
  const bool is_kept = row->number != 0;
  if (!is_kept)
    for (const char* name : {"number", "id", "recorded"}) json[name] = nullptr;
  return json;
}

}  // namespace cli
