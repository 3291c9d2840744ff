// Operations that follow associations.
#include <algorithm>

#include "broker/flight.h"
#include "broker/invocation.h"

namespace broker {
namespace {

// Null for no filter; a filter with an unknown class is an error of the client.
const ClassInfo* filter_class(const Schema& schema, const std::string& name) {
  if (name.empty()) return nullptr;
  if (const ClassInfo* info = schema.find(name)) return info;
  throw Error(Status::InvalidParameter, "there is no class " + name + " to filter by");
}

// Whether a reference of the declared class can lead to an object of the other class.
bool can_refer(const Schema& schema, const PropertyInfo& property, const ClassInfo* other) {
  const ClassInfo* declared = schema.find(property.feature->reference_class);
  return !declared || !other || other->is_a(*declared) || declared->is_a(*other);
}

struct Ends {
  const ClassInfo* source;
  const ClassInfo* result;
  const AssociationFilter& filter;
  bool far_end;  // the other end counts too
};

// Whether instances of the association can answer: one reference leads to the source in its role
// and, where the far end is asked for, another one to the result in its role.
bool can_answer(const Schema& schema, const ClassInfo& association, const Ends& ends) {
  const auto fits = [&](const PropertyInfo& property, const std::string& role,
                        const ClassInfo* other) {
    return property.type == Type::Reference && (role.empty() || property.name == role) &&
           can_refer(schema, property, other);
  };
  const auto properties = association.properties();
  return std::any_of(properties.begin(), properties.end(), [&](const PropertyInfo& near) {
    if (!fits(near, ends.filter.role, ends.source)) return false;
    if (!ends.far_end) return true;
    return std::any_of(properties.begin(), properties.end(), [&](const PropertyInfo& far) {
      return &far != &near && fits(far, ends.filter.result_role, ends.result);
    });
  });
}

}  // namespace

// Calls ask(registered, source path, its class, class that results must be of).
template <class Ask>
void Core::ask_associations(const ObjectPath& path, const AssociationFilter& filter, bool far_end,
                            Ask ask) {
  const Flight flight(*this);
  const ClassInfo& info = source_class(path);
  const ObjectPath source = instance_path(path, info);
  const ClassInfo* result = filter_class(schema_, filter.result_class);
  const ClassInfo* association = far_end ? filter_class(schema_, filter.association_class) : result;
  const Ends ends{&info, far_end ? result : nullptr, filter, far_end};
  std::vector<const Registered*> asked;
  for (const Registered& registered : registered_) {
    if (!registered.association) continue;
    if (association && !registered.info->is_a(*association)) continue;
    if (can_answer(schema_, *registered.info, ends)) asked.push_back(&registered);
  }
  ask_each(asked, [&](const Registered& registered) {
    return ask(registered, source, info, far_end ? result : registered.info);
  });
}

void Core::associators(const ObjectPath& path, const AssociationFilter& query,
                       const InstanceSink& sink, const Request& request) {
  NameList names(request.properties);
  ask_associations(
      path, query, true,
      [&](const Registered& asked, const ObjectPath& source, const ClassInfo& info,
          const ClassInfo* bound) {
        Delivery delivery(sink, bound, {&request, nullptr});
        return run<CMPIAssociationMI>(
            *asked.provider, delivery, request, 0,
            [&](Operation& operation, CMPIAssociationMI* mi, const CMPIResult* result) {
              return invoke_if_present(mi->ft->associators, mi, operation.context(), result,
                                       lend_path(operation, source, info),
                                       filter(query.association_class), filter(query.result_class),
                                       filter(query.role), filter(query.result_role), names.get());
            });
      });
}

void Core::associator_names(const ObjectPath& path, const AssociationFilter& query,
                            const PathSink& sink, const Request& request) {
  ask_associations(
      path, query, true,
      [&](const Registered& asked, const ObjectPath& source, const ClassInfo& info,
          const ClassInfo* bound) {
        Delivery delivery(sink, bound);
        return run<CMPIAssociationMI>(
            *asked.provider, delivery, request, 0,
            [&](Operation& operation, CMPIAssociationMI* mi, const CMPIResult* result) {
              return invoke_if_present(mi->ft->associatorNames, mi, operation.context(), result,
                                       lend_path(operation, source, info),
                                       filter(query.association_class), filter(query.result_class),
                                       filter(query.role), filter(query.result_role));
            });
      });
}

void Core::references(const ObjectPath& path, const AssociationFilter& query,
                      const InstanceSink& sink, const Request& request) {
  NameList names(request.properties);
  ask_associations(
      path, query, false,
      [&](const Registered& asked, const ObjectPath& source, const ClassInfo& info,
          const ClassInfo* bound) {
        Delivery delivery(sink, bound, {&request, nullptr});
        return run<CMPIAssociationMI>(
            *asked.provider, delivery, request, 0,
            [&](Operation& operation, CMPIAssociationMI* mi, const CMPIResult* result) {
              return invoke_if_present(mi->ft->references, mi, operation.context(), result,
                                       lend_path(operation, source, info),
                                       filter(query.result_class), filter(query.role), names.get());
            });
      });
}

void Core::reference_names(const ObjectPath& path, const AssociationFilter& query,
                           const PathSink& sink, const Request& request) {
  ask_associations(
      path, query, false,
      [&](const Registered& asked, const ObjectPath& source, const ClassInfo& info,
          const ClassInfo* bound) {
        Delivery delivery(sink, bound);
        return run<CMPIAssociationMI>(
            *asked.provider, delivery, request, 0,
            [&](Operation& operation, CMPIAssociationMI* mi, const CMPIResult* result) {
              return invoke_if_present(mi->ft->referenceNames, mi, operation.context(), result,
                                       lend_path(operation, source, info),
                                       filter(query.result_class), filter(query.role));
            });
      });
}

}  // namespace broker
