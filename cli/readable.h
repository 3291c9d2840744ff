// Instances as a reader at a terminal wants them.
#pragma once

#include <string>

#include "broker/instance_value.h"

namespace cli {

// The path, then a line for each property that is not null, escaped and laid out to the width.
std::string readable(const broker::Instance& instance, std::size_t columns);

}  // namespace cli
