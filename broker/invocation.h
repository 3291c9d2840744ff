// How the operations call providers.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker/core.h"
#include "broker/marshal.h"

namespace broker {

// A list of property names as CMPI passes it: null for all.
class NameList {
 public:
  explicit NameList(const std::optional<std::vector<std::string>>& names) {
    if (!names) return;
    for (const std::string& name : *names) pointers_.push_back(name.c_str());
    pointers_.push_back(nullptr);
  }
  const char** get() { return pointers_.empty() ? nullptr : pointers_.data(); }

 private:
  std::vector<const char*> pointers_;
};

// A filter of associations as CMPI passes it: null for none.
inline const char* filter(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

// A path as an argument of a provider's function. It is freed with the operation.
inline const CMPIObjectPath* lend_path(Operation& operation, const ObjectPath& path,
                                       const ClassInfo& info) {
  return handle(operation.lend<ObjectPathObject>(path, &info));
}

// An instance as an argument; both must outlive the call.
struct Given {
  const Instance& instance;
  const ClassInfo& info;
};

inline const CMPIInstance* lend(Operation& operation, const Given& given) {
  return handle(operation.lend<InstanceObject>(given.instance, &given.info));
}
inline const char* lend(Operation&, const char* text) { return text; }
inline const char** lend(Operation&, const char** names) { return names; }

inline ObjectPath class_path(const ClassInfo& info) {
  return ObjectPath(Name::borrowed(kServedNameSpace), info.name());
}

Error provider_error(const Provider& provider, const CMPIStatus& status, const Delivery& delivery);

// Runs invoke(operation, interface, result), which calls one function of the interface's table, in
// an operation of its own and with the provider kept alive.
template <class MI, class Invoke>
std::optional<Error> Core::run(Provider& provider, Delivery& delivery, const Request& request,
                               CMPIFlags flags, Invoke invoke) {
  const auto lease = provider.lease<MI>();
  Operation operation(*this, request, flags);
  const CMPIResult* result = handle(operation.lend<ResultObject>(&delivery));
  const CMPIStatus status = invoke(operation, lease.get(), result);
  delivery.rethrow();
  if (status.rc == CMPI_RC_OK) return std::nullopt;
  return provider_error(provider, status, delivery);
}

template <class Function, class... Arguments>
CMPIStatus invoke_if_present(Function function, Arguments... arguments) {
  if (!function) return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  return function(arguments...);
}

template <class Table>
struct InterfaceOf;
template <>
struct InterfaceOf<CMPIInstanceMIFT> {
  using Type = CMPIInstanceMI;
};
template <>
struct InterfaceOf<CMPIAssociationMIFT> {
  using Type = CMPIAssociationMI;
};

template <class Table, class Function, class... Arguments>
std::optional<Error> Core::ask(Provider& provider, Delivery& delivery, const Request& request,
                               CMPIFlags flags, Function Table::*function, const ObjectPath& path,
                               const ClassInfo& info, Arguments... arguments) {
  using MI = typename InterfaceOf<Table>::Type;
  return run<MI>(provider, delivery, request, flags,
                 [&](Operation& operation, MI* mi, const CMPIResult* result) {
                   return invoke_if_present(mi->ft->*function, mi, operation.context(), result,
                                            lend_path(operation, path, info),
                                            lend(operation, arguments)...);
                 });
}

// Asks several providers; ask(registered) returns the provider's error. A provider that answers
// NOT_FOUND has nothing to deliver: older ones say it so. NOT_SUPPORTED is an error of the whole
// operation only when every provider answers it. Any other error ends the operation.
template <class Ask>
void ask_each(const std::vector<const Registered*>& asked, Ask ask) {
  std::optional<Error> unsupported;
  bool answered = false;
  for (const Registered* registered : asked) {
    std::optional<Error> error = ask(*registered);
    if (error && error->status() == Status::NotSupported) {
      unsupported = std::move(error);
    } else if (error && error->status() != Status::NotFound) {
      throw *error;
    } else {
      answered = true;
    }
  }
  if (unsupported && !answered) throw *unsupported;
}

}  // namespace broker
