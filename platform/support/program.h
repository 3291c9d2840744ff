// Where programs are.
#pragma once

#include <string>

#include "platform/support/logger.h"

namespace NKVRHVX20 {

// The path of an executable file for a program's name: a name with a slash is taken as it
// stands; any other is looked up on PATH (as the C library does: an empty element is the working
// directory, /bin:/usr/bin when PATH is unset), then in /usr/sbin, /sbin and /usr/local/sbin,
// where drive tools are although the PATH of services and users often leaves these out. Empty
// when there is none. May be called from any thread.
HVX_EXPORT std::string find_program(const std::string& name);

// Why find_program finds none for a name, in words.
std::string why_not_found(const std::string& name);

}  // namespace NKVRHVX20
