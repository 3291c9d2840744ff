// Extended errors.
#include "broker/family.h"
#include "broker/marshal.h"

namespace broker {
namespace {

using TextMember = std::optional<std::string> ErrorObject::*;
using List = std::optional<std::vector<Value>> ErrorObject::*;

template <TextMember member>
CMPIString* get_text(const CMPIError* error, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIString*>(nullptr), [&]() -> CMPIString* {
    const auto& text = object<ErrorObject>(error).*member;
    return text ? new_string(*text) : nullptr;
  });
}

template <TextMember member>
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
  tables.error = {
      .ftVersion = CMPIVersion210,
      .release = release<E>,
      .clone = clone<E>,
      .getErrorType = get_number<&E::type, CMPIErrorType>,
      .getOtherErrorType = get_text<&E::other_type>,
      .getOwningEntity = get_text<&E::owning_entity>,
      .getMessageID = get_text<&E::message_id>,
      .getMessage = get_text<&E::message>,
      .getPerceivedSeverity = get_number<&E::severity, CMPIErrorSeverity>,
      .getProbableCause = get_number<&E::probable_cause, CMPIErrorProbableCause>,
      .getProbableCauseDescription = get_text<&E::cause_description>,
      .getRecommendedActions = get_list<&E::recommended_actions>,
      .getErrorSource = get_text<&E::source>,
      .getErrorSourceFormat = get_number<&E::source_format, CMPIErrorSrcFormat>,
      .getOtherErrorSourceFormat = get_text<&E::other_source_format>,
      .getCIMStatusCode = get_number<&E::status, CMPIrc>,
      .getCIMStatusCodeDescription = get_text<&E::status_description>,
      .getMessageArguments = get_list<&E::message_arguments>,
      .setErrorType = set_number<&E::type, CMPIErrorType>,
      .setOtherErrorType = set_text<&E::other_type>,
      .setProbableCauseDescription = set_text<&E::cause_description>,
      .setRecommendedActions = set_list<&E::recommended_actions>,
      .setErrorSource = set_text<&E::source>,
      .setErrorSourceFormat = set_number<&E::source_format, CMPIErrorSrcFormat>,
      .setOtherErrorSourceFormat = set_text<&E::other_source_format>,
      .setCIMStatusCodeDescription = set_text<&E::status_description>,
      .setMessageArguments = set_list<&E::message_arguments>,
  };
}

}  // namespace broker
