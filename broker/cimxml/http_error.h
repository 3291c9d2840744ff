// Why a message is answered with an HTTP error instead of a CIM reply, in the words of the
// CIMError header field (DSP0200).
#pragma once

#include <exception>

namespace broker::cimxml {

class HttpError : public std::exception {
 public:
  // error: a literal; null where the standard has no word for it.
  HttpError(int http_status, const char* error) : http_status_(http_status), error_(error) {}

  int http_status() const { return http_status_; }
  const char* cim_error() const { return error_; }
  const char* what() const noexcept override { return error_ ? error_ : "refused"; }

 private:
  int http_status_;
  const char* error_;
};

inline HttpError other_encoding() { return {415, nullptr}; }  // than UTF-8
inline HttpError not_well_formed() { return {400, "request-not-well-formed"}; }
// Validation is loose: what the standard does not know is skipped, and what it knows must fit.
inline HttpError not_valid() { return {400, "request-not-loosely-valid"}; }

}  // namespace broker::cimxml
