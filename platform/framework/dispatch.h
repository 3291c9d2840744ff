// The dispatch protocol: the framework calls a provider by operation number and untyped
// arguments; this template turns that into typed calls. One for every module.
//
//   no.  operation                   arg0, arg1, ...
//   0    get meta-class              out slot
//   1    create provider             out slot
//   2    destroy provider            provider (may be null)
//   3    load                        provider
//   4    unload                      provider
//   5    get instance                provider, model, out slot for the instance
//   6    enumerate instances         provider, model, callback, callback data
//   7    create instance             provider, instance
//   8    delete instance             provider, instance
//   9    modify instance             provider, model, instance
//   10   invoke method               provider, target instance, method record
//   13   get meta-repository         out slot
//   14   enumerate associator names  provider, source, result class, role, result role,
//                                    callback, callback data
//   15   enumerate references        provider, source, model, role, callback, callback data
//   16   enumerate associators       as 14
//
// Any other number answers -1, and so do 14 to 16 of a provider that serves no association.
// The caller keeps what it passes; an instance that comes back in a slot or through the
// callback is the caller's to unref.
#pragma once

#include "platform/framework/handler.h"
#include "platform/framework/provider_status.h"
#include "platform/framework/registration.h"

namespace ovk_cimple {

enum OperationNumber : sint32 {
  GetMetaClass = 0,
  CreateProvider = 1,
  DestroyProvider = 2,
  LOAD = 3,
  UNLOAD = 4,
  GetInstance = 5,
  EnumInstances = 6,
  CreateInstance = 7,
  DeleteInstance = 8,
  ModifyInstance = 9,
  InvokeMethod = 10,
  GetMetaRepository = 13,
  EnumAssociatorNames = 14,
  EnumReferences = 15,
  EnumAssociators = 16,
};

// Performs an operation on a Provider that serves Class. Is_Association says whether the
// provider has the association operations. Exceptions of the provider pass through, without a
// closing callback.
template <class Provider, class Class, bool Is_Association>
sint32 dispatch(sint32 operation, void* arg0, void* arg1, void* arg2, void* arg3, void* arg4,
                void* arg5, void* arg6) {
  const auto provider = static_cast<Provider*>(arg0);
  const auto instance = static_cast<const Class*>(static_cast<const Instance*>(arg1));
  const auto text = [](void* arg) { return static_cast<const char*>(arg); };
  const auto callback = [](void* arg) { return reinterpret_cast<EnumCallback>(arg); };

  switch (operation) {
    case GetMetaClass:
      *static_cast<const MetaClass**>(arg0) = &Class::static_meta_class;
      return OK;
    case CreateProvider:
      *static_cast<Provider**>(arg0) = new Provider;
      return OK;
    case DestroyProvider:
      delete provider;  // NOLINT(clang-analyzer-cplusplus.NewDelete)
      return OK;
    case LOAD:
      return provider->load();
    case UNLOAD:
      return provider->unload();
    case GetInstance: {
      Class* found = nullptr;
      const sint32 status = provider->get_instance(instance, found);
      if (found)
        *static_cast<Instance**>(arg2) = found;  // NOLINT(clang-analyzer-core.NullDereference)
      return status;
    }
    case EnumInstances: {
      EnumHandler<Class> handler(callback(arg2), arg3);
      const sint32 status = provider->enum_instances(instance, &handler);
      callback(arg2)(nullptr, status, arg3);  // closes the enumeration whatever the status
      return status;
    }
    case CreateInstance:
      return provider->create_instance(instance);
    case DeleteInstance:
      return provider->delete_instance(instance);
    case ModifyInstance:
      return provider->modify_instance(
          instance, static_cast<const Class*>(static_cast<const Instance*>(arg2)));
    case InvokeMethod:
      return Class::invoke(*provider, instance, static_cast<Instance*>(arg2));
    case GetMetaRepository:
      *static_cast<const MetaRepository**>(arg0) = Class::static_meta_class.repository;
      return OK;
    default:
      break;
  }

  if constexpr (Is_Association) {
    // An association enumeration is closed unless the provider answered with the operation's
    // own "unsupported" code. Kept on purpose: the caller tells by it that nothing was begun.
    const auto source = static_cast<const Instance*>(arg1);
    const auto close = [&](sint32 status, sint32 unsupported, void* function, void* data) {
      if (status != unsupported) callback(function)(nullptr, status, data);
      return status;
    };
    switch (operation) {
      case EnumAssociatorNames: {
        EnumHandler<> handler(callback(arg5), arg6);
        return close(
            provider->enum_associator_names(source, text(arg2), text(arg3), text(arg4), &handler),
            EnumAssociatorNamesUnsupported, arg5, arg6);
      }
      case EnumReferences: {
        EnumHandler<Class> handler(callback(arg4), arg5);
        return close(provider->enum_references(
                         source, static_cast<const Class*>(static_cast<const Instance*>(arg2)),
                         text(arg3), &handler),
                     EnumReferencesUnsupported, arg4, arg5);
      }
      case EnumAssociators: {
        EnumHandler<> handler(callback(arg5), arg6);
        return close(
            provider->enum_associators(source, text(arg2), text(arg3), text(arg4), &handler),
            EnumAssociatorsUnsupported, arg5, arg6);
      }
      default:
        break;
    }
  }
  return UnknownOperation;
}

}  // namespace ovk_cimple
