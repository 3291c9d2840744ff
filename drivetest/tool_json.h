// The JSON that drive tools print, read so that nothing in it can do harm: it may come from a drive
// with a fault, or from a program that only has the tool's name. What is absent, of another type,
// negative or absurdly large counts as not told.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace drivetest {

// The text with U+FFFD in the place of bytes that are not UTF-8.
std::string valid_utf8(std::string_view text);

// A part of a document, or nothing; valid as long as the document. No member throws.
class JsonPart {
 public:
  JsonPart() = default;
  explicit JsonPart(const nlohmann::json* json) : json_(json) {}

  JsonPart operator[](const char* name) const;  // a member of an object
  JsonPart at(std::size_t index) const;         // an element of an array
  std::size_t size() const;                     // of an array; 0 for all else
  bool is_object() const;

  std::optional<std::uint64_t> number(
      std::uint64_t most = std::numeric_limits<std::uint64_t>::max()) const;
  std::optional<bool> truth() const;
  // Without blanks at the ends, U+FFFD in the place of a NUL; empty when it is no text.
  std::string text() const;
  // The number, or that of the member "value": smartctl prints codes with their names.
  std::optional<std::uint64_t> code(std::uint64_t most) const;
  // A whole number of either sign.
  std::optional<std::int64_t> whole() const;

 private:
  const nlohmann::json* json_ = nullptr;
};

// A document of at most 8 MiB. What is nested deeper than 32 levels is left out.
class JsonDocument {
 public:
  explicit JsonDocument(std::string_view text);
  ~JsonDocument();
  JsonDocument(const JsonDocument&) = delete;

  bool is_readable() const;  // whether the text is JSON, and an object
  JsonPart root() const;

 private:
  std::unique_ptr<nlohmann::json> json_;
};

}  // namespace drivetest
