// Exit statuses that all commands share. 1 and 2 are each command's own to use.
#pragma once

namespace cli {

inline constexpr int kStatusOk = 0;
inline constexpr int kStatusCannot = 3;  // what was asked for could not be done

}  // namespace cli
