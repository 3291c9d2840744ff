#include "broker/marshal.h"

#include <cstring>
#include <new>
#include <utility>

#include "broker/core.h"

namespace broker {
namespace {

template <class T>
T read(const CMPIValue* value) {
  T result;
  std::memcpy(&result, value, sizeof result);
  return result;
}

template <class T>
const typename T::Handle* read_handle(const CMPIValue* value) {
  return read<const typename T::Handle*>(value);
}

[[noreturn]] void refuse(CMPIType type) {
  throw Error(Status::InvalidDataType, "type code " + std::to_string(type) + " is no CIM value");
}

Value array_from(const CMPIValue* value, Type element) {
  const auto* handle = read_handle<ArrayObject>(value);
  if (!handle) return Value::null(element, true);
  const ArrayObject& array = object<ArrayObject>(handle);
  if (array.element != element) {
    throw Error(Status::TypeMismatch, "an array of " + std::string(type_name(array.element)) +
                                          " stands where one of " +
                                          std::string(type_name(element)) + " is announced");
  }
  return Value::array(element, array.values);
}

Value encapsulated_from(const CMPIValue* value, Type type) {
  switch (type) {
    case Type::String:
      if (const auto* handle = read_handle<StringObject>(value)) {
        return Value(object<StringObject>(handle).text);
      }
      break;
    case Type::Datetime:
      if (const auto* handle = read_handle<DateTimeObject>(value)) {
        return Value::datetime(object<DateTimeObject>(handle).text);
      }
      break;
    case Type::Reference:
      if (const auto* handle = read_handle<ObjectPathObject>(value)) {
        return Value(object<ObjectPathObject>(handle).path);
      }
      break;
    default:
      if (const auto* handle = read_handle<InstanceObject>(value)) {
        return Value(object<InstanceObject>(handle).instance);
      }
  }
  return Value::null(type);
}

}  // namespace

Type element_type(CMPIType type) {
  const CMPIType element = type & ~CMPI_ARRAY;
  switch (element) {
    case CMPI_chars:
      return Type::String;
    case CMPI_boolean:
    case CMPI_char16:
    case CMPI_real32:
    case CMPI_real64:
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64:
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64:
    case CMPI_instance:
    case CMPI_ref:
    case CMPI_string:
    case CMPI_dateTime:
      return static_cast<Type>(element);
    default:
      refuse(type);
  }
}

Value from_cmpi(const CMPIValue* value, CMPIType type) {
  const Type element = element_type(type);
  if (!value) return Value::null(element, (type & CMPI_ARRAY) != 0);
  if (type & CMPI_ARRAY) return array_from(value, element);
  if (type == CMPI_chars) return Value(reinterpret_cast<const char*>(value));
  switch (element) {
    case Type::Boolean:
      return Value(read<CMPIBoolean>(value) != 0);
    case Type::Char16:
      return Value(static_cast<char16_t>(read<CMPIChar16>(value)));
    case Type::Real32:
      return Value(read<CMPIReal32>(value));
    case Type::Real64:
      return Value(read<CMPIReal64>(value));
    case Type::Uint8:
      return Value(std::uint8_t{read<CMPIUint8>(value)});
    case Type::Uint16:
      return Value(std::uint16_t{read<CMPIUint16>(value)});
    case Type::Uint32:
      return Value(std::uint32_t{read<CMPIUint32>(value)});
    case Type::Uint64:
      return Value(std::uint64_t{read<CMPIUint64>(value)});
    case Type::Sint8:
      return Value(std::int8_t{read<CMPISint8>(value)});
    case Type::Sint16:
      return Value(std::int16_t{read<CMPISint16>(value)});
    case Type::Sint32:
      return Value(std::int32_t{read<CMPISint32>(value)});
    case Type::Sint64:
      return Value(std::int64_t{read<CMPISint64>(value)});
    default:
      return encapsulated_from(value, element);
  }
}

CMPIData to_cmpi(const Value& value, CMPIValueState state) {
  CMPIData data{};
  data.type = static_cast<CMPIType>(value.type());
  data.state = state;
  if (value.is_array()) data.type |= CMPI_ARRAY;
  if (value.is_null()) {
    data.state |= CMPI_nullValue;
    return data;
  }
  if (value.is_array()) {
    data.value.array = handle(make<ArrayObject>(value.type(), value.elements()));
    return data;
  }
  switch (value.type()) {
    case Type::Boolean:
      data.value.boolean = value.as_boolean();
      break;
    case Type::Real32:
      data.value.real32 = static_cast<float>(value.as_real());
      break;
    case Type::Real64:
      data.value.real64 = value.as_real();
      break;
    case Type::String:
      data.value.string = new_string(value.as_text());
      break;
    case Type::Datetime:
      data.value.dateTime = handle(make<DateTimeObject>(value.as_text()));
      break;
    case Type::Reference:
      data.value.ref = handle(new_path(value.as_path()));
      break;
    case Type::Instance:
      data.value.inst = handle(new_instance(value.as_instance()));
      break;
    case Type::Uint8:
    case Type::Sint8:
    case Type::Uint16:
    case Type::Sint16:
    case Type::Char16:
    case Type::Uint32:
    case Type::Sint32:
    case Type::Uint64:
    case Type::Sint64:
      // All integers share the union's first bytes: on this machine, which is little-endian, the
      // narrower members read the low bytes of the widest.
      data.value.uint64 = is_signed(value.type()) ? static_cast<CMPIUint64>(value.as_signed())
                                                  : value.as_unsigned();
      break;
    case Type::None:
      break;
  }
  return data;
}

CMPIData missing_data() {
  CMPIData data{};
  data.state = CMPI_notFound | CMPI_nullValue;
  return data;
}

CMPIString* new_string(std::string_view text) {
  Arena& arena = Operation::get().arena();
  if (auto* spare = arena.reuse<StringObject>()) {
    spare->text = text;
    return handle(spare);
  }
  return handle(arena.make_reusable<StringObject>(std::string(text)));
}

ObjectPathObject* new_class_path(const ClassInfo& info, std::string_view spelling) {
  Operation& operation = Operation::get();
  auto* made = operation.arena().reuse<ObjectPathObject>();
  if (!made) made = operation.arena().make_reusable<ObjectPathObject>(ObjectPath(), &info);
  made->info = &info;
  made->path.host = {};
  made->path.name_space = Name::borrowed(kServedNameSpace);
  // The class's own spelling is borrowed; another spelling is kept as it came.
  made->path.class_name = info.name().view() == spelling ? info.name() : Name(spelling);
  made->path.keys.clear();
  return made;
}

InstanceObject* new_empty_instance(const ObjectPath& path, const ClassInfo& info) {
  Arena& arena = Operation::get().arena();
  auto* made = arena.reuse<InstanceObject>();
  if (made) {
    made->instance.path = path;
    made->instance.properties.clear();
    made->info = &info;
    made->filtered = false;
    made->last = nullptr;
  } else {
    made = arena.make_reusable<InstanceObject>(Instance(path), &info);
  }
  made->instance.properties.reserve(info.properties().size());
  return made;
}

std::string text_of(const CMPIString* string) {
  return string ? object<StringObject>(string).text : std::string();
}

InstanceObject* new_instance(Instance instance) {
  const ClassInfo* info = Operation::get().core().schema().find(instance.class_name());
  return make<InstanceObject>(std::move(instance), info);
}

ObjectPathObject* new_path(ObjectPath path) {
  const ClassInfo* info = Operation::get().core().schema().find(path.class_name);
  return make<ObjectPathObject>(std::move(path), info);
}

const char* required(const char* argument, const char* what) {
  if (!argument || !*argument) {
    throw Error(Status::InvalidParameter, std::string(what) + " is missing");
  }
  return argument;
}

std::string optional(const char* argument) { return argument ? argument : std::string(); }

CMPIStatus status_of_exception() {
  CMPIStatus status{CMPI_RC_ERR_FAILED, nullptr};
  std::string text;
  try {
    throw;
  } catch (const Error& error) {
    status.rc = static_cast<CMPIrc>(error.status());
    text = error.description();
  } catch (const std::exception& exception) {
    text = exception.what();
  } catch (...) {
    text = "unknown exception";
  }
  if (Operation* operation = Operation::current()) {
    try {
      status.msg = handle(operation->arena().make<StringObject>(std::move(text)));
    } catch (const std::bad_alloc&) {
      // There is no memory for the text: the code is sent alone.
    }
  }
  return status;
}

}  // namespace broker
