// The functions that make objects and ask about them.
#include <cstdarg>
#include <cstring>

#include "broker/core.h"
#include "broker/date_time.h"
#include "broker/family.h"
#include "broker/marshal.h"
#include "broker/message_template.h"
#include "broker/provider_memory.h"

namespace broker {
namespace {

void check(const CMPIBroker* broker) {
  if (!broker || !broker->hdl) throw Error(Status::InvalidHandle, "the broker is null");
}

// Runs a body that makes an object, after the check that all such functions share.
template <class Handle, class Body>
Handle* make_with(const CMPIBroker* broker, CMPIStatus* rc, Body body) {
  return answer(rc, static_cast<Handle*>(nullptr), [&]() -> Handle* {
    check(broker);
    return body();
  });
}

CMPIInstance* new_instance_of(const CMPIBroker* broker, const CMPIObjectPath* path,
                              CMPIStatus* rc) {
  return make_with<CMPIInstance>(broker, rc, [&] {
    const ObjectPathObject& source = object<ObjectPathObject>(path);
    if (source.path.name_space.empty()) {
      throw Error(Status::InvalidNamespace, "the path has no name space");
    }
    if (!source.info) {
      throw Error(Status::NotFound, "there is no class " + source.path.class_name.str());
    }
    return handle(new_empty_instance(source.path, *source.info));
  });
}

CMPIObjectPath* new_object_path(const CMPIBroker* broker, const char* name_space,
                                const char* class_name, CMPIStatus* rc) {
  return make_with<CMPIObjectPath>(broker, rc, [&] {
    if (!name_space || !same_name(name_space, kServedNameSpace)) {
      throw Error(Status::InvalidNamespace, "there is no name space " + optional(name_space));
    }
    const std::string_view name = class_name ? class_name : "";
    const ClassInfo* info = Operation::get().core().schema().find(name);
    if (!info) throw Error(Status::NotFound, "there is no class " + std::string(name));
    return handle(new_class_path(*info, name));
  });
}

CMPIArgs* new_args(const CMPIBroker* broker, CMPIStatus* rc) {
  return make_with<CMPIArgs>(
      broker, rc, [&] { return handle(make<ArgsObject>(std::vector<Argument>{}, nullptr)); });
}

CMPIString* new_string_from(const CMPIBroker* broker, const char* text, CMPIStatus* rc) {
  return make_with<CMPIString>(broker, rc, [&] {
    if (!text) throw Error(Status::InvalidParameter, "the text is null");
    return new_string(text);
  });
}

CMPIString* new_string_cp(const CMPIBroker* broker, const char* text, CMPICodepageID codepage,
                          CMPIStatus* rc) {
  return make_with<CMPIString>(broker, rc, [&] {
    if (!text) throw Error(Status::InvalidParameter, "the text is null");
    return new_string(from_codepage(text, codepage));
  });
}

CMPIArray* new_array(const CMPIBroker* broker, CMPICount size, CMPIType type, CMPIStatus* rc) {
  return make_with<CMPIArray>(broker, rc, [&] {
    if (type & CMPI_ARRAY) {
      throw Error(Status::InvalidDataType, "the type of an element has no array bit");
    }
    const Type element = element_type(type);
    return handle(make<ArrayObject>(element, std::vector<Value>(size, Value::null(element)),
                                    type == CMPI_chars));
  });
}

CMPIDateTime* new_date_time(const CMPIBroker* broker, CMPIStatus* rc) {
  return make_with<CMPIDateTime>(broker, rc,
                                 [&] { return handle(make<DateTimeObject>(now_text())); });
}

CMPIDateTime* new_date_time_from_binary(const CMPIBroker* broker, CMPIUint64 microseconds,
                                        CMPIBoolean interval, CMPIStatus* rc) {
  return make_with<CMPIDateTime>(broker, rc, [&] {
    constexpr CMPIUint64 kLastInterval = 100000000ull * 86400 * 1000000 - 1;
    constexpr CMPIUint64 kLastStamp = 253402300800ull * 1000000 - 1;  // end of year 9999
    if (microseconds > (interval ? kLastInterval : kLastStamp)) {
      throw Error(Status::InvalidParameter, "the time is too large");
    }
    return handle(make<DateTimeObject>(
        interval ? interval_text(microseconds)
                 : time_stamp_text(static_cast<std::int64_t>(microseconds), 0)));
  });
}

CMPIDateTime* new_date_time_from_chars(const CMPIBroker* broker, const char* text, CMPIStatus* rc) {
  return make_with<CMPIDateTime>(broker, rc, [&] {
    if (!text || !is_datetime(text)) {
      throw Error(Status::InvalidParameter, "\"" + optional(text) + "\" is no datetime");
    }
    return handle(make<DateTimeObject>(std::string(text)));
  });
}

CMPIBoolean class_path_is_a(const CMPIBroker* broker, const CMPIObjectPath* path,
                            const char* class_name, CMPIStatus* rc) {
  return answer(rc, CMPIBoolean{0}, [&] {
    check(broker);
    const ObjectPathObject& source = object<ObjectPathObject>(path);
    const ClassInfo* other =
        Operation::get().core().schema().find(required(class_name, "the class name"));
    if (source.path.name_space.empty()) {
      throw Error(Status::InvalidNamespace, "the path has no name space");
    }
    if (!source.info) {
      throw Error(Status::NotFound, "there is no class " + source.path.class_name.str());
    }
    return static_cast<CMPIBoolean>(other && source.info->is_a(*other));
  });
}

CMPIError* new_error(const CMPIBroker* broker, const char* owner, const char* id,
                     const char* message, CMPIErrorSeverity severity, CMPIErrorProbableCause cause,
                     CMPIrc status, CMPIStatus* rc) {
  return make_with<CMPIError>(broker, rc, [&] {
    const auto text = [](const char* given) {
      return given ? std::optional<std::string>(given) : std::nullopt;
    };
    return handle(make<ErrorObject>(text(owner), text(id), text(message), severity, cause, status));
  });
}

CMPIPropertyList* new_property_list(const CMPIBroker* broker, const char** properties,
                                    CMPIStatus* rc) {
  return make_with<CMPIPropertyList>(broker, rc, [&] {
    std::vector<std::string> names;
    for (; properties && *properties; ++properties) names.emplace_back(*properties);
    PropertyListObject* list = make<PropertyListObject>(std::move(names));
    list->point();
    return handle(list);
  });
}

CMPIEnumerationFilter* new_enumeration_filter(const CMPIBroker* broker, const char* language,
                                              const char* query, CMPIStatus* rc) {
  return make_with<CMPIEnumerationFilter>(broker, rc, [&] {
    if (language && query) {
      throw Error(Status::QueryLanguageNotSupported,
                  "query language " + std::string(language) + " is not supported");
    }
    return handle(make<EnumerationFilterObject>());
  });
}

// Questions about any object.

struct NamedKind {
  Kind kind;
  const char* name;
};

constexpr NamedKind kKinds[] = {{Kind::String, "CMPIString"},
                                {Kind::Array, "CMPIArray"},
                                {Kind::DateTime, "CMPIDateTime"},
                                {Kind::ObjectPath, "CMPIObjectPath"},
                                {Kind::Instance, "CMPIInstance"},
                                {Kind::Args, "CMPIArgs"},
                                {Kind::Context, "CMPIContext"},
                                {Kind::Result, "CMPIResult"},
                                {Kind::Enumeration, "CMPIEnumeration"},
                                {Kind::Error, "CMPIError"},
                                {Kind::PropertyList, "CMPIPropertyList"},
                                {Kind::EnumerationFilter, "CMPIEnumerationFilter"}};

// Every object begins with handle and header, whatever its kind.
struct AnyObject : Object<CMPIString, Kind::String> {};

const AnyObject& any(const void* handle) {
  const auto* found = static_cast<const AnyObject*>(handle);
  if (!found || found->handle.hdl != handle) {
    throw Error(Status::InvalidHandle, "the handle is null or not of this object manager");
  }
  return *found;
}

const char* kind_name(Kind kind) {
  for (const NamedKind& entry : kKinds) {
    if (entry.kind == kind) return entry.name;
  }
  return "";
}

std::string arguments_text(const std::vector<Argument>& arguments) {
  std::string text;
  for (const Argument& argument : arguments) {
    text += (text.empty() ? "" : ", ") + argument.name.str() + " = " + to_mof(argument.value);
  }
  return text;
}

std::string describe(const void* handle) {
  const AnyObject& source = any(handle);
  const void* start = &source;
  switch (source.header.kind) {
    case Kind::String:
      return static_cast<const StringObject*>(start)->text;
    case Kind::DateTime:
      return static_cast<const DateTimeObject*>(start)->text;
    case Kind::ObjectPath:
      return static_cast<const ObjectPathObject*>(start)->path.to_text();
    case Kind::Instance:
      return to_mof(Value(static_cast<const InstanceObject*>(start)->instance));
    case Kind::Args:
      return arguments_text(static_cast<const ArgsObject*>(start)->arguments);
    case Kind::Array: {
      const auto* array = static_cast<const ArrayObject*>(start);
      return to_mof(Value::array(array->element, array->values));
    }
    default:
      return kind_name(source.header.kind);
  }
}

CMPIString* to_string(const CMPIBroker* broker, const void* object, CMPIStatus* rc) {
  return make_with<CMPIString>(broker, rc, [&] { return new_string(describe(object)); });
}

CMPIString* get_type(const CMPIBroker* broker, const void* object, CMPIStatus* rc) {
  return make_with<CMPIString>(broker, rc,
                               [&] { return new_string(kind_name(any(object).header.kind)); });
}

CMPIBoolean is_of_type(const CMPIBroker* broker, const void* object, const char* type,
                       CMPIStatus* rc) {
  return answer(rc, CMPIBoolean{0}, [&] {
    check(broker);
    const AnyObject& source = any(object);
    return static_cast<CMPIBoolean>(
        std::strcmp(kind_name(source.header.kind), required(type, "the type name")) == 0);
  });
}

// Messages. No catalogue can be opened: every message is its default text.

CMPIString* get_message(const CMPIBroker* broker, const char*, const char* text, CMPIStatus* rc,
                        CMPICount count, ...) {
  std::va_list arguments;
  va_start(arguments, count);
  CMPIString* result = make_with<CMPIString>(
      broker, rc, [&] { return new_string(expand_message(optional(text), count, arguments)); });
  va_end(arguments);
  return result;
}

CMPIString* get_message2(const CMPIBroker* broker, const char*, CMPIMsgFileHandle file,
                         const char* text, CMPIStatus* rc, CMPICount count, ...) {
  std::va_list arguments;
  va_start(arguments, count);
  CMPIString* result = make_with<CMPIString>(broker, rc, [&] {
    if (file) throw Error(Status::InvalidHandle, "there is no such message file");
    return new_string(expand_message(optional(text), count, arguments));
  });
  va_end(arguments);
  return result;
}

CMPIStatus open_message_file(const CMPIBroker* broker, const char* name, CMPIMsgFileHandle* file) {
  return answer([&] {
    check(broker);
    if (file) *file = nullptr;
    throw Error(Status::NotFound, "there is no message file " + optional(name));
  });
}

CMPIStatus close_message_file(const CMPIBroker* broker, CMPIMsgFileHandle file) {
  return answer([&] {
    check(broker);
    if (file) throw Error(Status::InvalidHandle, "there is no such message file");
  });
}

CMPIStatus write_log(const CMPIBroker* broker, int severity, const char* source, const char* text,
                     const CMPIString* string) {
  return answer([&] {
    check(broker);
    std::string line = text ? std::string(text) : text_of(string);
    if (source && *source) line = std::string(source) + ": " + line;
    static_cast<const Core*>(broker->hdl)->log(severity, line);
  });
}

int level_of(CMPISeverity severity) {
  switch (severity) {
    case CMPI_SEV_ERROR:
      return 0;
    case CMPI_SEV_WARNING:
      return 1;
    case CMPI_SEV_INFO:
      return 2;
    default:
      return 3;
  }
}

CMPIStatus log_message(const CMPIBroker* broker, CMPISeverity severity, const char* id,
                       const char* text, const CMPIString* string) {
  return write_log(broker, level_of(severity), id, text, string);
}

CMPIStatus trace(const CMPIBroker* broker, CMPILevel, const char* component, const char* text,
                 const CMPIString* string) {
  return write_log(broker, 3, component, text, string);
}

}  // namespace

void fill_factory_table(Tables& tables) {
  tables.factories = {
      .ftVersion = CMPIVersion210,
      .newInstance = new_instance_of,
      .newObjectPath = new_object_path,
      .newArgs = new_args,
      .newString = new_string_from,
      .newArray = new_array,
      .newDateTime = new_date_time,
      .newDateTimeFromBinary = new_date_time_from_binary,
      .newDateTimeFromChars = new_date_time_from_chars,
      .newSelectExp = kUnsupported,
      .classPathIsA = class_path_is_a,
      .toString = to_string,
      .isOfType = is_of_type,
      .getType = get_type,
      .getMessage = get_message,
      .logMessage = log_message,
      .trace = trace,
      .newCMPIError = new_error,
      .openMessageFile = open_message_file,
      .closeMessageFile = close_message_file,
      .getMessage2 = get_message2,
      .newPropertyList = new_property_list,
      .newStringCP = new_string_cp,
      .newEnumerationFilter = new_enumeration_filter,
  };
}

}  // namespace broker
