// The way to drives: looking at one, and asking it to start or to stop a test. The real one calls
// smartctl and nvme (tools.h); tests play drives of their own.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "drivetest/drive.h"
#include "drivetest/look.h"

namespace drivetest {

// What a tool said to the wish to start or to stop a test. A hint and no proof: only the next look
// shows what the drive does.
enum class ToolAnswer {
  Accepted,
  Busy,          // another test runs
  NotSupported,  // the drive or the way to it knows no such test
  Refused,       // for another reason
  NothingDone,   // the tool ended well and did nothing; smartctl 7.3 does so with NVMe drives
  NotAsked,      // the tool is missing, may not open the drive, or did not end
};

struct ToolReply {
  ToolAnswer answer = ToolAnswer::NotAsked;
  std::string words;  // the tool's own line that says why, or our reason; escape before showing
};

// For so long a tool may wait for a drive.
inline constexpr std::chrono::seconds kLongestAnswer(60);

// Each call blocks until the drive has answered, for kLongestAnswer at most for each tool that it
// takes; a look at an NVMe drive takes up to three. May be used from several threads at once.
class DriveAccess {
 public:
  virtual ~DriveAccess() = default;

  // Never throws but for want of memory: what went wrong is in Look::fault. A drive in standby is
  // asked only if it may be woken.
  virtual Look look(const Place& place, bool wake) = 0;
  virtual ToolReply start(const Drive& drive, TestKind kind) = 0;
  // The same, where the drive says that a test runs and that is not so. It ends one that runs.
  virtual ToolReply start_in_doubt(const Drive& drive, TestKind kind) { return start(drive, kind); }
  // Ends whatever test runs.
  virtual ToolReply stop(const Drive& drive) = 0;
};

// The time of day, and waiting, so that tests need not wait.
class TimeSource {
 public:
  virtual ~TimeSource() = default;
  virtual std::chrono::sys_seconds now() = 0;
  virtual void wait(std::chrono::milliseconds duration) = 0;
};

}  // namespace drivetest
