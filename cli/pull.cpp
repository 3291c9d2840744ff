#include "cli/pull.h"

#include <nlohmann/json.hpp>

#include "cli/test_json.h"
#include "drivetest/bay.h"
#include "platform/support/program.h"

namespace cli {

using drivetest::Bay;
using drivetest::Place;

namespace {

// The line that somebody can type; empty where ledctl is not installed.
std::string locate_line(const Bay& bay) {
  const bool can = !bay.block_device.empty() && !NKVRHVX20::find_program("ledctl").empty();
  return can ? "ledctl locate=" + bay.block_device : "";
}

std::string enclosure_text(const Bay& bay) {
  std::string text = "slot " + bay.slot + " of the enclosure ";
  if (!bay.enclosure_name.empty()) text += bay.enclosure_name + ", ";
  text += bay.enclosure;
  return bay.enclosure_id.empty() ? text : text + " (" + bay.enclosure_id + ")";
}

// As a drive calls itself; empty where it tells nothing.
std::string told_text(const std::string& model, const std::string& serial) {
  if (serial.empty()) return model;
  return (model.empty() ? "serial number " : model + ", serial number ") + serial;
}

}  // namespace

std::string bay_text(const Place& place) {
  const std::optional<Bay> bay = bay_of(place);
  if (!bay)
    return place.type + " of the RAID controller at " + place.device +
           ", whose own program knows the bay";
  std::string text = bay->by_path.empty() ? "" : "at " + bay->by_path;
  if (!bay->slot.empty()) text += (text.empty() ? "" : ", ") + enclosure_text(*bay);
  if (const std::string line = locate_line(*bay); !line.empty())
    text += (text.empty() ? "'" : "; '") + line + "' lights its bay";
  return text;
}

std::string drive_text(const std::string& model, const std::string& serial) {
  const std::string text = told_text(model, serial);
  return text.empty() ? "the drive" : text;
}

std::string pull_text(const Place& place, const std::string& model, const std::string& serial) {
  const std::string text = told_text(model, serial);
  const std::string bay = bay_text(place);
  return text.empty() || bay.empty() ? text + bay : text + ", " + bay;
}

Json bay_json(const Place& place) {
  const std::optional<Bay> known = bay_of(place);
  const Bay bay = known.value_or(Bay());
  return {{"by_path", text_or_null(bay.by_path)},
          {"enclosure", text_or_null(bay.enclosure)},
          {"enclosure_name", text_or_null(bay.enclosure_name)},
          {"enclosure_id", text_or_null(bay.enclosure_id)},
          {"slot", text_or_null(bay.slot)},
          {"controller", text_or_null(known ? "" : place.type)},
          {"locate", text_or_null(locate_line(bay))}};
}

}  // namespace cli
