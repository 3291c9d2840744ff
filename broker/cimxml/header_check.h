// The header fields of a CIM request (DSP0200): whether this server understands them, and whether
// they say the same as the body.
#pragma once

#include "broker/cimxml/message.h"
#include "broker/cimxml/service.h"

namespace broker::cimxml {

// Before the body is read. Throws HttpError.
void check_head(const Call& call);
// Throws HttpError (header-mismatch).
void check_match(const Call& call, const Message& message);

}  // namespace broker::cimxml
