#include "platform/cmpi/outgoing.h"

#include <algorithm>
#include <cstring>

#include "platform/cmpi/clean_text.h"

namespace ovk_cimple {

namespace {

// How deep references may be keys of references. Deeper ones are taken for a circle.
constexpr int kDeepest = 4;

// Some object managers keep a reference as text in a buffer of 4096 bytes without checking that it
// fits.
constexpr std::size_t kLongestReference = 4000;

// In the order of Type.
constexpr CMPIType kCodes[] = {CMPI_boolean, CMPI_uint8,  CMPI_sint8,  CMPI_uint16,   CMPI_sint16,
                               CMPI_uint32,  CMPI_sint32, CMPI_uint64, CMPI_sint64,   CMPI_real32,
                               CMPI_real64,  CMPI_char16, CMPI_string, CMPI_dateTime, CMPI_ref};
static_assert(std::size(kCodes) == static_cast<std::size_t>(Type::reference) + 1);

CMPIType code_of(Type type) { return kCodes[static_cast<std::size_t>(type)]; }

template <class T>
constexpr auto kMember = nullptr;
template <>
constexpr auto kMember<boolean> = &CMPIValue::boolean;
template <>
constexpr auto kMember<uint8> = &CMPIValue::uint8;
template <>
constexpr auto kMember<sint8> = &CMPIValue::sint8;
template <>
constexpr auto kMember<uint16> = &CMPIValue::uint16;
template <>
constexpr auto kMember<sint16> = &CMPIValue::sint16;
template <>
constexpr auto kMember<uint32> = &CMPIValue::uint32;
template <>
constexpr auto kMember<sint32> = &CMPIValue::sint32;
template <>
constexpr auto kMember<uint64> = &CMPIValue::uint64;
template <>
constexpr auto kMember<sint64> = &CMPIValue::sint64;
template <>
constexpr auto kMember<real32> = &CMPIValue::real32;
template <>
constexpr auto kMember<real64> = &CMPIValue::real64;

// The length of a path as text without its name space: CLASS.KEY="VALUE",KEY="VALUE".
std::size_t text_size(const Instance& instance, int depth) {
  constexpr std::size_t kLongestNumber = 32;
  std::size_t size = strlen(instance.meta_class->name);
  for (const MetaProperty& property : instance.meta_class->properties) {
    if (!property.key) continue;
    size += strlen(property.name) + strlen(",=\"\"");
    visit(&instance, property, [&]<class T>(const Property<T>& key) {
      if constexpr (std::is_same_v<T, String>) {
        const String text = clean_text(key.value());
        size += text.size();
        size += std::ranges::count_if(text, [](char c) { return c == '"' || c == '\\'; });
      } else if constexpr (std::is_same_v<T, Ref<Instance>>) {
        // A reference is quoted within the quotes of the path that holds it, at each level anew.
        if (key.value() && depth < kDeepest) size += 2 * text_size(*key.value(), depth + 1);
      } else {
        size += kLongestNumber;
      }
    });
  }
  return size;
}

}  // namespace

const std::vector<const MetaProperty*>& Selection::of(const MetaClass& meta) {
  if (meta_ == &meta) return selected_;
  selected_.clear();
  selected_names_.clear();
  keys_.clear();
  for (const MetaProperty& property : meta.properties) {
    bool wanted = property.key || !names_;
    for (const char** name = names_; !wanted && *name; ++name)
      wanted = same_name(*name, property.name);
    if (!wanted) continue;
    selected_.push_back(&property);
    selected_names_.push_back(property.name);
    if (property.key) keys_.push_back(property.name);
  }
  selected_names_.push_back(nullptr);
  keys_.push_back(nullptr);
  meta_ = &meta;
  return selected_;
}

void Translator::put(OutgoingValue& result, const String& text) const {
  result.own(&CMPIValue::string,
             make(broker_, "string", &CMPIBrokerEncFT::newString, CleanText(text).c_str()));
}

void Translator::put(OutgoingValue& result, const Datetime& time) const {
  // Made from its text, because some object managers read the binary form wrongly.
  result.own(
      &CMPIValue::dateTime,
      make(broker_, "date-time", &CMPIBrokerEncFT::newDateTimeFromChars, time.to_string().c_str()));
}

void Translator::put(OutgoingValue& result, const Ref<Instance>& reference, int depth) const {
  if (!reference || depth >= kDeepest) return;
  const String& own = reference->name_space;
  const String& name_space = own.empty() ? name_space_ : own;
  // A reference that is too long is delivered as null.
  if (name_space.size() + text_size(*reference, depth) > kLongestReference) return;
  result.own(&CMPIValue::ref, path(*reference, depth + 1));
}

template <class T>
void Translator::put_element(OutgoingValue& result, const T& value, int depth) const {
  if constexpr (std::is_same_v<T, char16>)
    result.set(&CMPIValue::char16, is_clean(value) ? value : 0xFFFD);
  else if constexpr (std::is_same_v<T, Ref<Instance>>)
    put(result, value, depth);
  else if constexpr (std::is_arithmetic_v<T>)
    result.set(kMember<T>, value);
  else
    put(result, value);
}

OutgoingValue Translator::value(const Instance& holder, const MetaProperty& property,
                                int depth) const {
  const CMPIType code = code_of(property.type);
  OutgoingValue result(property.array ? code | CMPI_ARRAY : code);
  const auto put_any = [&]<class T>(const T& value) { put_element(result, value, depth); };
  const auto put_array = [&]<class T>(const Array<T>& values) {
    // A null reference is left out, because an element without a value crashes some object
    // managers.
    std::vector<OutgoingValue> elements;
    for (const T& value : values) {
      OutgoingValue element(code);
      put_element(element, value, depth);
      if (element.value()) elements.push_back(std::move(element));
    }
    auto array = make(broker_, "array", &CMPIBrokerEncFT::newArray,
                      static_cast<CMPICount>(elements.size()), code);
    for (CMPICount index = 0; index < elements.size(); ++index) {
      require(invoke(array.get(), &CMPIArrayFT::setElementAt, index, elements[index].value(), code),
              property.name);
      // The array may hold the object itself, not a copy, and then releases it.
      elements[index].keep();
    }
    result.own(&CMPIValue::array, std::move(array));
  };
  visit(&holder, property, [&]<class T>(const Property<T>& source) {
    if (source.null()) return;
    if constexpr (requires(T value) { put_array(value); })
      put_array(source.value());
    else
      put_any(source.value());
  });
  return result;
}

Made<CMPIObjectPath> Translator::class_path(const char* name_space, const char* class_name) const {
  return make(broker_, "path", &CMPIBrokerEncFT::newObjectPath, name_space, class_name);
}

namespace {

void add_key(CMPIObjectPath* path, const char* name, const OutgoingValue& key) {
  if (key.value())
    require(invoke(path, &CMPIObjectPathFT::addKey, name, key.value(), key.type()), name);
}

}  // namespace

Made<CMPIObjectPath> Translator::path(const Instance& instance, int depth) const {
  const String& own = instance.name_space;
  auto result = class_path((own.empty() ? name_space_ : own).c_str(), instance.meta_class->name);
  for (const MetaProperty& property : instance.meta_class->properties)
    if (property.key) add_key(result.get(), property.name, value(instance, property, depth));
  return result;
}

Made<CMPIInstance> Translator::instance(const Instance& instance, Selection& selection) const {
  const String& own = instance.name_space;
  auto path = class_path((own.empty() ? name_space_ : own).c_str(), instance.meta_class->name);
  // Each key is made once and used twice, for the path and for its property.
  const auto& selected = selection.of(*instance.meta_class);
  std::vector<OutgoingValue>& keys = selection.key_values();
  keys.clear();
  for (const MetaProperty* property : selected)
    if (property->key) keys.push_back(value(instance, *property));
  // Object managers accept a new instance with all keys or with none.
  if (std::ranges::all_of(keys, &OutgoingValue::value)) {
    auto key = keys.begin();
    for (const MetaProperty* property : selected)
      if (property->key) add_key(path.get(), property->name, *key++);
  }
  auto result = make(broker_, "instance", &CMPIBrokerEncFT::newInstance, path.get());

  auto key = keys.begin();
  for (const MetaProperty* property : selected) {
    const OutgoingValue value =
        property->key ? std::move(*key++) : this->value(instance, *property);
    const CMPIStatus status = invoke(result.get(), &CMPIInstanceFT::setProperty, property->name,
                                     value.value(), value.type());
    // The object manager may know an older version of the class, without this property.
    if (status.rc != CMPI_RC_ERR_NO_SUCH_PROPERTY) require(status, property->name);
  }
  if (!selection.everything()) {
    // Some object managers begin with all properties of the class, so that those not asked for must
    // be taken out. The keys are in both lists, because some look for them in the one and some in
    // the other.
    invoke(result.get(), &CMPIInstanceFT::setPropertyFilter, selection.names(), selection.keys());
  }
  return result;
}

}  // namespace ovk_cimple
