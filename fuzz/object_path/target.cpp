// Object paths in text form, and those that stand quoted in them.
#include "fuzz/target.h"

#include <optional>

#include "broker/error.h"
#include "broker/object_path.h"

namespace {

std::optional<broker::ObjectPath> parse(std::string_view text) {
  try {
    return broker::ObjectPath::parse(text);
  } catch (const broker::Error& error) {
    fuzz::require(error.status() == broker::Status::InvalidParameter, "it is the caller's fault");
    fuzz::require(error.description().size() < text.size() + 200, "the reason is short");
    return std::nullopt;
  }
}

void read(std::string_view text) {
  const auto path = parse(text);
  if (!path) return;
  const std::string written = path->to_text();
  const auto again = parse(written);
  fuzz::require(again.has_value(), "what is written can be read");
  fuzz::require(*again == *path && *path == *again, "what is written reads the same");
  fuzz::require(again->host == path->host && again->name_space == path->name_space,
                "host and name space too");
  fuzz::require(again->to_text() == written, "and is written the same");
  // This ends, because a quoted path is shorter than the path around it.
  for (const broker::Key& key : path->keys)
    if (key.value.type() == broker::Type::String) read(key.value.as_text());
}

}  // namespace

void fuzz::read_input(std::string_view input) { read(input); }
