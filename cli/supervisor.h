// Word to the supervisor that started the process: sd_notify(3) without its library.
#pragma once

#include <string_view>

namespace cli {

// Sends a state such as "READY=1" to the socket that NOTIFY_SOCKET names, a path or, behind an @,
// an abstract address. Nothing happens without one, or when nobody listens.
void notify_supervisor(std::string_view state);

}  // namespace cli
