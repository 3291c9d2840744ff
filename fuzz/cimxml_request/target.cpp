// CIM-XML requests. The lines before the first empty one are fields of the HTTP request, the rest
// is its body; without such lines the fields are those that fit the body.
#include "fuzz/target.h"

#include <algorithm>
#include <map>
#include <optional>
#include <variant>

#include "broker/cimxml/document.h"
#include "broker/cimxml/http_error.h"
#include "broker/cimxml/service.h"
#include "broker/http/head.h"
#include "broker/test_classes.h"
#include "platform/words.h"

namespace {

namespace cimxml = broker::cimxml;
using broker::http::Head;
using fuzz::require;

// Holds the service to what it promises of replies.
struct Recorder : cimxml::Reply {
  int status = 0;
  std::string body;
  bool abandoned = false;

  void begin(int http_status, const Headers& fields) override {
    require(status == 0, "a reply begins once");
    status = http_status;
    for (const auto& [name, value] : fields)
      require(value.find_first_of("\r\n") == value.npos && !name.empty(),
              "nothing of a request makes a field of the reply");
  }
  void write(std::string_view text) override {
    require(status != 0 && !abandoned, "a reply is written from its beginning to its end");
    body += text;
  }
  void abandon() override { abandoned = true; }
};

cimxml::Service& service() {
  static broker::ObjectManager& manager =
      *new broker::ObjectManager(broker::test_schema(), broker::test_options());
  static cimxml::Service& service = *new cimxml::Service(
      manager, {.elements = 5000, .batch = 10, .contexts = 20, .context_seconds = 1});
  return service;
}

using Fields = std::map<std::string, std::string>;

// The fields before the body, which stays.
Fields take_fields(std::string_view& input) {
  Fields fields;
  const std::size_t end = input.find("\n\n");
  if (input.starts_with('<') || end == input.npos) return fields;
  std::string_view lines = input.substr(0, end);
  input.remove_prefix(end + 2);
  while (!lines.empty()) {
    const std::string_view line = fuzz::take_line(lines);
    const std::size_t colon = line.find(": ");
    if (colon != line.npos) fields.emplace(line.substr(0, colon), line.substr(colon + 2));
  }
  return fields;
}

// The value of an attribute, from a place on.
std::string attribute(std::string_view text, std::string_view name, std::size_t from) {
  const std::string opening = std::string(name) + "=\"";
  const std::size_t begin = text.find(opening, from);
  if (begin == text.npos) return "";
  text.remove_prefix(begin + opening.size());
  return std::string(text.substr(0, text.find('"')));
}

Fields fitting_fields(std::string_view body) {
  if (body.find("<MULTIREQ") != body.npos)
    return {{"CIMOperation", "MethodCall"}, {"CIMBatch", ""}};
  const std::size_t call = std::min(body.find("METHODCALL"), body.size());
  const bool intrinsic = call > 0 && body.substr(call - 1).starts_with('I');
  const std::string key = attribute(body, "CLASSNAME", call);
  return {{"CIMOperation", "MethodCall"},
          {"CIMMethod", attribute(body, "NAME", call)},
          {"CIMObject", intrinsic ? "root/cimv2" : "root/cimv2:" + key + ".Name=\"one\""}};
}

bool is_document(std::string_view text) {
  cimxml::Allowance allowance{64, 1'000'000};
  try {
    cimxml::parse_document(text, allowance);
    return true;
  } catch (const cimxml::HttpError&) {
    return false;
  }
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  Fields fields = take_fields(input);
  const std::string body(input);
  if (fields.empty()) fields = fitting_fields(body);
  const auto field = [&](const std::string& name) -> std::optional<std::string> {
    for (const auto& [present, value] : fields)
      if (platform::same_name(present, name)) return value;
    return std::nullopt;
  };
  auto head = broker::http::read_head(fields.contains("Man") ? "M-POST" : "POST", "/cimom", field);
  if (!std::holds_alternative<Head>(head)) return;
  cimxml::Call& call = std::get<Head>(head).call;
  call.body = body;

  Recorder reply;
  service().answer(call, reply);
  require(!reply.abandoned, "no reply is broken off");
  switch (reply.status) {
    case 200:
      require(reply.body.ends_with("</CIM>\n"), "a reply is whole");
      require(is_document(reply.body), "a reply is well-formed and valid");
      break;
    case 400:
    case 413:
    case 415:
    case 501:
      break;
    default:
      require(false, "a request is answered or refused");
  }
}
