// Where the command writes. What is written is handed to the system at once and never held back:
// the module forks processes that end with exit, and what a stream still held would then be written
// twice.
#pragma once

#include <string>
#include <string_view>

namespace cli {

enum class Colour { None, Green, Yellow, Red };

// May be used by several threads; what one call writes stays together on a terminal.
class Output {
 public:
  // Looks at the descriptor and at TERM and NO_COLOR; the descriptor is borrowed.
  explicit Output(int descriptor);

  bool is_terminal() const { return terminal_; }
  // Whether a line can be written over: a terminal that is not dumb.
  bool rewrites() const { return rewrites_; }
  // The terminal's width at present; 0 when this is none.
  std::size_t columns() const;

  // Writes the text as it stands; callers escape what came from outside. Blocks as the
  // descriptor does. After a failure nothing more is written.
  void write(std::string_view text);
  // Nothing, or why a write failed.
  const std::string& failure() const { return failure_; }

  // The text in a colour, where colours are shown.
  std::string coloured(std::string_view text, Colour colour) const;

 private:
  int descriptor_;
  bool terminal_;
  bool rewrites_;
  bool colours_;
  std::string failure_;
};

// Standard output and standard error; live as long as the process.
Output& standard_output();
Output& standard_error();

// Writes "hddtest: " and the text, escaped, as one line to standard error; a terminal gets as many
// as it needs.
void complain(std::string_view text);

}  // namespace cli
