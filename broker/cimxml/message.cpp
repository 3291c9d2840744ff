#include "broker/cimxml/message.h"

#include <algorithm>
#include <utility>

#include "broker/cimxml/http_error.h"

namespace broker::cimxml {
namespace {

class MessageReader {
 public:
  MessageReader(const Schema& schema, Allowance& allowance, std::size_t batch)
      : decoder_(schema, allowance), batch_(batch) {}

  Message read(const Element& root) const {
    if (root.name != "CIM") throw not_valid();
    if (!same_major(root.get("CIMVERSION"), '2')) throw HttpError(501, "unsupported-cim-version");
    if (!same_major(root.get("DTDVERSION"), '2')) throw HttpError(501, "unsupported-dtd-version");
    const Element& element = root.only_child({"MESSAGE"});
    Message message;
    message.id = element.get("ID");
    message.protocol_version = element.get("PROTOCOLVERSION");
    if (!same_major(message.protocol_version, '1')) {
      throw HttpError(501, "unsupported-protocol-version");
    }
    if (element.children.size() == 1 && element.children[0].name.ends_with("EXPREQ")) {
      throw HttpError(400, "unsupported-operation");
    }
    const Element& asked = element.only_child({"SIMPLEREQ", "MULTIREQ"});
    message.batch = asked.name == "MULTIREQ";
    if (!message.batch) {
      message.requests.push_back(simple(asked));
      return message;
    }
    if (asked.children.size() < 2) throw not_valid();
    if (asked.children.size() > batch_) throw HttpError(501, "multiple-requests-unsupported");
    for (const Element& each : asked.children) {
      if (each.name != "SIMPLEREQ") throw not_valid();
      message.requests.push_back(simple(each));
    }
    return message;
  }

 private:
  SimpleRequest simple(const Element& element) const {
    const Element& call = element.only_child({"IMETHODCALL", "METHODCALL"});
    SimpleRequest request;
    request.intrinsic = call.name == "IMETHODCALL";
    request.name = call.get("NAME");
    if (call.children.empty()) throw not_valid();
    try {
      read_target(call.children[0], request);
    } catch (const Error& error) {
      request.error = error;
    }
    for (std::size_t i = 1; i < call.children.size(); ++i) {
      const Element& child = call.children[i];
      if (child.name != (request.intrinsic ? "IPARAMVALUE" : "PARAMVALUE")) throw not_valid();
      try {
        request.parameters.push_back(parameter(child));
      } catch (const Error& error) {
        if (request.error) continue;
        request.error = Error(error.status(), "parameter " + std::string(child.get("NAME")) + ": " +
                                                  error.description());
      }
    }
    return request;
  }

  void read_target(const Element& element, SimpleRequest& request) const {
    if (request.intrinsic) {
      request.target.name_space = Decoder::local_name_space(element);
    } else if (element.name == "LOCALCLASSPATH" || element.name == "LOCALINSTANCEPATH") {
      request.target = decoder_.path(element);
    } else {
      throw not_valid();
    }
  }

  Parameter parameter(const Element& element) const {
    Parameter result;
    result.name = element.get("NAME");
    const bool embedded = Decoder::embeds(element);
    const std::string_view* given = element.find("PARAMTYPE");
    const Type type = given ? type_of(*given) : Type::None;
    if (given && type == Type::None) throw not_valid();
    if (element.children.empty()) return result;
    if (element.children.size() != 1) throw not_valid();
    read_content(element.children.front(), type, embedded, result);
    return result;
  }

  void read_content(const Element& element, Type type, bool embedded, Parameter& result) const {
    constexpr std::pair<std::string_view, Form> kForms[] = {
        {"VALUE", Form::Text},
        {"VALUE.ARRAY", Form::Texts},
        {"VALUE.REFERENCE", Form::Reference},
        {"VALUE.REFARRAY", Form::References},
        {"CLASSNAME", Form::ClassName},
        {"INSTANCENAME", Form::InstanceName},
        {"INSTANCE", Form::Instance},
        {"VALUE.NAMEDINSTANCE", Form::NamedInstance},
        {"CLASS", Form::NotSupported},
        {"QUALIFIER.DECLARATION", Form::NotSupported},
    };
    const auto* const found =
        std::find_if(std::begin(kForms), std::end(kForms),
                     [&](const auto& form) { return form.first == element.name; });
    if (found == std::end(kForms)) throw not_valid();
    result.form = found->second;
    switch (result.form) {
      case Form::ClassName:
        result.value = Value(decoder_.class_name(element));
        break;
      case Form::InstanceName:
        result.value = Value(decoder_.instance_name(element));
        break;
      case Form::Instance:
        result.value = Value(decoder_.instance(element));
        break;
      case Form::NamedInstance:
        result.value = Value(decoder_.named_instance(element));
        break;
      case Form::NotSupported:
        break;
      default:
        result.value = decoder_.value(element, type, embedded);
    }
  }

  Decoder decoder_;
  std::size_t batch_;
};

}  // namespace

bool same_major(std::string_view version, char major) {
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  const std::size_t dot = version.find('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == version.size() ||
      !std::all_of(version.begin(), version.begin() + static_cast<std::ptrdiff_t>(dot), digit) ||
      !std::all_of(version.begin() + static_cast<std::ptrdiff_t>(dot) + 1, version.end(),
                   [&](char c) { return digit(c) || c == '.'; })) {
    throw not_valid();
  }
  return version.substr(0, dot) == std::string_view(&major, 1);
}

Message read_message(std::string_view text, const Schema& schema, Allowance& allowance,
                     std::size_t batch) {
  const Document document = parse_document(text, allowance);
  return MessageReader(schema, allowance, batch).read(document.root);
}

}  // namespace broker::cimxml
