// How every operation of the object manager fails: with a CIM status and a description.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace broker {

// CIM status codes (DSP0200); the numbers are also those of CMPI. A provider may answer with a
// number outside this list; it is passed on as it came.
enum class Status : std::uint32_t {
  Ok = 0,
  Failed = 1,
  AccessDenied = 2,
  InvalidNamespace = 3,
  InvalidParameter = 4,
  InvalidClass = 5,
  NotFound = 6,
  NotSupported = 7,
  AlreadyExists = 11,
  NoSuchProperty = 12,
  TypeMismatch = 13,
  QueryLanguageNotSupported = 14,
  InvalidQuery = 15,
  MethodNotAvailable = 16,
  MethodNotFound = 17,
  NoMoreElements = 18,
  ServerLimitsExceeded = 27,
  ServerIsShuttingDown = 28,
  QueryFeatureNotSupported = 29,
  // Between provider and object manager:
  InvalidHandle = 60,
  InvalidDataType = 61,
  NotInCodepage = 62,
};

// "CIM_ERR_NOT_FOUND"; for a number without a name "status 200".
std::string status_name(Status status);

// Thrown by every operation that fails. what() is the description alone; it is never empty.
class Error : public std::exception {
 public:
  Error(Status status, std::string description);

  Status status() const { return status_; }
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  Status status_;
  std::string description_;
};

}  // namespace broker
