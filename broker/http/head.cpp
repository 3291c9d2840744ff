#include "broker/http/head.h"

#include <gnutls/gnutls.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <memory>

#include "broker/cimxml/functional_groups.h"
#include "platform/words.h"

namespace broker::http {
namespace {

using platform::hexadecimal_value;
using platform::only_digits;
using platform::same_name;
using platform::trim;

constexpr std::string_view kExtension = "http://www.dmtf.org/cim/mapping/http/v1.0";

// Takes what stands before the separator from the front of the text.
std::string_view take(std::string_view& text, char separator) {
  return trim(platform::take_to(text, separator));
}

std::string_view unquote(std::string_view text) {
  const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

// "73-" of a Man field that declares CIM's extension with "ns=73". Empty when it declares none, or
// another one too: such a request must not be fulfilled.
std::string declared_prefix(std::string_view man) {
  std::string prefix;
  while (!man.empty()) {
    std::string_view declaration = take(man, ',');
    if (unquote(take(declaration, ';')) != kExtension) return "";
    while (!declaration.empty()) {
      std::string_view value = take(declaration, ';');
      if (!same_name(take(value, '='), "ns")) continue;
      const std::string_view number = trim(value);
      if (number.size() < 2 || number.size() > 9 || !only_digits(number)) return "";
      prefix = std::string(number) + "-";
    }
  }
  return prefix;
}

// What stands behind the scheme of an absolute URI; unset for any other text.
std::optional<std::string_view> behind_scheme(std::string_view target) {
  for (const std::string_view scheme : {"http://", "https://"})
    if (same_name(target.substr(0, scheme.size()), scheme)) return target.substr(scheme.size());
  return std::nullopt;
}

// The path of an absolute URI. Any other text is a path itself.
std::string_view path_of(std::string_view target) {
  const auto rest = behind_scheme(target);
  if (!rest) return target;
  const std::size_t slash = rest->find('/');
  return slash == std::string_view::npos ? "/" : rest->substr(slash);
}

// Whether the field can have one value alone: those of CIM, with or without a prefix, and those
// that decide who asks and how the request is read.
bool is_single(std::string_view name) {
  for (const std::string_view one : {"Authorization", "Content-Encoding", "Content-Type", "Man"})
    if (same_name(name, one)) return true;
  const std::size_t prefix = std::min(name.find_first_not_of("0123456789-"), name.size());
  return same_name(name.substr(prefix, 3), "CIM");
}

// The answer to a method that the server does not have: 405 to HTTP's own, 501 to unknown ones.
Refusal wrong_method(std::string_view method) {
  constexpr std::string_view kKnownMethods[] = {"GET",   "HEAD",    "PUT",  "DELETE",
                                                "TRACE", "CONNECT", "PATCH"};
  const bool is_known = std::find(std::begin(kKnownMethods), std::end(kKnownMethods), method) !=
                        std::end(kKnownMethods);
  if (!is_known) return {501};
  return {405, {{"Allow", "POST, M-POST, OPTIONS"}}};
}

// Whether a field of alternatives ("text/xml, */*;q=0.5") accepts something. ranges: the names and
// patterns that mean it. The first that the field has decides, so the most exact stands first
// (RFC 9110, 12.5).
bool accepts(std::string_view field, std::initializer_list<std::string_view> ranges) {
  if (trim(field).empty()) return true;
  for (const std::string_view range : ranges) {
    for (std::string_view rest = field; !rest.empty();) {
      std::string_view parameters = take(rest, ',');
      if (!same_name(take(parameters, ';'), range)) continue;
      bool good = true;
      while (!parameters.empty()) {
        std::string_view value = take(parameters, ';');
        if (same_name(take(value, '='), "q"))
          good = trim(value).find_first_not_of("0.") != std::string_view::npos;
      }
      return good;
    }
  }
  return false;
}

// Unset when the text is not Base64 with all its padding.
std::optional<std::string> decode_base64(std::string_view text) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  const gnutls_datum_t encoded = {const_cast<unsigned char*>(bytes),
                                  static_cast<unsigned>(text.size())};
  gnutls_datum_t decoded{};
  if (gnutls_base64_decode2(&encoded, &decoded) != GNUTLS_E_SUCCESS) return std::nullopt;
  const std::unique_ptr<unsigned char, decltype(gnutls_free)> owned(decoded.data, gnutls_free);
  return std::string(reinterpret_cast<const char*>(decoded.data), decoded.size);
}

// The answer to a client that asks which operations there are.
Refusal capabilities() {
  return {200,
          {{"Allow", "POST, M-POST, OPTIONS"},
           {"Opt", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73"},
           {"73-CIMProtocolVersion", "1.0"},
           {"73-CIMSupportsMultipleOperations", "true"},  // clients go by the field, not its value
           {"73-CIMSupportedFunctionalGroups", cimxml::functional_groups()}}};
}

}  // namespace

std::variant<Head, Refusal> read_head(std::string_view method, std::string_view path,
                                      const Fields& fields) {
  const std::string_view place = path_of(path);
  if (method == "OPTIONS") return capabilities();
  if (method != "POST" && method != "M-POST") return wrong_method(method);
  if (place != "/cimom" && place != "/") return Refusal{404};
  // Browsers send this field when a page of another origin makes them send something. No other
  // client does.
  if (fields("Origin")) return Refusal{403};

  const std::string encoding = fields("Content-Encoding").value_or("identity");
  if (!same_name(trim(encoding), "identity")) return Refusal{415};
  const std::string media = fields("Accept").value_or("");
  // A client that takes only text/xml can read application/xml.
  if ((!accepts(media, {"application/xml", "application/*", "*/*", "*"}) &&
       !accepts(media, {"text/xml", "text/*", "*/*", "*"})) ||
      !accepts(fields("Accept-Charset").value_or(""), {"utf-8", "*"}))
    return Refusal{406};

  Head head;
  if (method == "M-POST") {
    head.prefix = declared_prefix(fields("Man").value_or(""));
    if (head.prefix.empty()) return Refusal{510};
  }
  const auto cim = [&](const char* name) { return fields(head.prefix + name); };
  const auto decoded = [&](const char* name) {
    const auto value = cim(name);
    return value ? std::optional(decode_escapes(*value)) : std::nullopt;
  };
  head.call.operation = cim("CIMOperation");
  head.call.method = decoded("CIMMethod");
  head.call.object = decoded("CIMObject");
  head.call.batch = cim("CIMBatch");
  head.call.protocol_version = cim("CIMProtocolVersion");
  head.call.content_type = fields("Content-Type");
  head.call.accept_language = fields("Accept-Language").value_or("");
  return head;
}

std::optional<std::string> host_of(std::string_view target) {
  const auto rest = behind_scheme(target);
  if (!rest) return std::nullopt;
  return std::string(rest->substr(0, rest->find_first_of("/?#")));
}

bool says_twice(const Headers& fields) {
  for (auto field = fields.begin(); field != fields.end(); ++field)
    if (is_single(field->first) &&
        std::any_of(std::next(field), fields.end(),
                    [&](const auto& other) { return same_name(field->first, other.first); }))
      return true;
  return false;
}

Headers reply_headers(const Headers& headers, const std::string& prefix) {
  if (prefix.empty()) return headers;
  Headers replied = {
      {"Ext", " "},
      {"Cache-Control", "no-cache"},
      {"Man", std::string(kExtension) + " ; ns=" + prefix.substr(0, prefix.size() - 1)}};
  for (const auto& [name, value] : headers)
    replied.emplace_back(same_name(name.substr(0, 3), "CIM") ? prefix + name : name, value);
  return replied;
}

std::optional<Credentials> basic_credentials(std::string_view authorization) {
  constexpr std::string_view kScheme = "Basic ";
  if (!same_name(authorization.substr(0, kScheme.size()), kScheme)) return std::nullopt;
  const auto text = decode_base64(trim(authorization.substr(kScheme.size())));
  const std::size_t colon = text ? text->find(':') : std::string::npos;
  if (colon == std::string::npos) return std::nullopt;
  return Credentials{text->substr(0, colon), text->substr(colon + 1)};
}

// Decoded here, since none of the libraries that are linked reads %XX.
std::string decode_escapes(std::string_view text) {
  std::string decoded;
  for (; !text.empty(); text.remove_prefix(1)) {
    const int high = text.size() >= 3 && text[0] == '%' ? hexadecimal_value(text[1]) : -1;
    const int low = high >= 0 ? hexadecimal_value(text[2]) : -1;
    if (low >= 0) {
      decoded += static_cast<char>(high << 4 | low);
      text.remove_prefix(2);
    } else {
      decoded += text.front();
    }
  }
  return decoded;
}

}  // namespace broker::http
