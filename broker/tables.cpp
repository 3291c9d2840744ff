#include "broker/tables.h"

#include "broker/family.h"

namespace broker {
namespace {

// Queries, of which no object is ever made.
void fill_query_tables(Tables& tables) {
  tables.select_expression = {
      .ftVersion = CMPIVersion210,
      .release = unsupported,
      .clone = unsupported,
      .evaluate = unsupported,
      .getString = unsupported,
      .getDOC = unsupported,
      .getCOD = unsupported,
      .evaluateUsingAccessor = unsupported,
  };
  tables.select_condition = {
      .ftVersion = CMPIVersion210,
      .release = unsupported,
      .clone = unsupported,
      .getCountAndType = unsupported,
      .getSubCondAt = unsupported,
  };
  tables.sub_condition = {
      .ftVersion = CMPIVersion210,
      .release = unsupported,
      .clone = unsupported,
      .getCount = unsupported,
      .getPredicateAt = unsupported,
      .getPredicate = unsupported,
  };
  tables.predicate = {
      .ftVersion = CMPIVersion210,
      .release = unsupported,
      .clone = unsupported,
      .getData = unsupported,
      .evaluateUsingAccessor = unsupported,
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
