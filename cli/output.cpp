#include "cli/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cli/terminal_text.h"

namespace cli {
namespace {

std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

Output::Output(int descriptor)
    : descriptor_(descriptor),
      terminal_(isatty(descriptor) == 1),
      rewrites_(terminal_ && !environment("TERM").empty() && environment("TERM") != "dumb"),
      colours_(rewrites_ && environment("NO_COLOR").empty()) {}

std::size_t Output::columns() const {
  if (!terminal_) return 0;
  winsize size{};
  // Serial lines and some consoles do not know their size.
  if (ioctl(descriptor_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

void Output::write(std::string_view text) {
  while (!text.empty() && failure_.empty()) {
    const ssize_t written = ::write(descriptor_, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      failure_ = std::strerror(errno);
    }
  }
}

std::string Output::coloured(std::string_view text, Colour colour) const {
  std::string code;
  if (colour == Colour::Red) code = "\x1b[1;31m";
  if (colour == Colour::Green) code = "\x1b[1;32m";
  if (colour == Colour::Yellow) code = "\x1b[1;33m";
  if (!colours_ || code.empty()) return std::string(text);
  return code + std::string(text) + "\x1b[0m";
}

Output& standard_output() {
  static auto& output = *new Output(STDOUT_FILENO);
  return output;
}

Output& standard_error() {
  static auto& output = *new Output(STDERR_FILENO);
  return output;
}

void complain(std::string_view text) {
  Output& output = standard_error();
  output.write(labelled("", "hddtest: " + escape(text), output.columns()));
}

}  // namespace cli
