// The core logger: one line per call, from which one can find out later what a run did.
//
// A line holds UTC time with microseconds, severity, process id and text:
//   2024-01-31T12:00:00.000000Z 3 4711 Entering ...
// Backslash, line ends, control characters, characters that change the direction of writing, and
// invalid UTF-8 in the text are written as \\, \n, \r, \t and \xNN, so that text from a drive can
// forge no line. A line that would take more than 8 kB is cut, with the length of its text at the
// end:
// "... (12345 bytes)".
//
// The destination is the file named by HVX_LOG_FILE ("-" is standard error), else
// /var/log/hvx/diagnostics.log; if it cannot be opened, the journal; if that fails too the line
// is dropped. HVX_LOG_LEVEL (default 3) cuts off higher severities. Both are read once, at the
// first line; a relative path is resolved against the working directory that the process had
// when it loaded this library. The file is created with mode 0640 (less what the process's umask
// takes away) and renamed to FILE.1 when it has grown to 64 MiB. Several processes may share it.
//
// A process keeps one descriptor of the file, close-on-exec and with a high number. When the path
// comes to name another file, by rotation for instance, lines go there after 100 ms at most; until
// its next line a process holds the file that it wrote to last. A host may close the descriptor, or
// give its number to a file of its own: nothing is written to that. The library stays loaded, as it
// could not close the descriptor without being asked.
//
// Safe to call from any thread and after fork: no lock is waited for. Never fails its caller; does
// not block, unless standard error is a terminal or pipe that does.
#pragma once

#include <string>
#include <string_view>

#define HVX_EXPORT __attribute__((visibility("default")))

namespace NKVRHVX20 {

class HVX_EXPORT ILogger {
 public:
  enum EHVXLogSeverity : int {
    eError = 0,  // a step of a test failed
    eWarning = 1,
    eNotice = 2,
    eTrace = 3,  // entry, exit and progress
    eDebug = 4,
  };

  virtual void Log(EHVXLogSeverity severity, const std::string& text) = 0;

 protected:
  ~ILogger() = default;  // the loggers of this library live as long as the process
};

class HVX_EXPORT TRootObject {
 public:
  // Never null; the same object at every call.
  static ILogger* GetCoreLogger();
};

// Whether a line of this severity goes anywhere: to the host's sink, or by its level to the
// destination. For callers that write many lines, whose texts need not be put together in vain.
HVX_EXPORT bool is_logged(ILogger::EHVXLogSeverity severity);

// One line of the parts one after the other, put together only where it goes anywhere.
template <class... Parts>
void log_parts(ILogger::EHVXLogSeverity severity, const Parts&... parts) {
  if (!is_logged(severity)) return;
  std::string text;
  text.reserve((std::string_view(parts).size() + ...));
  (text.append(parts), ...);
  TRootObject::GetCoreLogger()->Log(severity, text);
}

// Receives every line before level and destination are looked at, unescaped and whole, on the
// thread that logs it. Must neither log nor throw; may be called by several threads at once.
using LogSink = void (*)(ILogger::EHVXLogSeverity severity, const std::string& text, void* data);

// Adds the sink of a host program; at most one at a time, a later call replaces it and a null
// function removes it. Lines that other threads are logging meanwhile may still reach the
// earlier one, so its data has to stay valid. Each call keeps a few bytes for good.
HVX_EXPORT void set_log_sink(LogSink sink, void* data);

}  // namespace NKVRHVX20
