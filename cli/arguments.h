// Arguments of a CIM method as they are typed on a command line.
#pragma once

#include <string>
#include <vector>

#include "broker/object_manager.h"

namespace cli {

// Reads NAME=VALUE texts, the value in the form of the parameter's type (broker::parse_value); the
// first "=" separates. A parameter is taken by each name that the class and those above it have for
// it, as the object manager takes it. Throws CommandFailure that names the text when it has no "=",
// when the method has no such parameter or it comes twice, or when the value is none of its type.
std::vector<broker::Argument> parse_arguments(const broker::ClassInfo& info,
                                              const broker::MethodInfo& method,
                                              const std::vector<std::string>& texts);

}  // namespace cli
