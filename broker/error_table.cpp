// Extended errors.
#include "broker/family.h"
#include "broker/marshal.h"

namespace broker {
namespace {

using Text = std::optional<std::string> ErrorObject::*;
using List = std::optional<std::vector<Value>> ErrorObject::*;

template <Text member>
CMPIString* get_text(const CMPIError* error, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIString*>(nullptr), [&]() -> CMPIString* {
    const auto& text = object<ErrorObject>(error).*member;
    return text ? new_string(*text) : nullptr;
  });
}

template <Text member>
CMPIStatus set_text(const CMPIError* error, const char* text) {
  return answer([&] {
    auto& target = object<ErrorObject>(error).*member;
    target.reset();
    if (text) target = text;
  });
}

template <List member>
CMPIArray* get_list(const CMPIError* error, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIArray*>(nullptr), [&]() -> CMPIArray* {
    const auto& list = object<ErrorObject>(error).*member;
    return list ? handle(make<ArrayObject>(Type::String, *list)) : nullptr;
  });
}

template <List member>
CMPIStatus set_list(const CMPIError* error, const CMPIArray* array) {
  return answer([&] {
    auto& target = object<ErrorObject>(error).*member;
    if (!array) {
      target.reset();
      return;
    }
    const ArrayObject& source = object<ArrayObject>(array);
    if (source.element != Type::String) {
      throw Error(Status::InvalidParameter, "an array of strings is wanted");
    }
    target = source.values;
  });
}

template <auto member, class Number>
Number get_number(const CMPIError* error, CMPIStatus* rc) {
  return answer(rc, Number{}, [&] { return object<ErrorObject>(error).*member; });
}

template <auto member, class Number>
CMPIStatus set_number(const CMPIError* error, Number number) {
  return answer([&] { object<ErrorObject>(error).*member = number; });
}

}  // namespace

void fill_error_table(Tables& tables) {
  using E = ErrorObject;
  tables.error = {CMPIVersion210,
                  release<E>,
                  clone<E>,
                  get_number<&E::type, CMPIErrorType>,
                  get_text<&E::other_type>,
                  get_text<&E::owning_entity>,
                  get_text<&E::message_id>,
                  get_text<&E::message>,
                  get_number<&E::severity, CMPIErrorSeverity>,
                  get_number<&E::probable_cause, CMPIErrorProbableCause>,
                  get_text<&E::cause_description>,
                  get_list<&E::recommended_actions>,
                  get_text<&E::source>,
                  get_number<&E::source_format, CMPIErrorSrcFormat>,
                  get_text<&E::other_source_format>,
                  get_number<&E::status, CMPIrc>,
                  get_text<&E::status_description>,
                  get_list<&E::message_arguments>,
                  set_number<&E::type, CMPIErrorType>,
                  set_text<&E::other_type>,
                  set_text<&E::cause_description>,
                  set_list<&E::recommended_actions>,
                  set_text<&E::source>,
                  set_number<&E::source_format, CMPIErrorSrcFormat>,
                  set_text<&E::other_source_format>,
                  set_text<&E::status_description>,
                  set_list<&E::message_arguments>};
}

}  // namespace broker
