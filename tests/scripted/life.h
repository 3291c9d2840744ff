// Lives of drives: what a drive answers, and everything that has to happen meanwhile.
//
// A life is a text file, read line by line; blanks at the start of a line and empty lines do not
// count, a line that begins with # is a comment. What happens is stated in order, as a transcript:
//
//   > run                     an action of the test: RunDiagnostic on the service
//   3 Check SMART support...  a line of the core log, severity first
//   $ smartctl -i /dev/sda    a call of the stand-in smartctl, with its arguments
//   = Some output\n             what it prints; several lines add up
//   exit 64                     its exit status (default 0), or instead of exiting
//   killed by 9                 the signal that ends it, or
//   hangs                       it stays until somebody ends it
//   takes 20                    milliseconds before it prints
//   sleep 5                   a call of sleep
//   < return 0                what the action delivered
//   . Caption = "text"        a property of an instance that it delivered; null ones are left out
//
// Actions:
//   > run [element=none] [element=CLASS] [service=NAME]   default: the life's device and service
//   > list CLASS              enumerates instances
//   > end                     ends the object manager
//
// Short forms, all plain substitution:
//   set NAME VALUE            ${NAME} becomes the value
//   text NAME [PARAMETER...]  ${NAME ARGUMENT...} becomes the lines that follow: "| line" with its
//                             line end, "+ piece" without, "xN | line" N times
//   sequence NAME [PARAMETER...] ... end
//   play NAME ARGUMENT...     the lines of the sequence
//   repeat N ... end          the lines N times
//   case NAME [VARIABLE=VALUE...]  the file holds one life for each case, with these variables;
//                             ${case} is the case's name
// Words are parted by blanks, "quotes" hold words together. \n \t \r \\ \xNN are characters.
// The files of the folder "common" beside a life are read first, in any order: they only define.
//
// Setting: "set device NAME" is the drive's DeviceID; "smartctl missing" leaves the machine
// without the program, "smartctl unstartable" with one that cannot be executed; "messages none"
// leaves it without a message file, "messages ${TEXT}" with one of that text.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

// One call of the stand-in.
struct Answer {
  std::vector<std::string> arguments;
  std::string output;
  int takes_milliseconds = 0;
  int exit_status = 0;
  int killed_by = 0;
  bool hangs = false;
};

enum class Smartctl { StandIn, Missing, Unstartable };

struct Life {
  std::string device;
  Smartctl smartctl = Smartctl::StandIn;
  bool has_messages = true;
  std::optional<std::string> messages;  // unset: the shipped file's
  std::vector<std::string> transcript;  // without short forms
  std::vector<Answer> answers;
};

// Names of the cases of a file, one empty name when it has none.
std::vector<std::string> cases_of(const std::filesystem::path& file);

// Throws std::runtime_error with "file:line: reason".
Life read_life(const std::filesystem::path& file, const std::string& case_name);

// "\n", "\xNN" and so on to characters and back. The first throws std::runtime_error.
std::string unescape(std::string_view text);
std::string escape(const std::string& text);

// Words of a line, see above, not yet unescaped.
std::vector<std::string> words_of(std::string_view line);

}  // namespace scripted
