// Operations that follow associations.
#include <algorithm>

#include "broker/flight.h"
#include "broker/invocation.h"

namespace broker {
namespace {

// Null for an empty name. A filter by an unknown class is an error of the client.
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
  bool far_end;  // whether the other end must fit as well
};

// Whether an instance of the association can be part of the answer: one reference fits the source
// and its role and, where the far end is asked for, another one fits the result and its role.
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

Delivery delivery_to(const InstanceSink& sink, const ClassInfo* bound, const Request& request) {
  return {sink, bound, {&request, nullptr}};
}

Delivery delivery_to(const PathSink& sink, const ClassInfo* bound, const Request&) {
  return {sink, bound};
}

}  // namespace

// Asks every association provider that can answer with one function of its table. arguments: those
// that follow the source path.
template <class Sink, class Function, class... Arguments>
void Core::follow(const ObjectPath& path, const AssociationFilter& query, bool far_end,
                  const Sink& sink, const Request& request, Function CMPIAssociationMIFT::*function,
                  Arguments... arguments) {
  const Flight flight(*this);
  const ClassInfo& info = source_class(path);
  const ObjectPath source = instance_path(path, info);
  const ClassInfo* result = filter_class(schema_, query.result_class);
  const ClassInfo* association = far_end ? filter_class(schema_, query.association_class) : result;
  const Ends ends{&info, far_end ? result : nullptr, query, far_end};
  std::vector<const Registered*> asked;
  for (const Registered& registered : registered_) {
    if (!registered.association) continue;
    if (association && !registered.info->is_a(*association)) continue;
    if (can_answer(schema_, *registered.info, ends)) asked.push_back(&registered);
  }
  ask_each(asked, [&](const Registered& registered) {
    Delivery delivery = delivery_to(sink, far_end ? result : registered.info, request);
    return ask(*registered.provider, delivery, request, 0, function, source, info, arguments...);
  });
}

void Core::associators(const ObjectPath& path, const AssociationFilter& query,
                       const InstanceSink& sink, const Request& request) {
  NameList names(request.properties);
  follow(path, query, true, sink, request, &CMPIAssociationMIFT::associators,
         filter(query.association_class), filter(query.result_class), filter(query.role),
         filter(query.result_role), names.get());
}

void Core::associator_names(const ObjectPath& path, const AssociationFilter& query,
                            const PathSink& sink, const Request& request) {
  follow(path, query, true, sink, request, &CMPIAssociationMIFT::associatorNames,
         filter(query.association_class), filter(query.result_class), filter(query.role),
         filter(query.result_role));
}

void Core::references(const ObjectPath& path, const AssociationFilter& query,
                      const InstanceSink& sink, const Request& request) {
  NameList names(request.properties);
  follow(path, query, false, sink, request, &CMPIAssociationMIFT::references,
         filter(query.result_class), filter(query.role), names.get());
}

void Core::reference_names(const ObjectPath& path, const AssociationFilter& query,
                           const PathSink& sink, const Request& request) {
  follow(path, query, false, sink, request, &CMPIAssociationMIFT::referenceNames,
         filter(query.result_class), filter(query.role));
}

}  // namespace broker
