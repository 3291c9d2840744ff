#include "broker/cimxml/decode.h"

#include <unordered_set>
#include <utility>
#include <vector>

#include "broker/cimxml/http_error.h"
#include "broker/error.h"
#include "platform/words.h"

namespace broker::cimxml {
namespace {

constexpr Type kTypes[] = {Type::Boolean, Type::String, Type::Char16,   Type::Uint8,
                           Type::Sint8,   Type::Uint16, Type::Sint16,   Type::Uint32,
                           Type::Sint32,  Type::Uint64, Type::Sint64,   Type::Datetime,
                           Type::Real32,  Type::Real64, Type::Reference};

using platform::trim;

// A real may begin with a plus sign, and all but texts may have white space around them.
Value typed_text(Type type, std::string_view text) {
  if (type == Type::None || type == Type::String) return Value(text);
  if (type == Type::Char16) return parse_value(type, false, text);
  text = trim(text);
  if (is_real(type) && text.starts_with('+')) text.remove_prefix(1);
  return parse_value(type, false, text);
}

// The type of a number that comes without one, by its form.
Type number_type(std::string_view text) {
  const bool hexadecimal = text.find_first_of("xX") != std::string_view::npos;
  if (!hexadecimal && text.find_first_of(".eE") != std::string_view::npos) return Type::Real64;
  return text.starts_with('-') ? Type::Sint64 : Type::Uint64;
}

Type declared_type(const Element& element) {
  const Type type = type_of(element.get("TYPE"));
  if (type == Type::None || type == Type::Reference) throw not_valid();
  return type;
}

void set_name_space(ObjectPath& path, const Element& element) {
  if (element.name == "LOCALNAMESPACEPATH") {
    path.name_space = Decoder::local_name_space(element);
    return;
  }
  if (element.name != "NAMESPACEPATH" || element.children.size() != 2 ||
      element.children[0].name != "HOST") {
    throw not_valid();
  }
  path.host = Name(trim(element.children[0].text));
  path.name_space = Decoder::local_name_space(element.children[1]);
}

}  // namespace

Type type_of(std::string_view name) {
  for (const Type type : kTypes) {
    if (type_name(type) == name) return type;
  }
  return Type::None;
}

std::string Decoder::local_name_space(const Element& element) {
  if (element.name != "LOCALNAMESPACEPATH" || element.children.empty()) throw not_valid();
  std::string result;
  for (const Element& part : element.children) {
    if (part.name != "NAMESPACE") throw not_valid();
    if (!result.empty()) result += '/';
    result += part.get("NAME");
  }
  return result;
}

ObjectPath Decoder::class_name(const Element& element) const {
  return ObjectPath({}, element.get("NAME"));
}

Value Decoder::key_value(const Element& element) const {
  if (element.name == "VALUE.REFERENCE") return value(element, Type::Reference, false);
  if (element.name != "KEYVALUE") throw not_valid();
  const std::string_view* given = element.find("TYPE");
  const Type type = given ? type_of(*given) : Type::None;
  if (given && type == Type::None) throw not_valid();
  const std::string_view* form = element.find("VALUETYPE");
  if (!form || *form == "string") return Value(element.text);
  if (*form == "boolean") return typed_text(Type::Boolean, element.text);
  if (*form != "numeric") throw not_valid();
  const bool number = is_integer(type) || is_real(type);
  return typed_text(number ? type : number_type(trim(element.text)), element.text);
}

ObjectPath Decoder::instance_name(const Element& element) const {
  ObjectPath path({}, element.get("CLASSNAME"));
  for (const Element& child : element.children) {
    if (child.name == "KEYBINDING") {
      const Element& value = child.only_child({"KEYVALUE", "VALUE.REFERENCE"});
      path.keys.push_back({child.get("NAME"), key_value(value)});
      continue;
    }
    // A single value without a name is that of the only key.
    if (element.children.size() != 1) throw not_valid();
    const ClassInfo* info = schema_.find(path.class_name);
    Value value = key_value(child);
    if (!info) continue;  // the object manager will refuse the class
    if (info->keys().size() != 1) {
      throw Error(Status::InvalidParameter,
                  "class " + info->name().str() + " has not one key, so the key needs its name");
    }
    path.keys.push_back({info->keys().front()->name, std::move(value)});
  }
  return path;
}

ObjectPath Decoder::path(const Element& element) const {
  if (element.name == "CLASSNAME") return class_name(element);
  if (element.name == "INSTANCENAME") return instance_name(element);
  const bool instance = element.name == "INSTANCEPATH" || element.name == "LOCALINSTANCEPATH";
  const bool local = element.name.starts_with("LOCAL");
  if (!instance && element.name != "CLASSPATH" && element.name != "LOCALCLASSPATH") {
    throw not_valid();
  }
  if (element.children.size() != 2 ||
      element.children[0].name != (local ? "LOCALNAMESPACEPATH" : "NAMESPACEPATH") ||
      element.children[1].name != (instance ? "INSTANCENAME" : "CLASSNAME")) {
    throw not_valid();
  }
  ObjectPath result = path(element.children[1]);
  set_name_space(result, element.children[0]);
  return result;
}

bool Decoder::embeds(const Element& element) {
  const std::string_view* kind = element.find("EmbeddedObject");
  if (!kind) kind = element.find("EMBEDDEDOBJECT");
  if (kind && *kind != "instance" && *kind != "object") throw not_valid();
  return kind != nullptr;
}

Value Decoder::scalar(const Element& element, Type type, bool embedded) const {
  if (element.name != "VALUE" || !element.children.empty()) throw not_valid();
  if (embedded) return Value(embedded_instance(element.text));
  return typed_text(type, element.text);
}

Value Decoder::value(const Element& element, Type type, bool embedded) const {
  if (element.name == "VALUE.REFERENCE") {
    if (element.children.size() != 1) throw not_valid();
    return Value(path(element.children.front()));
  }
  const bool references = element.name == "VALUE.REFARRAY";
  if (!references && element.name != "VALUE.ARRAY") return scalar(element, type, embedded);
  Type kind = type == Type::None ? Type::String : type;
  if (references) kind = Type::Reference;
  if (embedded) kind = Type::Instance;
  std::vector<Value> elements;
  for (const Element& child : element.children) {
    if (child.name == "VALUE.NULL") {
      elements.push_back(Value::null(kind));
    } else if (references) {
      if (child.name != "VALUE.REFERENCE") throw not_valid();
      elements.push_back(value(child, kind, false));
    } else {
      elements.push_back(scalar(child, kind, embedded));
    }
  }
  return Value::array(kind, std::move(elements));
}

Instance Decoder::instance(const Element& element) const {
  Instance result(ObjectPath({}, element.get("CLASSNAME")));
  std::unordered_set<std::string_view, NameHash, NameEqual> seen;
  for (const Element& child : element.children) {
    const bool array = child.name == "PROPERTY.ARRAY";
    const bool reference = child.name == "PROPERTY.REFERENCE";
    if (!array && !reference && child.name != "PROPERTY") throw not_valid();
    const std::string_view name = child.get("NAME");
    const Type declared = reference ? Type::Reference : declared_type(child);
    const bool embedded = !reference && embeds(child);
    const Type type = embedded ? Type::Instance : declared;
    if (!seen.insert(name).second) {
      throw Error(Status::InvalidParameter, "property " + std::string(name) + " is given twice");
    }
    if (child.children.empty()) {
      result.properties.push_back({name, Value::null(type, array)});
      continue;
    }
    std::string_view kind = "VALUE";
    if (array) kind = "VALUE.ARRAY";
    if (reference) kind = "VALUE.REFERENCE";
    const Element& value = child.only_child({kind});
    result.properties.push_back({name, this->value(value, declared, embedded)});
  }
  return result;
}

Instance Decoder::named_instance(const Element& element) const {
  if (element.children.size() != 2 || element.children[0].name != "INSTANCENAME" ||
      element.children[1].name != "INSTANCE") {
    throw not_valid();
  }
  ObjectPath name = instance_name(element.children[0]);
  Instance result = instance(element.children[1]);
  if (!(name.class_name == result.class_name())) {
    throw Error(Status::InvalidParameter, "an instance of " + result.class_name().str() +
                                              " stands under the name of a " +
                                              name.class_name.str());
  }
  result.path = std::move(name);
  return result;
}

Instance Decoder::embedded_instance(std::string_view text) const {
  if (embedding_ == kDeepestEmbedding) {
    throw Error(Status::InvalidParameter, "instances are embedded too deep");
  }
  Decoder inner(*this);
  ++inner.embedding_;
  try {
    const Document document = parse_document(text, allowance_);
    if (document.root.name != "INSTANCE") throw not_valid();
    return inner.instance(document.root);
  } catch (const HttpError&) {
    throw Error(Status::InvalidParameter, "the text of an embedded object is no instance in XML");
  }
}

}  // namespace broker::cimxml
