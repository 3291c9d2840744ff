// The association interface.
#include "platform/cmpi/client_call.h"
#include "platform/cmpi/matching.h"

namespace ovk_cimple {

namespace {

// What a query is answered with: associations, or the instances at their far ends.
std::vector<Ref<Instance>> answer(ClientCall& call, const CMPIObjectPath* path,
                                  const AssociationQuery& query, sint32 operation) {
  const MetaClass& own = call.meta_class();
  const MetaClass* const source_class = call.class_of(path);
  const AssociationMatcher filter(own, source_class, query);
  if (!filter.possible()) return {};
  const auto source = read_path(path, *source_class);
  if (!source) return {};
  const auto model = Ref<Instance>::adopt(create(own));

  std::vector<Ref<Instance>> found;
  const auto given = [](const char* name) { return name && *name ? name : nullptr; };
  const sint32 status =
      query.far_ends
          ? call.enumerate(found, operation, source.get(), given(query.result_class),
                           given(query.role), given(query.result_role))
          : call.enumerate(found, operation, source.get(), model.get(), given(query.role));
  const bool unsupported = status == EnumAssociatorNamesUnsupported ||
                           status == EnumReferencesUnsupported ||
                           status == EnumAssociatorsUnsupported;
  if (!unsupported) {
    call.require_ok(operation, status);
    std::erase_if(found, [&](const auto& instance) { return !filter.fits(*instance); });
    return found;
  }

  found.clear();
  call.enumerate_all(own, [&](const Ref<Instance>& association) {
    for (auto& result : filter.results(association, *source, call.translator().name_space()))
      found.push_back(std::move(result));
  });
  return found;
}

CMPIStatus cleanup(CMPIAssociationMI* mi, const CMPIContext*, CMPIBoolean terminating) {
  return clean_up(mi->hdl, terminating);
}

CMPIStatus associators(CMPIAssociationMI* mi, const CMPIContext* context, const CMPIResult* result,
                       const CMPIObjectPath* path, const char* association_class,
                       const char* result_class, const char* role, const char* result_role,
                       const char** properties) {
  const AssociationQuery query = {association_class, role, true, result_class, result_role};
  return perform(mi->hdl, context, result, path, "associators", [&](ClientCall& call) {
    Selection selection(properties);
    for (const auto& instance : answer(call, path, query, EnumAssociators)) {
      if (holds_more_than_keys(*instance))
        call.deliver(*instance, selection);
      else if (const CMPIInstance* const whole = call.fetch(*instance, properties))
        call.deliver(whole);
    }
  });
}

CMPIStatus associator_names(CMPIAssociationMI* mi, const CMPIContext* context,
                            const CMPIResult* result, const CMPIObjectPath* path,
                            const char* association_class, const char* result_class,
                            const char* role, const char* result_role) {
  const AssociationQuery query = {association_class, role, true, result_class, result_role};
  return perform(mi->hdl, context, result, path, "associator names", [&](ClientCall& call) {
    for (const auto& instance : answer(call, path, query, EnumAssociatorNames))
      call.deliver_path(*instance);
  });
}

CMPIStatus references(CMPIAssociationMI* mi, const CMPIContext* context, const CMPIResult* result,
                      const CMPIObjectPath* path, const char* result_class, const char* role,
                      const char** properties) {
  const AssociationQuery query = {result_class, role, false};
  return perform(mi->hdl, context, result, path, "references", [&](ClientCall& call) {
    Selection selection(properties);
    for (const auto& association : answer(call, path, query, EnumReferences))
      call.deliver(*association, selection);
  });
}

CMPIStatus reference_names(CMPIAssociationMI* mi, const CMPIContext* context,
                           const CMPIResult* result, const CMPIObjectPath* path,
                           const char* result_class, const char* role) {
  const AssociationQuery query = {result_class, role, false};
  return perform(mi->hdl, context, result, path, "reference names", [&](ClientCall& call) {
    for (const auto& association : answer(call, path, query, EnumReferences))
      call.deliver_path(*association);
  });
}

CMPIStatus associators_filtered(CMPIAssociationMI*, const CMPIContext*, const CMPIResult*,
                                const CMPIObjectPath*, const char*, const char*, const char*,
                                const char*, const char**, const char*, const char*, CMPIBoolean) {
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

CMPIStatus references_filtered(CMPIAssociationMI*, const CMPIContext*, const CMPIResult*,
                               const CMPIObjectPath*, const char*, const char*, const char**,
                               const char*, const char*, CMPIBoolean) {
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

}  // namespace

const CMPIAssociationMIFT kAssociationFunctions = {
    .ftVersion = CMPIVersion210,
    .miVersion = 1,
    .miName = "ovk_cimple",
    .cleanup = cleanup,
    .associators = associators,
    .associatorNames = associator_names,
    .references = references,
    .referenceNames = reference_names,
    .associatorsFiltered = associators_filtered,
    .referencesFiltered = references_filtered,
};

}  // namespace ovk_cimple
