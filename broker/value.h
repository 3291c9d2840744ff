// CIM values: what properties, keys, parameters and method results hold.
//
// A value has a CIM type, may be an array of that type, and may be null. Values are plain:
// copyable, movable, without reference to the object manager that made them; one value may be
// read by many threads. Paths and instances inside a value are shared and immutable.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace broker {

class Instance;
class ObjectPath;

// Element types; the numbers are CMPI's type codes, so that translation costs nothing.
enum class Type : std::uint16_t {
  None = 0,  // a null without a type
  Boolean = 0x0002,
  Char16 = 0x0003,
  Real32 = 0x0008,
  Real64 = 0x000C,
  Uint8 = 0x0080,
  Uint16 = 0x0090,
  Uint32 = 0x00A0,
  Uint64 = 0x00B0,
  Sint8 = 0x00C0,
  Sint16 = 0x00D0,
  Sint32 = 0x00E0,
  Sint64 = 0x00F0,
  Instance = 0x1000,  // embedded instance or object
  Reference = 0x1100,
  String = 0x1600,
  Datetime = 0x1800,
};

bool is_unsigned(Type type);
bool is_signed(Type type);
bool is_integer(Type type);  // the eight integer types; not char16
bool is_real(Type type);

// "uint16", "string", "datetime", "reference", "instance", ...
std::string_view type_name(Type type);

class Value {
 public:
  Value() = default;           // null without a type
  Value(bool value);           // NOLINT: values are made from what they hold
  Value(char16_t value);       // NOLINT
  Value(std::uint8_t value);   // NOLINT
  Value(std::uint16_t value);  // NOLINT
  Value(std::uint32_t value);  // NOLINT
  Value(std::uint64_t value);  // NOLINT
  Value(std::int8_t value);    // NOLINT
  Value(std::int16_t value);   // NOLINT
  Value(std::int32_t value);   // NOLINT
  Value(std::int64_t value);   // NOLINT
  Value(float value);          // NOLINT
  Value(double value);         // NOLINT
  Value(std::string value);    // NOLINT
  Value(std::string_view value) : Value(std::string(value)) {}  // NOLINT
  Value(const char* value) : Value(std::string(value)) {}       // NOLINT
  Value(ObjectPath path);                                       // NOLINT: a reference
  Value(Instance instance);                                     // NOLINT: an embedded instance
  Value(std::shared_ptr<const ObjectPath> path);                // NOLINT: not null
  Value(std::shared_ptr<const Instance> instance);              // NOLINT: not null

  static Value null(Type type, bool array = false);
  // The 25-character text. It is not checked here: the caller does (date_time.h), if it comes from
  // outside.
  static Value datetime(std::string text);
  // Every element must be of the element type; a null element is Value::null(element).
  static Value array(Type element, std::vector<Value> elements);
  // Integers of a type known at run time; the number must be in the type's range.
  static Value integer(Type type, std::uint64_t bits);

  Type type() const { return type_; }  // of an array: the element type
  bool is_array() const { return array_; }
  bool is_null() const { return std::holds_alternative<Null>(data_); }

  // Reading. Each asks for a value that is neither null nor of another kind, and throws Error
  // (TypeMismatch) otherwise.
  bool as_boolean() const;
  std::uint64_t as_unsigned() const;   // unsigned integers, char16, and signed ones >= 0
  std::int64_t as_signed() const;      // every integer that fits
  double as_real() const;              // real32 and real64
  const std::string& as_text() const;  // string and datetime
  const ObjectPath& as_path() const;
  const Instance& as_instance() const;
  const std::vector<Value>& elements() const;
  std::shared_ptr<const ObjectPath> shared_path() const;
  std::shared_ptr<const Instance> shared_instance() const;

  // Same type and same content; paths compare as paths.
  friend bool operator==(const Value& a, const Value& b);

 private:
  // The copy functions are written out because of GCC's variant. For alternatives that are all
  // plain or of the standard library it assumes that assignment never leaves it empty. When memory
  // runs out in the copy of a text, it would then destroy an alternative that was never made.
  struct Null {
    Null() = default;
    Null(const Null&) noexcept {}
    Null& operator=(const Null&) noexcept { return *this; }
    friend bool operator==(const Null&, const Null&) { return true; }
  };
  using Data = std::variant<Null, bool, std::uint64_t, std::int64_t, double, std::string,
                            std::shared_ptr<const ObjectPath>, std::shared_ptr<const Instance>,
                            std::vector<Value>>;

  Value(Type type, bool array, Data data);

  Type type_ = Type::None;
  bool array_ = false;
  Data data_;
};

// Equality of key values: integers are compared by number whatever their width, other types by
// operator==.
bool same_key_value(const Value& a, const Value& b);

// The value for a reader: text as it is, booleans as "true" or "false", paths in their text form,
// arrays with ", " between their elements, null as the empty text.
std::string to_text(const Value& value);

// The value as MOF writes it: text in quotes, arrays in braces, null as NULL.
std::string to_mof(const Value& value);

// Reads a value of a declared type from text that somebody typed. Integers are decimal, or
// hexadecimal after 0x, and may be negative where the type is signed; booleans are true or false; a
// datetime has its 25 characters; a reference is an object path (object_path.h). The elements of an
// array stand between commas; `\,` and `\\` in them are a comma and a backslash. The empty text is
// the empty array. Throws Error (InvalidParameter) with the reason when the text is no such value,
// and for embedded instances, which have no text form.
Value parse_value(Type type, bool array, std::string_view text);

// The same value as another type. Integers and reals become those of another width when the number
// fits; text becomes what parse_value reads from it; a number does not become text. A null becomes
// a null of the type. Throws Error (TypeMismatch) when there is no such value.
Value convert(const Value& value, Type type, bool array);

}  // namespace broker
