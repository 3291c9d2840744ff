#include "broker/tables.h"

#include "broker/family.h"

namespace broker {
namespace {

// Queries, of which no object is ever made.
void fill_query_tables(Tables& tables) {
  tables.select_expression = {
      .ftVersion = CMPIVersion210,
      .release = kUnsupported,
      .clone = kUnsupported,
      .evaluate = kUnsupported,
      .getString = kUnsupported,
      .getDOC = kUnsupported,
      .getCOD = kUnsupported,
      .evaluateUsingAccessor = kUnsupported,
  };
  tables.select_condition = {
      .ftVersion = CMPIVersion210,
      .release = kUnsupported,
      .clone = kUnsupported,
      .getCountAndType = kUnsupported,
      .getSubCondAt = kUnsupported,
  };
  tables.sub_condition = {
      .ftVersion = CMPIVersion210,
      .release = kUnsupported,
      .clone = kUnsupported,
      .getCount = kUnsupported,
      .getPredicateAt = kUnsupported,
      .getPredicate = kUnsupported,
  };
  tables.predicate = {
      .ftVersion = CMPIVersion210,
      .release = kUnsupported,
      .clone = kUnsupported,
      .getData = kUnsupported,
      .evaluateUsingAccessor = kUnsupported,
  };
}

}  // namespace

Tables::Tables() : broker{nullptr, &operations, &factories, &system, &memory} {
  fill_operation_table(*this);
  fill_factory_table(*this);
  fill_system_table(*this);
  fill_memory_table(*this);
  fill_string_tables(*this);
  fill_collection_tables(*this);
  fill_instance_table(*this);
  fill_object_path_table(*this);
  fill_error_table(*this);
  fill_query_tables(*this);
}

}  // namespace broker
