// The object manager that the command asks.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "broker/object_manager.h"
#include "cli/places.h"

namespace cli {

// Enters the data folder and makes the object manager of the registration there. It and its
// providers write to the core log. A thread looks for idle providers at this interval; zero means
// never. Throws CommandFailure and broker::Error.
// interop: what it tells of itself; unset: it has no such name space. accompany: called for each
// run of a drive's test (broker::OneAtATime::accompany).
std::unique_ptr<broker::ObjectManager> make_manager(
    const Places& places, std::chrono::milliseconds look_for_idle = {},
    std::optional<broker::InteropFacts> interop = std::nullopt,
    std::function<std::shared_ptr<void>(const std::string&)> accompany = {});

// The class of that name. Throws CommandFailure, with a near name where there is one.
const broker::ClassInfo& find_class(const broker::Schema& schema, const std::string& name);

// One line for an error of the object manager: what it says, its status, and what to do where
// that is known.
std::string error_text(const broker::Error& error);

}  // namespace cli
