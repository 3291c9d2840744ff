// Arguments of a CIM method as they are typed on a command line.
#pragma once

#include <string>
#include <vector>

#include "broker/object_manager.h"

namespace cli {

// Reads texts of the form NAME=VALUE. The first "=" separates the two, and the value has the form
// of the parameter's type (broker::parse_value). A parameter may have the name that the class or
// one of its superclasses gives it, as in the object manager. Throws CommandFailure, which names
// the text, when there is no "=", when the method has no such parameter, when a parameter comes
// twice, or when the value does not fit the type.
std::vector<broker::Argument> parse_arguments(const broker::ClassInfo& info,
                                              const broker::MethodInfo& method,
                                              const std::vector<std::string>& texts);

}  // namespace cli
