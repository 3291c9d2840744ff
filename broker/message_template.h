// Message texts in which $0 to $9 stand for arguments.
#pragma once

#include <cstdarg>
#include <string>

#include "platform/cmpi/cmpi.h"

namespace broker {

// Replaces $0 to $9 in the text by the arguments: count pairs of type code and value, as
// getMessage and getMessage2 take them. A place without argument stays. Throws Error
// (TypeMismatch) for a type that has no place there, (InvalidParameter) for more than ten pairs.
std::string expand_message(const std::string& text, CMPICount count, std::va_list arguments);

}  // namespace broker
