#include "broker/tables.h"

#include "broker/family.h"

namespace broker {
namespace {

// Queries: no object of these kinds is ever made.
void fill_query_tables(Tables& tables) {
  CMPISelectExpFT& expression = tables.select_expression;
  expression.ftVersion = CMPIVersion210;
  unsupport(expression.release);
  unsupport(expression.clone);
  unsupport(expression.evaluate);
  unsupport(expression.getString);
  unsupport(expression.getDOC);
  unsupport(expression.getCOD);
  unsupport(expression.evaluateUsingAccessor);
  CMPISelectCondFT& condition = tables.select_condition;
  condition.ftVersion = CMPIVersion210;
  unsupport(condition.release);
  unsupport(condition.clone);
  unsupport(condition.getCountAndType);
  unsupport(condition.getSubCondAt);
  CMPISubCondFT& sub = tables.sub_condition;
  sub.ftVersion = CMPIVersion210;
  unsupport(sub.release);
  unsupport(sub.clone);
  unsupport(sub.getCount);
  unsupport(sub.getPredicateAt);
  unsupport(sub.getPredicate);
  CMPIPredicateFT& predicate = tables.predicate;
  predicate.ftVersion = CMPIVersion210;
  unsupport(predicate.release);
  unsupport(predicate.clone);
  unsupport(predicate.getData);
  unsupport(predicate.evaluateUsingAccessor);
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
