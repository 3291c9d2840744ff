#include "broker/error.h"

#include <array>
#include <utility>

namespace broker {
namespace {

struct NamedStatus {
  Status status;
  std::string_view name;
};

constexpr std::array kNames{
    NamedStatus{Status::Ok, "CIM_ERR_OK"},
    NamedStatus{Status::Failed, "CIM_ERR_FAILED"},
    NamedStatus{Status::AccessDenied, "CIM_ERR_ACCESS_DENIED"},
    NamedStatus{Status::InvalidNamespace, "CIM_ERR_INVALID_NAMESPACE"},
    NamedStatus{Status::InvalidParameter, "CIM_ERR_INVALID_PARAMETER"},
    NamedStatus{Status::InvalidClass, "CIM_ERR_INVALID_CLASS"},
    NamedStatus{Status::NotFound, "CIM_ERR_NOT_FOUND"},
    NamedStatus{Status::NotSupported, "CIM_ERR_NOT_SUPPORTED"},
    NamedStatus{Status::AlreadyExists, "CIM_ERR_ALREADY_EXISTS"},
    NamedStatus{Status::NoSuchProperty, "CIM_ERR_NO_SUCH_PROPERTY"},
    NamedStatus{Status::TypeMismatch, "CIM_ERR_TYPE_MISMATCH"},
    NamedStatus{Status::QueryLanguageNotSupported, "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED"},
    NamedStatus{Status::InvalidQuery, "CIM_ERR_INVALID_QUERY"},
    NamedStatus{Status::MethodNotAvailable, "CIM_ERR_METHOD_NOT_AVAILABLE"},
    NamedStatus{Status::MethodNotFound, "CIM_ERR_METHOD_NOT_FOUND"},
    NamedStatus{Status::ServerLimitsExceeded, "CIM_ERR_SERVER_LIMITS_EXCEEDED"},
    NamedStatus{Status::ServerIsShuttingDown, "CIM_ERR_SERVER_IS_SHUTTING_DOWN"},
    NamedStatus{Status::QueryFeatureNotSupported, "CIM_ERR_QUERY_FEATURE_NOT_SUPPORTED"},
};

}  // namespace

std::string status_name(Status status) {
  for (const NamedStatus& entry : kNames) {
    if (entry.status == status) return std::string(entry.name);
  }
  return "status " + std::to_string(static_cast<std::uint32_t>(status));
}

Error::Error(Status status, std::string description)
    : status_(status), description_(std::move(description)) {
  if (description_.empty()) description_ = status_name(status);
}

}  // namespace broker
