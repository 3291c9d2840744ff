// CMPI: the management interfaces that a provider fills in, and how a broker obtains them.
//
// A broker looks for the exported function "<provider>_Create_<Kind>MI" (or, for all providers of
// a library, "_Generic_Create_<Kind>MI", which takes the provider's name), Kind being Instance,
// Association, Method, Property or Indication. It answers null or sets the status on failure. It
// may be called again and on any thread, and so may every function of the tables, also in
// parallel. No exception may leave any of them.
#pragma once

// NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.

#include "platform/cmpi/cmpi_types.h"

struct CMPIInstanceMIFT;
struct CMPIAssociationMIFT;
struct CMPIMethodMIFT;
struct CMPIPropertyMIFT;
struct CMPIIndicationMIFT;

struct CMPIInstanceMI {
  const void* hdl;
  const CMPIInstanceMIFT* ft;
};

struct CMPIAssociationMI {
  const void* hdl;
  const CMPIAssociationMIFT* ft;
};

struct CMPIMethodMI {
  const void* hdl;
  const CMPIMethodMIFT* ft;
};

struct CMPIPropertyMI {
  const void* hdl;
  const CMPIPropertyMIFT* ft;
};

struct CMPIIndicationMI {
  const void* hdl;
  const CMPIIndicationMIFT* ft;
};

struct CMPIInstanceMIFT {
  CMPIVersion ftVersion;
  int miVersion;
  const char* miName;
  // Ends the interface; not called when its factory failed.
  CMPIStatus (*cleanup)(CMPIInstanceMI* mi, const CMPIContext* ctx, CMPIBoolean terminating);
  // Result: one path per instance of the class.
  CMPIStatus (*enumerateInstanceNames)(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                       const CMPIResult* rslt, const CMPIObjectPath* classPath);
  // Result: one instance each.
  CMPIStatus (*enumerateInstances)(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                   const CMPIResult* rslt, const CMPIObjectPath* classPath,
                                   const char** properties);
  // Result: exactly one instance, or status 6.
  CMPIStatus (*getInstance)(CMPIInstanceMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                            const CMPIObjectPath* instPath, const char** properties);
  // Result: the new path.
  CMPIStatus (*createInstance)(CMPIInstanceMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                               const CMPIObjectPath* classPath, const CMPIInstance* inst);
  // No result data.
  CMPIStatus (*modifyInstance)(CMPIInstanceMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                               const CMPIObjectPath* instPath, const CMPIInstance* modInst,
                               const char** properties);
  // No result data.
  CMPIStatus (*deleteInstance)(CMPIInstanceMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                               const CMPIObjectPath* op);
  // Result: instances; lang is case-sensitive.
  CMPIStatus (*execQuery)(CMPIInstanceMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                          const CMPIObjectPath* classPath, const char* query, const char* lang);

  // Since 2.1.
  // Instances that pass the filter. The last argument is described differently by the
  // standard itself (a status, or continueOnError); it is neither read nor written through.
  CMPIStatus (*enumerateInstancesFiltered)(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                           const CMPIResult* rslt, const CMPIObjectPath* classPath,
                                           const char** properties, const char* filterQuerylanguage,
                                           const char* filterQuery, CMPIStatus* rc);
};

struct CMPIAssociationMIFT {
  CMPIVersion ftVersion;
  int miVersion;
  const char* miName;
  // Ends the interface; not called when its factory failed.
  CMPIStatus (*cleanup)(CMPIAssociationMI* mi, const CMPIContext* ctx, CMPIBoolean terminating);
  // Result: far-end instances.
  CMPIStatus (*associators)(CMPIAssociationMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                            const CMPIObjectPath* instPath, const char* assocClass,
                            const char* resultClass, const char* role, const char* resultRole,
                            const char** properties);
  // Result: far-end paths.
  CMPIStatus (*associatorNames)(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                const CMPIResult* rslt, const CMPIObjectPath* instPath,
                                const char* assocClass, const char* resultClass, const char* role,
                                const char* resultRole);
  // Result: association instances.
  CMPIStatus (*references)(CMPIAssociationMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                           const CMPIObjectPath* instPath, const char* resultClass,
                           const char* role, const char** properties);
  // Result: association paths.
  CMPIStatus (*referenceNames)(CMPIAssociationMI* mi, const CMPIContext* ctx,
                               const CMPIResult* rslt, const CMPIObjectPath* instPath,
                               const char* resultClass, const char* role);

  // Since 2.1.
  // As associators plus filter.
  CMPIStatus (*associatorsFiltered)(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                    const CMPIResult* rslt, const CMPIObjectPath* instPath,
                                    const char* assocClass, const char* resultClass,
                                    const char* role, const char* resultRole,
                                    const char** properties, const char* filterQueryLanguage,
                                    const char* filterQuery, CMPIBoolean continueOnError);
  // As references plus filter.
  CMPIStatus (*referencesFiltered)(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                   const CMPIResult* rslt, const CMPIObjectPath* instPath,
                                   const char* resultClass, const char* role,
                                   const char** properties, const char* filterQueryLanguage,
                                   const char* filterQuery, CMPIBoolean continueOnError);
};

struct CMPIMethodMIFT {
  CMPIVersion ftVersion;
  int miVersion;
  const char* miName;
  // Ends the interface; not called when its factory failed.
  CMPIStatus (*cleanup)(CMPIMethodMI* mi, const CMPIContext* ctx, CMPIBoolean terminating);
  // The result takes the return value, out the output parameters.
  CMPIStatus (*invokeMethod)(CMPIMethodMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                             const CMPIObjectPath* objPath, const char* method, const CMPIArgs* in,
                             CMPIArgs* out);
};

// Deprecated since 2.1.
struct CMPIPropertyMIFT {
  CMPIVersion ftVersion;
  int miVersion;
  const char* miName;
  // Ends the interface; not called when its factory failed.
  CMPIStatus (*cleanup)(CMPIPropertyMI* mi, const CMPIContext* ctx, CMPIBoolean terminating);
  // Deprecated; data comes by value.
  CMPIStatus (*setProperty)(CMPIPropertyMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                            const CMPIObjectPath* instPath, const char* name, CMPIData data);
  // Deprecated.
  CMPIStatus (*getProperty)(CMPIPropertyMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                            const CMPIObjectPath* instPath, const char* name);

  // Since 2.0.
  // Deprecated.
  CMPIStatus (*setPropertyWithOrigin)(CMPIPropertyMI* mi, const CMPIContext* ctx,
                                      const CMPIResult* rslt, CMPIObjectPath* instPath,
                                      const char* name, CMPIData data, const char* origin);
};

struct CMPIIndicationMIFT {
  CMPIVersion ftVersion;
  int miVersion;
  const char* miName;
  // Ends the interface; not called when its factory failed.
  CMPIStatus (*cleanup)(CMPIIndicationMI* mi, const CMPIContext* ctx, CMPIBoolean terminating);
  // May this filter be used?
  CMPIStatus (*authorizeFilter)(CMPIIndicationMI* mi, const CMPIContext* ctx,
                                const CMPISelectExp* filter, const char* className,
                                const CMPIObjectPath* classPath, const char* owner);
  // Deprecated. Brokers before 2.1 leave rslt out: read no argument after ctx.
  CMPIStatus (*mustPoll)(CMPIIndicationMI* mi, const CMPIContext* ctx, const CMPIResult* rslt,
                         const CMPISelectExp* filter, const char* className,
                         const CMPIObjectPath* classPath);
  // A filter became active.
  CMPIStatus (*activateFilter)(CMPIIndicationMI* mi, const CMPIContext* ctx,
                               const CMPISelectExp* filter, const char* className,
                               const CMPIObjectPath* classPath, CMPIBoolean firstActivation);
  // A filter became inactive.
  CMPIStatus (*deActivateFilter)(CMPIIndicationMI* mi, const CMPIContext* ctx,
                                 const CMPISelectExp* filter, const char* className,
                                 const CMPIObjectPath* classPath, CMPIBoolean lastDeActiviation);
  // The broker is ready to take indications.
  CMPIStatus (*enableIndications)(CMPIIndicationMI* mi, const CMPIContext* ctx);
  // The broker is no longer ready.
  CMPIStatus (*disableIndications)(CMPIIndicationMI* mi, const CMPIContext* ctx);

  // Since 2.1.
  // As authorizeFilter for a CIM_FilterCollection instance.
  CMPIStatus (*authorizeFilterCollection)(CMPIIndicationMI* mi, const CMPIContext* ctx,
                                          const CMPIInstance* collInst);
  // As activateFilter for a collection.
  CMPIStatus (*activateFilterCollection)(CMPIIndicationMI* mi, const CMPIContext* ctx,
                                         const CMPIInstance* collInst, CMPIBoolean firstActivation);
  // As deActivateFilter for a collection.
  CMPIStatus (*deActivateFilterCollection)(CMPIIndicationMI* mi, const CMPIContext* ctx,
                                           const CMPIInstance* collInst,
                                           CMPIBoolean lastDeActivation);
};

using CMPICreateInstanceMI = CMPIInstanceMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                             CMPIStatus* rc);
using CMPICreateGenericInstanceMI = CMPIInstanceMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                                    const char* miName, CMPIStatus* rc);
using CMPICreateAssociationMI = CMPIAssociationMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                                   CMPIStatus* rc);
using CMPICreateGenericAssociationMI = CMPIAssociationMI*(const CMPIBroker* mb,
                                                          const CMPIContext* ctx,
                                                          const char* miName, CMPIStatus* rc);
using CMPICreateMethodMI = CMPIMethodMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                         CMPIStatus* rc);
using CMPICreateGenericMethodMI = CMPIMethodMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                                const char* miName, CMPIStatus* rc);
using CMPICreatePropertyMI = CMPIPropertyMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                             CMPIStatus* rc);
using CMPICreateGenericPropertyMI = CMPIPropertyMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                                    const char* miName, CMPIStatus* rc);
using CMPICreateIndicationMI = CMPIIndicationMI*(const CMPIBroker* mb, const CMPIContext* ctx,
                                                 CMPIStatus* rc);
using CMPICreateGenericIndicationMI = CMPIIndicationMI*(const CMPIBroker* mb,
                                                        const CMPIContext* ctx, const char* miName,
                                                        CMPIStatus* rc);

// NOLINTEND(readability-identifier-naming)
