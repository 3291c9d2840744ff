#include "broker/cimxml/header_check.h"

#include <algorithm>

#include "broker/cimxml/http_error.h"
#include "broker/error.h"
#include "platform/words.h"

namespace broker::cimxml {
namespace {

using platform::take_to;
using platform::trim;

// "text/xml; charset=utf-8" and its like; other parameters do not matter.
bool is_xml_in_utf8(std::string_view content_type) {
  const std::string_view media = trim(take_to(content_type, ';'));
  if (!same_name(media, "application/xml") && !same_name(media, "text/xml")) return false;
  while (!content_type.empty()) {
    std::string_view value = take_to(content_type, ';');
    if (!same_name(trim(take_to(value, '=')), "charset")) continue;
    value = trim(value);
    if (!same_name(value, "utf-8") && !same_name(value, "\"utf-8\"")) return false;
  }
  return true;
}

// A header field cannot tell the types of keys, and references in it may lack their name space.
bool same_key(const Value& header, const Value& body) {
  if (body.type() == Type::Reference) return true;
  return same_key_value(header, body) || to_text(header) == to_text(body);
}

bool names_target(const std::string& header, const SimpleRequest& asked) {
  if (asked.intrinsic) {
    std::string_view name = header;
    if (name.starts_with('/')) name.remove_prefix(1);
    return asked.target.name_space == name;
  }
  try {
    const ObjectPath named = ObjectPath::parse(header);
    const ObjectPath& target = asked.target;
    const bool same_space = named.name_space == target.name_space;
    if (!same_space || !(named.class_name == target.class_name)) return false;
    return named.keys.size() == target.keys.size() &&
           std::all_of(named.keys.begin(), named.keys.end(), [&](const Key& key) {
             const Value* value = target.key(key.name);
             return value && same_key(key.value, *value);
           });
  } catch (const Error&) {
    return false;
  }
}

}  // namespace

void check_head(const Call& call) {
  if (!call.operation || !same_name(trim(*call.operation), "MethodCall")) {
    throw HttpError(400, "unsupported-operation");
  }
  if (call.content_type && !is_xml_in_utf8(*call.content_type)) throw HttpError(415, nullptr);
  try {
    if (call.protocol_version && !same_major(trim(*call.protocol_version), '1')) {
      throw HttpError(501, "unsupported-protocol-version");
    }
  } catch (const HttpError& error) {
    if (error.http_status() == 501) throw;
    throw HttpError(400, "header-mismatch");  // no version, so it differs from the body's
  }
}

void check_match(const Call& call, const Message& message) {
  const auto require = [](bool match) {
    if (!match) throw HttpError(400, "header-mismatch");
  };
  require(!call.protocol_version || trim(*call.protocol_version) == message.protocol_version);
  require(call.batch.has_value() == message.batch);
  if (message.batch) {
    require(!call.method && !call.object);
    return;
  }
  const SimpleRequest& asked = message.requests.front();
  require(call.method && same_name(trim(*call.method), asked.name));
  require(call.object && (asked.error || names_target(*call.object, asked)));
}

}  // namespace broker::cimxml
