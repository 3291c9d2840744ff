#include "broker/value.h"

#include <limits>

#include "broker/error.h"
#include "broker/instance_value.h"
#include "broker/object_path.h"

namespace broker {

bool is_unsigned(Type type) { return (static_cast<unsigned>(type) & 0x10C0) == 0x0080; }
bool is_signed(Type type) { return (static_cast<unsigned>(type) & 0x10C0) == 0x00C0; }
bool is_integer(Type type) { return is_unsigned(type) || is_signed(type); }
bool is_real(Type type) { return type == Type::Real32 || type == Type::Real64; }

std::string_view type_name(Type type) {
  switch (type) {
    case Type::None:
      return "null";
    case Type::Boolean:
      return "boolean";
    case Type::Char16:
      return "char16";
    case Type::Real32:
      return "real32";
    case Type::Real64:
      return "real64";
    case Type::Uint8:
      return "uint8";
    case Type::Uint16:
      return "uint16";
    case Type::Uint32:
      return "uint32";
    case Type::Uint64:
      return "uint64";
    case Type::Sint8:
      return "sint8";
    case Type::Sint16:
      return "sint16";
    case Type::Sint32:
      return "sint32";
    case Type::Sint64:
      return "sint64";
    case Type::Instance:
      return "instance";
    case Type::Reference:
      return "reference";
    case Type::String:
      return "string";
    case Type::Datetime:
      return "datetime";
  }
  return "unknown type";
}

Value::Value(Type type, bool array, Data data)
    : type_(type), array_(array), data_(std::move(data)) {}

Value::Value(bool value) : type_(Type::Boolean), data_(value) {}
Value::Value(char16_t value) : type_(Type::Char16), data_(std::uint64_t{value}) {}
Value::Value(std::uint8_t value) : type_(Type::Uint8), data_(std::uint64_t{value}) {}
Value::Value(std::uint16_t value) : type_(Type::Uint16), data_(std::uint64_t{value}) {}
Value::Value(std::uint32_t value) : type_(Type::Uint32), data_(std::uint64_t{value}) {}
Value::Value(std::uint64_t value) : type_(Type::Uint64), data_(value) {}
Value::Value(std::int8_t value) : type_(Type::Sint8), data_(std::int64_t{value}) {}
Value::Value(std::int16_t value) : type_(Type::Sint16), data_(std::int64_t{value}) {}
Value::Value(std::int32_t value) : type_(Type::Sint32), data_(std::int64_t{value}) {}
Value::Value(std::int64_t value) : type_(Type::Sint64), data_(value) {}
Value::Value(float value) : type_(Type::Real32), data_(double{value}) {}
Value::Value(double value) : type_(Type::Real64), data_(value) {}
Value::Value(std::string value) : type_(Type::String), data_(std::move(value)) {}
Value::Value(ObjectPath path)
    : type_(Type::Reference), data_(std::make_shared<const ObjectPath>(std::move(path))) {}
Value::Value(Instance instance)
    : type_(Type::Instance), data_(std::make_shared<const Instance>(std::move(instance))) {}
Value::Value(std::shared_ptr<const ObjectPath> path)
    : type_(Type::Reference), data_(std::move(path)) {}
Value::Value(std::shared_ptr<const Instance> instance)
    : type_(Type::Instance), data_(std::move(instance)) {}

Value Value::null(Type type, bool array) { return Value(type, array, Data()); }

Value Value::datetime(std::string text) { return Value(Type::Datetime, false, std::move(text)); }

Value Value::array(Type element, std::vector<Value> elements) {
  for (const Value& value : elements) {
    if (value.type_ != element || value.array_) {
      throw Error(Status::TypeMismatch, "an element of type " +
                                            std::string(type_name(value.type_)) +
                                            " in an array of " + std::string(type_name(element)));
    }
  }
  return Value(element, true, std::move(elements));
}

Value Value::integer(Type type, std::uint64_t bits) {
  if (is_signed(type)) return Value(type, false, static_cast<std::int64_t>(bits));
  return Value(type, false, bits);
}

namespace {

template <class T, class Data>
const T& get(const Data& data, Type type, bool array, std::string_view wanted) {
  if (const T* found = std::get_if<T>(&data)) return *found;
  throw Error(Status::TypeMismatch, "a value of type " + std::string(type_name(type)) +
                                        (array ? " array" : "") +
                                        (data.index() == 0 ? " is null where " : " stands where ") +
                                        std::string(wanted) + " is wanted");
}

}  // namespace

bool Value::as_boolean() const { return get<bool>(data_, type_, array_, "a boolean"); }

std::uint64_t Value::as_unsigned() const {
  if (const auto* number = std::get_if<std::int64_t>(&data_); number && *number >= 0) {
    return static_cast<std::uint64_t>(*number);
  }
  return get<std::uint64_t>(data_, type_, array_, "an unsigned integer");
}

std::int64_t Value::as_signed() const {
  constexpr std::uint64_t kLimit = std::numeric_limits<std::int64_t>::max();
  if (const auto* number = std::get_if<std::uint64_t>(&data_); number && *number <= kLimit) {
    return static_cast<std::int64_t>(*number);
  }
  return get<std::int64_t>(data_, type_, array_, "a signed integer");
}

double Value::as_real() const { return get<double>(data_, type_, array_, "a real"); }

const std::string& Value::as_text() const {
  return get<std::string>(data_, type_, array_, "a text");
}

const ObjectPath& Value::as_path() const { return *shared_path(); }
const Instance& Value::as_instance() const { return *shared_instance(); }

const std::vector<Value>& Value::elements() const {
  return get<std::vector<Value>>(data_, type_, array_, "an array");
}

std::shared_ptr<const ObjectPath> Value::shared_path() const {
  return get<std::shared_ptr<const ObjectPath>>(data_, type_, array_, "a reference");
}

std::shared_ptr<const Instance> Value::shared_instance() const {
  return get<std::shared_ptr<const Instance>>(data_, type_, array_, "an embedded instance");
}

bool operator==(const Value& a, const Value& b) {
  if (a.type_ != b.type_ || a.array_ != b.array_) return false;
  if (a.data_.index() != b.data_.index()) return false;
  if (a.array_ || a.is_null()) return a.data_ == b.data_;
  if (a.type_ == Type::Reference) return a.as_path() == b.as_path();
  if (a.type_ == Type::Instance) return a.as_instance() == b.as_instance();
  return a.data_ == b.data_;
}

bool same_key_value(const Value& a, const Value& b) {
  if (!is_integer(a.type()) || !is_integer(b.type())) return a == b;
  if (a.is_array() || b.is_array() || a.is_null() || b.is_null()) return a == b;
  const bool a_negative = is_signed(a.type()) && a.as_signed() < 0;
  const bool b_negative = is_signed(b.type()) && b.as_signed() < 0;
  if (a_negative || b_negative) {
    return a_negative && b_negative && a.as_signed() == b.as_signed();
  }
  return a.as_unsigned() == b.as_unsigned();
}

}  // namespace broker
