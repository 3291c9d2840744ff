// The two self-test logs of an ATA drive: the standard one, which has room for 21 tests and for
// blocks of 32 bits, and the extended one, which often has room for fewer tests, and for blocks of
// 48 bits. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "drivetest/look.h"

namespace drivetest {

// Whether both may stand for one block. Of one of more than 32 bits the standard log has nothing,
// or the lower half.
bool is_same_block(const std::optional<std::uint64_t>& one,
                   const std::optional<std::uint64_t>& other);

// Whether both may be of one test, whichever log each was read from: all else that they say is the
// same.
bool is_same_test(const LogEntry& one, const LogEntry& other);

// The extended log, and what only the standard one has. Where they tell of different tests, it is
// one of them alone: that of which the newest test is of a later hour, or else the longer one.
std::vector<LogEntry> joined_logs(const std::vector<LogEntry>& extended,
                                  const std::vector<LogEntry>& standard);

}  // namespace drivetest
