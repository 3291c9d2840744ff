// Instances and values as the lines of a life's transcript.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "broker/instance_value.h"
#include "broker/value.h"

namespace scripted {

using Moment = std::int64_t;  // microseconds since 1970 UTC
Moment now();

// Text in quotes, paths and numbers bare, arrays in braces, null as NULL. A time stamp between
// the earliest moment and now is "now".
std::string render(const broker::Value& value, Moment earliest = 0);

// "< CLASS", then ". NAME = value" for each property that is not null, in the class's order.
std::vector<std::string> render(const broker::Instance& instance, Moment earliest);

}  // namespace scripted
