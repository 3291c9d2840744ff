#include "broker/registration_file.h"

#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include "broker/error.h"
#include "broker/name.h"
#include "platform/words.h"

namespace broker {
namespace {

using platform::take_to;
using platform::take_word;
using platform::trim;

std::vector<std::string_view> words(std::string_view text) {
  std::vector<std::string_view> result;
  while (true) {
    const std::string_view word = take_word(text);
    if (word.empty()) return result;
    result.push_back(word);
  }
}

class RegistrationReader {
 public:
  explicit RegistrationReader(std::string_view name) : name_(name) {}

  std::vector<RegistrationEntry> read(std::string_view text) {
    while (!text.empty()) {
      ++line_;
      read_line(trim(take_to(text, '\n')));
    }
    finish_section();
    return std::move(entries_);
  }

 private:
  [[noreturn]] void fail(std::size_t line, const std::string& reason) const {
    throw Error(Status::Failed, name_ + ":" + std::to_string(line) + ": " + reason);
  }
  [[noreturn]] void fail(const std::string& reason) const { fail(line_, reason); }

  void read_line(std::string_view line) {
    if (line.empty() || line.front() == '#') return;
    if (line.front() == '[') {
      read_section(line);
      return;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) fail("neither [CLASS] nor key: value");
    if (section_ == 0) fail("a [CLASS] must stand before the first key");
    const std::string key(trim(line.substr(0, colon)));
    if (!seen_.insert(key).second) fail("'" + key + "' is given twice");
    set(key, words(line.substr(colon + 1)));
  }

  void read_section(std::string_view line) {
    if (line.back() != ']') fail("the closing bracket is missing");
    finish_section();
    const std::string_view name = trim(line.substr(1, line.size() - 2));
    if (name.empty() || name.find_first_of(platform::kBlanks) != std::string_view::npos) {
      fail("one class name must stand between the brackets");
    }
    section_ = line_;
    seen_.clear();
    entries_.emplace_back();
    entries_.back().class_name = name;
  }

  void set(const std::string& key, const std::vector<std::string_view>& values) {
    RegistrationEntry& entry = entries_.back();
    const std::map<std::string_view, std::string*> texts{
        {"provider", &entry.provider}, {"location", &entry.location}, {"group", &entry.group}};
    if (const auto text = texts.find(key); text != texts.end()) {
      if (values.size() != 1) fail("'" + key + "' takes one word");
      *text->second = values.front();
      if (key == "location" && text->second->find('/') != std::string::npos) {
        fail("a location is the name of a library without folder, 'lib' and '.so'");
      }
    } else if (key == "type") {
      if (values.empty()) fail("'type' takes instance, method or association");
      for (std::string_view value : values) set_type(entry, value);
    } else if (key == "namespace") {
      if (values.empty()) fail("'namespace' takes at least one name");
      entry.name_spaces.assign(values.begin(), values.end());
    } else if (key == "unload") {
      if (values.size() != 1 || values.front() != "never") fail("'unload' can only be never");
      entry.unload_never = true;
    } else {
      fail("unknown key '" + key + "'");
    }
  }

  void set_type(RegistrationEntry& entry, std::string_view type) {
    bool* flag = nullptr;
    if (type == "instance") flag = &entry.instance;
    if (type == "method") flag = &entry.method;
    if (type == "association") flag = &entry.association;
    if (!flag) fail("unknown type '" + std::string(type) + "'");
    if (*flag) fail("type '" + std::string(type) + "' is given twice");
    *flag = true;
  }

  void finish_section() {
    if (section_ == 0) return;
    const RegistrationEntry& entry = entries_.back();
    for (const char* key : {"provider", "location", "type", "namespace"}) {
      if (!seen_.contains(key)) {
        fail(section_, "class " + entry.class_name + " has no '" + key + "'");
      }
    }
    for (const RegistrationEntry& earlier : entries_) {
      if (&earlier != &entry && same_name(earlier.class_name, entry.class_name) &&
          ((earlier.instance && entry.instance) || (earlier.method && entry.method) ||
           (earlier.association && entry.association))) {
        fail(section_, "class " + entry.class_name + " is registered twice for the same type");
      }
    }
  }

  std::string name_;
  std::size_t line_ = 0;
  std::size_t section_ = 0;  // the line it begins at; 0 before the first section
  std::set<std::string> seen_;
  std::vector<RegistrationEntry> entries_;
};

}  // namespace

std::vector<RegistrationEntry> parse_registration(std::string_view text, std::string_view name) {
  return RegistrationReader(name).read(text);
}

std::vector<RegistrationEntry> read_registration(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream) throw Error(Status::Failed, file.string() + ": the registration cannot be read");
  return parse_registration(text, file.string());
}

}  // namespace broker
