#include "broker/cimxml/writer.h"

#include <unistd.h>

#include "platform/words.h"

namespace broker::cimxml {

const std::string& host_name() {
  static const std::string& name = *new std::string([] {
    char buffer[256] = {};
    const bool found = gethostname(buffer, sizeof buffer - 1) == 0 && buffer[0] != '\0';
    return std::string(found ? buffer : "localhost");
  }());
  return name;
}

std::string_view wire_type(Type type) {
  return type_name(type == Type::Instance || type == Type::None ? Type::String : type);
}

std::string_view embedding(const Qualifier* embedded_instance) {
  return embedded_instance ? "instance" : "object";
}

void Writer::class_name(std::string_view name) {
  text_ << "<CLASSNAME NAME=\"";
  text_.attribute(name);
  text_ << "\"/>";
}

void Writer::instance_name(const ObjectPath& path) {
  text_ << "<INSTANCENAME CLASSNAME=\"";
  text_.attribute(path.class_name);
  text_ << "\">";
  for (const Key& key : path.keys) {
    text_ << "<KEYBINDING NAME=\"";
    text_.attribute(key.name);
    text_ << "\">";
    this->key(key.value);
    text_ << "</KEYBINDING>";
  }
  text_ << "</INSTANCENAME>";
}

void Writer::key(const Value& value) {
  if (value.type() == Type::Reference) {
    this->value(value);
    return;
  }
  std::string_view kind = "string";
  if (is_integer(value.type()) || is_real(value.type())) kind = "numeric";
  if (value.type() == Type::Boolean) kind = "boolean";
  text_ << "<KEYVALUE VALUETYPE=\"" << kind << "\" TYPE=\"" << wire_type(value.type()) << "\">";
  scalar(value);
  text_ << "</KEYVALUE>";
}

void Writer::local_name_space_path(std::string_view name) {
  text_ << "<LOCALNAMESPACEPATH>";
  while (!name.empty()) {
    text_ << "<NAMESPACE NAME=\"";
    text_.attribute(platform::take_to(name, '/'));
    text_ << "\"/>";
  }
  text_ << "</LOCALNAMESPACEPATH>";
}

void Writer::name_space_path(const ObjectPath& path) {
  text_ << "<NAMESPACEPATH><HOST>";
  text_.content(path.host.empty() ? std::string_view(host_name()) : path.host.view());
  text_ << "</HOST>";
  local_name_space_path(path.name_space.empty() ? kServedNameSpace : path.name_space.view());
  text_ << "</NAMESPACEPATH>";
}

void Writer::instance_path(const ObjectPath& path) {
  text_ << "<INSTANCEPATH>";
  name_space_path(path);
  instance_name(path);
  text_ << "</INSTANCEPATH>";
}

void Writer::class_path(const ObjectPath& path) {
  text_ << "<CLASSPATH>";
  name_space_path(path);
  class_name(path.class_name);
  text_ << "</CLASSPATH>";
}

void Writer::named_instance(const Instance& instance) {
  text_ << "<VALUE.NAMEDINSTANCE>";
  instance_name(instance.path);
  this->instance(instance);
  text_ << "</VALUE.NAMEDINSTANCE>";
}

void Writer::instance_with_path(const Instance& instance) {
  text_ << "<VALUE.INSTANCEWITHPATH>";
  instance_path(instance.path);
  this->instance(instance);
  text_ << "</VALUE.INSTANCEWITHPATH>";
}

void Writer::object_with_path(const Instance& instance) {
  text_ << "<VALUE.OBJECTWITHPATH>";
  instance_path(instance.path);
  this->instance(instance);
  text_ << "</VALUE.OBJECTWITHPATH>";
}

void Writer::object_path(const ObjectPath& path) {
  text_ << "<OBJECTPATH>";
  instance_path(path);
  text_ << "</OBJECTPATH>";
}

void Writer::reference(const ObjectPath& path) {
  // A path without keys names a class, or the one instance of a class that declares no keys.
  const ClassInfo* info = path.keys.empty() ? schema_.find(path.class_name) : nullptr;
  const bool is_class = path.keys.empty() && !(info && info->keys().empty());
  const bool local = path.host.empty();
  const auto name = [&] {
    if (is_class) {
      class_name(path.class_name);
    } else {
      instance_name(path);
    }
  };
  text_ << "<VALUE.REFERENCE>";
  if (local && path.name_space.empty()) {
    name();
  } else {
    const std::string_view place = local ? "LOCAL" : "";
    const std::string_view element = is_class ? "CLASSPATH>" : "INSTANCEPATH>";
    text_ << "<" << place << element;
    if (local) {
      local_name_space_path(path.name_space);
    } else {
      name_space_path(path);
    }
    name();
    text_ << "</" << place << element;
  }
  text_ << "</VALUE.REFERENCE>";
}

void Writer::scalar(const Value& value) {
  switch (value.type()) {
    case Type::Boolean:
      text_ << (value.as_boolean() ? "TRUE" : "FALSE");
      return;
    case Type::Char16:
      text_.character(static_cast<char16_t>(value.as_unsigned()));
      return;
    case Type::Real32:
    case Type::Real64:
      text_.real(value.as_real(), value.type());
      return;
    case Type::None:
    case Type::String:
    case Type::Datetime:
      text_.content(value.as_text());
      return;
    case Type::Instance: {
      Text inner;
      Writer(inner, schema_, class_origin_).instance(value.as_instance());
      text_.content(inner.view());
      return;
    }
    case Type::Reference:
      reference(value.as_path());
      return;
    default:
      if (is_signed(value.type())) {
        text_.number(value.as_signed());
      } else {
        text_.number(value.as_unsigned());
      }
  }
}

void Writer::value(const Value& value) {
  if (value.is_null()) return;
  const bool references = value.type() == Type::Reference;
  const auto one = [&](const Value& item) {
    if (references) {
      reference(item.as_path());
      return;
    }
    text_ << "<VALUE>";
    scalar(item);
    text_ << "</VALUE>";
  };
  if (!value.is_array()) {
    one(value);
    return;
  }
  const std::string_view element = references ? "VALUE.REFARRAY>" : "VALUE.ARRAY>";
  text_ << "<" << element;
  for (const Value& item : value.elements()) {
    if (item.is_null()) {
      text_ << "<VALUE.NULL/>";
    } else {
      one(item);
    }
  }
  text_ << "</" << element;
}

}  // namespace broker::cimxml
