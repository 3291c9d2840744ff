// The function tables through which providers reach the object manager: CMPI 2.1, complete, no
// member null.
//
// Every manager has a set of its own and makes all its objects with it. To test a provider
// against other habits, change the set in Options::adjust_tables, before any provider sees it:
//
//   options.adjust_tables = [](broker::Tables& tables) {
//     tables.operations.brokerVersion = 0;
//     tables.string.ftVersion = 1;
//     tables.instance.setPropertyWithOrigin = nullptr;  // as a manager of CMPI 1.0 has it
//     tables.broker.mft = nullptr;
//     static const auto original = tables.factories.newString;
//     tables.factories.newString = [](auto... arguments) { count(); return original(arguments...);
//     };
//   };
//
// A test may also copy a table or wrap its functions. The objects are still made by this manager.
#pragma once

#include "platform/cmpi/cmpi.h"

namespace broker {

struct Tables {
  Tables();  // all members as this manager has them; broker.hdl is set by the manager
  Tables(const Tables&) = delete;  // broker points at its neighbours
  Tables& operator=(const Tables&) = delete;

  CMPIBroker broker;  // what factories receive
  CMPIBrokerFT operations{};
  CMPIBrokerEncFT factories{};
  CMPIBrokerExtFT system{};
  CMPIBrokerMemFT memory{};
  CMPIContextFT context{};
  CMPIResultFT result{};
  CMPIStringFT string{};
  CMPIArrayFT array{};
  CMPIEnumerationFT enumeration{};
  CMPIInstanceFT instance{};
  CMPIObjectPathFT object_path{};
  CMPIArgsFT args{};
  CMPIDateTimeFT date_time{};
  CMPIErrorFT error{};
  CMPIPropertyListFT property_list{};
  CMPIEnumerationFilterFT enumeration_filter{};
  // No query language is served, so that no object is made with these tables. Their functions
  // answer NOT_SUPPORTED.
  CMPISelectExpFT select_expression{};
  CMPISelectCondFT select_condition{};
  CMPISubCondFT sub_condition{};
  CMPIPredicateFT predicate{};
};

}  // namespace broker
