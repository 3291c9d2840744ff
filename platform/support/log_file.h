// Where log lines go. Internal to the logger; every line opens what it needs and closes it again,
// so that nothing is shared between threads or with forked children.
#pragma once

#include <cstdint>
#include <string>

namespace NKVRHVX20 {

// At this size a log file is renamed to FILE.1.
constexpr std::int64_t kLogFileLimit = std::int64_t{64} << 20;

struct TLogDestination {
  std::string fFile;  // "-" is standard error
  // Where the journal listens (native protocol of systemd's journal, one datagram per line).
  std::string fJournalSocket = "/run/systemd/journal/socket";
};

// Appends one line to the file by one write; creates the file with mode 0640. When it cannot be
// opened, sends the text to the journal without waiting; when nobody listens there or its queue is
// full, the line is dropped, as is one that the file does not take. Of a long text both get the
// beginning (kLogLineLimit).
void WriteLogLine(const TLogDestination& destination, int severity, const std::string& text);

}  // namespace NKVRHVX20
