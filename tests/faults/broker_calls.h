// The object manager's functions, made to fail as the injection says.
#pragma once

#include <type_traits>
#include <vector>

#include "broker/tables.h"
#include "tests/faults/injection.h"

namespace faults {

// What a function that has failed answers: an error status and, where there is one, no value.
template <class Answer, class... Parameters>
Answer failed(Parameters... parameters) {
  constexpr CMPIStatus kStatus{CMPI_RC_ERR_FAILED, nullptr};
  const auto tell = [&](auto parameter) {
    if constexpr (std::is_same_v<decltype(parameter), CMPIStatus*>)
      if (parameter) *parameter = kStatus;
  };
  (tell(parameters), ...);
  if constexpr (std::is_same_v<Answer, CMPIStatus>)
    return kStatus;
  else if constexpr (std::is_same_v<Answer, CMPIData>)
    return {CMPI_null, CMPI_nullValue, {}};
  else
    return Answer();
}

// Returns the name.
template <auto Member, class Table, class Answer, class... Parameters>
const char* may_fail(Table& table, Answer (*Table::*)(Parameters...), const char* name_of_member) {
  static const char* const name = name_of_member;
  static Answer (*original)(Parameters...);
  original = table.*Member;
  table.*Member = [](Parameters... parameters) -> Answer {
    if (has_to_fail(Call::Broker) || settings().refused == name)
      return failed<Answer>(parameters...);
    return original(parameters...);
  };
  return name;
}

// Every function that the adapter calls; returns their names.
inline std::vector<const char*> may_fail(broker::Tables& tables) {
  std::vector<const char*> names;
#define MAY_FAIL(table, type, member) \
  names.push_back(may_fail<&type::member>(tables.table, &type::member, #type "::" #member))
  MAY_FAIL(operations, CMPIBrokerFT, enumerateInstances);
  MAY_FAIL(operations, CMPIBrokerFT, getInstance);
  MAY_FAIL(factories, CMPIBrokerEncFT, logMessage);
  MAY_FAIL(factories, CMPIBrokerEncFT, newArray);
  MAY_FAIL(factories, CMPIBrokerEncFT, newDateTimeFromChars);
  MAY_FAIL(factories, CMPIBrokerEncFT, newInstance);
  MAY_FAIL(factories, CMPIBrokerEncFT, newObjectPath);
  MAY_FAIL(factories, CMPIBrokerEncFT, newString);
  MAY_FAIL(args, CMPIArgsFT, addArg);
  MAY_FAIL(args, CMPIArgsFT, getArg);
  MAY_FAIL(array, CMPIArrayFT, getElementAt);
  MAY_FAIL(array, CMPIArrayFT, getSize);
  MAY_FAIL(array, CMPIArrayFT, setElementAt);
  MAY_FAIL(array, CMPIArrayFT, release);
  MAY_FAIL(date_time, CMPIDateTimeFT, getStringFormat);
  MAY_FAIL(date_time, CMPIDateTimeFT, release);
  MAY_FAIL(enumeration, CMPIEnumerationFT, getNext);
  MAY_FAIL(enumeration, CMPIEnumerationFT, hasNext);
  MAY_FAIL(instance, CMPIInstanceFT, getObjectPath);
  MAY_FAIL(instance, CMPIInstanceFT, getProperty);
  MAY_FAIL(instance, CMPIInstanceFT, setProperty);
  MAY_FAIL(instance, CMPIInstanceFT, setPropertyFilter);
  MAY_FAIL(instance, CMPIInstanceFT, release);
  MAY_FAIL(object_path, CMPIObjectPathFT, addKey);
  MAY_FAIL(object_path, CMPIObjectPathFT, getClassName);
  MAY_FAIL(object_path, CMPIObjectPathFT, getKey);
  MAY_FAIL(object_path, CMPIObjectPathFT, getNameSpace);
  MAY_FAIL(object_path, CMPIObjectPathFT, release);
  MAY_FAIL(result, CMPIResultFT, returnData);
  MAY_FAIL(result, CMPIResultFT, returnDone);
  MAY_FAIL(result, CMPIResultFT, returnInstance);
  MAY_FAIL(result, CMPIResultFT, returnObjectPath);
  MAY_FAIL(string, CMPIStringFT, getCharPtr);
  MAY_FAIL(string, CMPIStringFT, release);
#undef MAY_FAIL
  return names;
}

}  // namespace faults
