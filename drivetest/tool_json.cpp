#include "drivetest/tool_json.h"

#include <nlohmann/json.hpp>

#include "platform/utf8.h"
#include "platform/words.h"

namespace drivetest {

namespace {

constexpr std::size_t kLongestDocument = std::size_t{8} << 20;
constexpr int kDeepest = 32;
constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD

nlohmann::json parsed(std::string_view text) {
  if (text.size() > kLongestDocument) return nlohmann::json::value_t::discarded;
  const auto is_shallow = [](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
    return depth < kDeepest;
  };
  return nlohmann::json::parse(valid_utf8(text), is_shallow, false);
}

}  // namespace

std::string valid_utf8(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const auto [character, length] = platform::first_utf8(text);
    if (character == platform::Utf8Sequence::kNone)
      platform::append_utf8(valid, 0xFFFD);
    else
      valid += text.substr(0, length);
    text.remove_prefix(length);
  }
  return valid;
}

JsonPart JsonPart::operator[](const char* name) const {
  if (!is_object()) return {};
  const auto member = json_->find(name);
  return member == json_->end() ? JsonPart() : JsonPart(&*member);
}

JsonPart JsonPart::at(std::size_t index) const {
  return index < size() ? JsonPart(&(*json_)[index]) : JsonPart();
}

std::size_t JsonPart::size() const { return json_ && json_->is_array() ? json_->size() : 0; }
bool JsonPart::is_object() const { return json_ && json_->is_object(); }

std::optional<std::uint64_t> JsonPart::number(std::uint64_t most) const {
  // What is not negative is kept as an unsigned number.
  if (!json_ || !json_->is_number_unsigned()) return std::nullopt;
  const auto value = json_->get<std::uint64_t>();
  if (value > most) return std::nullopt;
  return value;
}

std::optional<bool> JsonPart::truth() const {
  if (!json_ || !json_->is_boolean()) return std::nullopt;
  return json_->get<bool>();
}

// The history keeps no NUL, and a drive must be the same there as here.
std::string JsonPart::text() const {
  if (!json_ || !json_->is_string()) return {};
  std::string text(platform::trim(json_->get_ref<const std::string&>()));
  for (std::size_t at = text.find('\0'); at != text.npos; at = text.find('\0', at))
    text.replace(at, 1, kReplacement);
  return text;
}

std::optional<std::uint64_t> JsonPart::code(std::uint64_t most) const {
  return is_object() ? (*this)["value"].number(most) : number(most);
}

std::optional<std::int64_t> JsonPart::whole() const {
  if (const auto value = number(std::numeric_limits<std::int64_t>::max()))
    return static_cast<std::int64_t>(*value);
  if (!json_ || !json_->is_number_integer() || json_->is_number_unsigned()) return std::nullopt;
  return json_->get<std::int64_t>();
}

JsonDocument::JsonDocument(std::string_view text)
    : json_(std::make_unique<nlohmann::json>(parsed(text))) {}

JsonDocument::~JsonDocument() = default;

bool JsonDocument::is_readable() const { return root().is_object(); }
JsonPart JsonDocument::root() const { return JsonPart(json_.get()); }

}  // namespace drivetest
