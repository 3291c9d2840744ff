#include "cli/passphrase.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>

#include "cli/failure.h"
#include "cli/output.h"

namespace cli {
namespace {

constexpr std::size_t kLongest = 511;  // what crypt takes

volatile sig_atomic_t caught = 0;

void note_signal(int signal) { caught = signal; }

// While it lives, the terminal shows nothing of what is typed, and a signal ends reading; when it
// is over, the signal does what it would have done.
class Unseen {
 public:
  Unseen() {
    struct sigaction action {};
    action.sa_handler = note_signal;  // without SA_RESTART
    for (std::size_t i = 0; i < std::size(kSignals); ++i)
      sigaction(kSignals[i], &action, &before_actions_[i]);
    tcgetattr(STDIN_FILENO, &before_);
    termios unseen = before_;
    unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    unseen.c_lflag |= ECHONL;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &unseen);
  }
  ~Unseen() {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    for (std::size_t i = 0; i < std::size(kSignals); ++i)
      sigaction(kSignals[i], &before_actions_[i], nullptr);
    if (caught) raise(caught);
  }
  Unseen(const Unseen&) = delete;

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
  termios before_;
  struct sigaction before_actions_[std::size(kSignals)];
};

// One byte at a time: what follows the line is not ours.
std::string read_line() {
  std::string line;
  char byte = 0;
  while (!caught) {
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || byte == '\n') break;
    if (line.size() > kLongest) continue;
    line += byte;
  }
  if (line.empty()) throw CommandFailure("no password was given; nothing was changed");
  if (line.size() > kLongest)
    throw CommandFailure("a password has at most 511 bytes; nothing was changed");
  if (line.find('\0') != std::string::npos)
    throw CommandFailure("the password holds a zero byte; nothing was changed");
  return line;
}

}  // namespace

std::string read_passphrase() {
  if (isatty(STDIN_FILENO) != 1) return read_line();
  const Unseen unseen;
  standard_error().write("Password: ");
  std::string password = read_line();
  standard_error().write("Once more: ");
  if (read_line() != password)
    throw CommandFailure("the two passwords differ; nothing was changed");
  return password;
}

}  // namespace cli
