#include "platform/cmpi/incoming.h"

#include "platform/cmpi/broker.h"
#include "platform/cmpi/scalar.h"

namespace ovk_cimple {

namespace {

// A key may be a reference whose keys are references in turn. Clients choose the depth, so that it
// needs a bound.
constexpr int kDeepest = 4;

bool is_null(const CMPIData& data) {
  if (data.state & (CMPI_nullValue | CMPI_notFound | CMPI_badValue)) return true;
  if (data.type & CMPI_ARRAY) return !data.value.array;
  if (data.type == CMPI_string) return !text_of(data.value.string);
  return data.type == CMPI_null || ((data.type & CMPI_ENC) && !data.value.inst);
}

// Some object managers hand over an empty string as null. For a key that is missing they set an
// error status.
bool is_empty_key(const CMPIData& data, const MetaProperty& property) {
  const bool null = (data.state & ~CMPI_keyValue) == CMPI_nullValue;
  return null && property.type == Type::string && !property.array;
}

CMPIData empty_text() {
  CMPIData data{CMPI_chars, CMPI_keyValue, {}};
  data.value.chars = const_cast<char*>("");
  return data;
}

std::optional<Scalar> scalar_of(const CMPIData& data) {
  const CMPIValue& value = data.value;
  switch (data.type) {
    case CMPI_boolean:
      return value.boolean != 0;
    case CMPI_char16:
      return std::uint64_t{value.char16};
    case CMPI_uint8:
      return std::uint64_t{value.uint8};
    case CMPI_uint16:
      return std::uint64_t{value.uint16};
    case CMPI_uint32:
      return std::uint64_t{value.uint32};
    case CMPI_uint64:
      return std::uint64_t{value.uint64};
    case CMPI_sint8:
      return std::int64_t{value.sint8};
    case CMPI_sint16:
      return std::int64_t{value.sint16};
    case CMPI_sint32:
      return std::int64_t{value.sint32};
    case CMPI_sint64:
      return std::int64_t{value.sint64};
    case CMPI_real32:
      return double{value.real32};
    case CMPI_real64:
      return value.real64;
    case CMPI_string:
      return text_of(value.string);
    case CMPI_chars:
      return value.chars;
    case CMPI_dateTime: {
      CMPIStatus status{};
      const char* const text =
          text_of(invoke(value.dateTime, &CMPIDateTimeFT::getStringFormat, &status));
      if (!text) return std::nullopt;
      return text;
    }
    default:
      return std::nullopt;
  }
}

// Converts one value that is not null.
template <class T>
std::optional<T> single(const CMPIData& data, const MetaProperty&, int) {
  const std::optional<Scalar> scalar = scalar_of(data);
  return scalar ? convert<T>(*scalar) : std::nullopt;
}

template <>
std::optional<Datetime> single(const CMPIData& data, const MetaProperty& property, int depth) {
  const std::optional<String> text = single<String>(data, property, depth);
  return text ? Datetime::parse(*text) : std::nullopt;
}

template <>
std::optional<Ref<Instance>> single(const CMPIData& data, const MetaProperty& property, int depth) {
  Ref<Instance> instance;
  if (property.reference_class && data.type == CMPI_ref)
    instance = read_path(data.value.ref, *property.reference_class, depth + 1);
  if (property.reference_class && data.type == CMPI_instance)
    instance = read_instance(data.value.inst, *property.reference_class, String());
  return instance ? std::optional(std::move(instance)) : std::nullopt;
}

template <class T>
std::optional<T> whole(const CMPIData& data, const MetaProperty& property, int depth, T*) {
  if (data.type & CMPI_ARRAY) return std::nullopt;
  return single<T>(data, property, depth);
}

// A single value for an array counts as an array of one element, because the requests of some
// clients do not tell them apart.
template <class T>
std::optional<Array<T>> whole(const CMPIData& data, const MetaProperty& property, int depth,
                              Array<T>*) {
  CMPIStatus status{};
  const bool array = data.type & CMPI_ARRAY;
  const CMPICount count = array ? invoke(data.value.array, &CMPIArrayFT::getSize, &status) : 1;
  Array<T> elements;
  for (CMPICount index = 0; index < count; ++index) {
    status = {};
    const CMPIData element =
        array ? invoke(data.value.array, &CMPIArrayFT::getElementAt, index, &status) : data;
    if (is_null(element)) {
      elements.push_back(T());
      continue;
    }
    std::optional<T> value = single<T>(element, property, depth);
    if (!value) return std::nullopt;
    elements.push_back(std::move(*value));
  }
  return elements;
}

}  // namespace

Reading read(const CMPIData& data, Instance& holder, const MetaProperty& property, int depth) {
  return visit(&holder, property, [&]<class T>(Property<T>& target) {
    target.set_null();
    if (is_null(data)) return Reading::EMPTY;
    std::optional<T> value = whole(data, property, depth, static_cast<T*>(nullptr));
    if (!value) return Reading::UNFIT;
    target = std::move(*value);
    return Reading::SET;
  });
}

String class_name(const CMPIObjectPath* path) {
  CMPIStatus status{};
  const char* const text = text_of(invoke(path, &CMPIObjectPathFT::getClassName, &status));
  return text ? text : "";
}

String name_space(const CMPIObjectPath* path) {
  CMPIStatus status{};
  const char* text = text_of(invoke(path, &CMPIObjectPathFT::getNameSpace, &status));
  if (!text) return String();
  while (*text == '/') ++text;
  return text;
}

const MetaClass* find_class(const MetaClass& declared, const String& name) {
  return declared.repository ? declared.repository->find(name.c_str()) : nullptr;
}

void read_keys(const CMPIObjectPath* path, Instance& instance, int depth) {
  for (const MetaProperty& property : instance.meta_class->properties) {
    if (!property.key) continue;
    const CMPIData data = read_data(path, &CMPIObjectPathFT::getKey, property.name);
    read(is_empty_key(data, property) ? empty_text() : data, instance, property, depth);
  }
}

Ref<Instance> read_path(const CMPIObjectPath* path, const MetaClass& declared, int depth) {
  if (!path || depth > kDeepest) return {};
  const MetaClass* const meta = find_class(declared, class_name(path));
  auto instance = Ref<Instance>::adopt(create(meta ? *meta : declared));
  instance->name_space = name_space(path);
  read_keys(path, *instance, depth);
  return instance;
}

Ref<Instance> read_instance(const CMPIInstance* instance, const MetaClass& declared,
                            const String& name_space) {
  if (!instance) return {};
  CMPIStatus status{};
  const CMPIObjectPath* const path = invoke(instance, &CMPIInstanceFT::getObjectPath, &status);
  const MetaClass* const meta = find_class(declared, class_name(path));
  auto result = Ref<Instance>::adopt(create(meta ? *meta : declared));
  result->name_space = ovk_cimple::name_space(path);
  if (result->name_space.empty()) result->name_space = name_space;
  read_keys(path, *result);
  for (const MetaProperty& property : result->meta_class->properties) {
    const CMPIData data = read_data(instance, &CMPIInstanceFT::getProperty, property.name);
    // The instance may lack its keys and have them in its path only.
    if (!property.key || !is_null(data)) read(data, *result, property);
  }
  return result;
}

}  // namespace ovk_cimple
