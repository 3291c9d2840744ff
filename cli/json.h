// CIM values as JSON. Units that look into a Json include <nlohmann/json.hpp> themselves, since it
// takes long to compile.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "broker/instance_value.h"

namespace cli {

using Json = nlohmann::ordered_json;

// Integers and reals are numbers, booleans are booleans, strings and date-times are strings, as
// are char16 and references (the text of the path); arrays are arrays, embedded instances are
// objects, null is null.
Json to_json(const broker::Value& value);

// The properties by name, null ones too, in the instance's order.
Json to_json(const broker::Instance& instance);

// The text, indented, with a line feed at its end. Valid UTF-8 whatever the strings hold (invalid
// bytes become U+FFFD), and without effect on a terminal.
std::string dump(const Json& json);

// The same on one line of ASCII, with a line feed at its end.
std::string dump_line(const Json& json);

}  // namespace cli
