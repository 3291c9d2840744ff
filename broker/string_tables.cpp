// Strings, date-times, property lists and enumeration filters.
#include <cstdlib>
#include <cstring>

#include "broker/date_time.h"
#include "broker/family.h"
#include "broker/marshal.h"
#include "broker/provider_memory.h"

namespace broker {
namespace {

const char* get_char_ptr(const CMPIString* string, CMPIStatus* rc) {
  return answer(rc, static_cast<const char*>(nullptr),
                [&] { return object<StringObject>(string).text.c_str(); });
}

char* new_chars_cp(const CMPIString* string, const CMPICodepageID codepage, CMPIStatus* rc) {
  return answer(rc, static_cast<char*>(nullptr), [&] {
    const std::string& text = object<StringObject>(string).text;
    const std::string converted = to_codepage(text, codepage);
    // Room for the two zero bytes that end UTF-16.
    auto* chars = static_cast<char*>(memory_blocks().allocate(converted.size() + 2));
    std::memcpy(chars, converted.data(), converted.size());
    chars[converted.size()] = chars[converted.size() + 1] = '\0';
    return chars;
  });
}

CMPIUint64 get_binary_format(const CMPIDateTime* date_time, CMPIStatus* rc) {
  return answer(rc, CMPIUint64{0}, [&] {
    return static_cast<CMPIUint64>(datetime_microseconds(object<DateTimeObject>(date_time).text));
  });
}

CMPIString* get_string_format(const CMPIDateTime* date_time, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIString*>(nullptr),
                [&] { return new_string(object<DateTimeObject>(date_time).text); });
}

CMPIBoolean get_is_interval(const CMPIDateTime* date_time, CMPIStatus* rc) {
  return answer(rc, CMPIBoolean{0}, [&] {
    return static_cast<CMPIBoolean>(is_interval(object<DateTimeObject>(date_time).text));
  });
}

CMPIPropertyList* clone_property_list(const CMPIPropertyList* list, CMPIStatus* rc) {
  CMPIPropertyList* copy = clone<PropertyListObject>(list, rc);
  if (copy) object<PropertyListObject>(copy).point();
  return copy;
}

CMPIBoolean is_property_in_list(const CMPIPropertyList* list, const char* name, CMPIStatus* rc) {
  return answer(rc, CMPIBoolean{0}, [&] {
    const auto& names = object<PropertyListObject>(list).names;
    required(name, "the property name");
    for (const std::string& listed : names) {
      if (same_name(listed, name)) return CMPIBoolean{1};
    }
    return CMPIBoolean{0};
  });
}

const char** get_properties(const CMPIPropertyList* list, CMPIStatus* rc) {
  return answer(rc, static_cast<const char**>(nullptr),
                [&] { return object<PropertyListObject>(list).pointers.data(); });
}

// A filter cannot have a query, so that every instance passes.
CMPIBoolean match(const CMPIEnumerationFilter* filter, const CMPIInstance* instance,
                  CMPIStatus* rc) {
  return answer(rc, CMPIBoolean{0}, [&] {
    object<EnumerationFilterObject>(filter);
    object<InstanceObject>(instance);
    return CMPIBoolean{1};
  });
}

}  // namespace

void fill_string_tables(Tables& tables) {
  tables.string = {
      .ftVersion = CMPIVersion210,
      .release = release<StringObject>,
      .clone = clone<StringObject>,
      .getCharPtr = get_char_ptr,
      .newCharsCP = new_chars_cp,
  };
  tables.date_time = {
      .ftVersion = CMPIVersion210,
      .release = release<DateTimeObject>,
      .clone = clone<DateTimeObject>,
      .getBinaryFormat = get_binary_format,
      .getStringFormat = get_string_format,
      .isInterval = get_is_interval,
  };
  tables.property_list = {
      .ftVersion = CMPIVersion210,
      .release = release<PropertyListObject>,
      .clone = clone_property_list,
      .isPropertyInList = is_property_in_list,
      .getProperties = get_properties,
  };
  tables.enumeration_filter = {
      .ftVersion = CMPIVersion210,
      .release = release<EnumerationFilterObject>,
      .clone = clone<EnumerationFilterObject>,
      .match = match,
  };
}

}  // namespace broker
