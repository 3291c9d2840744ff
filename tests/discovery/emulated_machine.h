// The drives that an emulator was told to have, read from its command line, with the decision that
// discovery has to make on each. This knows controllers and names, and nothing of what hwinfo
// prints.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace discovery {

struct EmulatedDrive {
  std::string serial;
  std::string decision;  // testable, raid, usb, micro-flash or lsi
};

// The part of the text between two marks, up to its end when the second is missing.
inline std::string cut(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t position = text.find(begin);
  if (position == text.npos) return {};
  const std::size_t first = position + begin.size();
  return text.substr(first, text.find(end, first) - first);
}

// The drives of "-device MODEL,KEY=VALUE,..." arguments, in their order. Of a repeated key the last
// value counts.
inline std::vector<EmulatedDrive> emulated_drives(const std::string& arguments) {
  std::map<std::string, std::string> adapters = {{"ide", "ide"}};
  std::vector<EmulatedDrive> drives;
  const std::string mark = "-device ";
  for (std::size_t at = arguments.find(mark); at != arguments.npos;) {
    const std::size_t next = arguments.find(" -", at + 1);
    std::string rest = arguments.substr(at + mark.size(), next - at - mark.size()) + ",";
    at = arguments.find(mark, at + 1);
    const std::string model = rest.substr(0, rest.find(','));
    std::map<std::string, std::string> values;
    rest.erase(0, model.size() + 1);
    while (!rest.empty()) {
      values[rest.substr(0, rest.find('='))] = cut(rest, "=", ",");
      rest.erase(0, rest.find(',') + 1);
    }
    if (values.contains("id")) adapters[values["id"]] = model;
    const std::string adapter = adapters[values["bus"].substr(0, values["bus"].find('.'))];
    const std::string name = values["model"] + values["product"];
    const auto is_called = [&](const char* word) { return name.find(word) != name.npos; };
    std::string decision;
    if (model == "usb-storage" || adapter == "usb-bot")
      decision = is_called("Vellacore") ? "lsi" : "usb";
    else if (model == "ide-hd")
      decision = is_called("PQI") ? "micro-flash" : "testable";
    else if (model == "nvme" || model == "virtio-blk-pci")
      decision = "testable";
    else if (model == "scsi-hd")
      decision = "raid";
    if (!decision.empty()) drives.push_back({values["serial"], decision});
  }
  return drives;
}

}  // namespace discovery
