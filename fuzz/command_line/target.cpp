// The command's arguments and environment. A line that begins with $ sets a variable of the
// environment (NAME=VALUE); every other line is one argument. The action that they ask for is not
// carried out. Instead, places and a method's arguments are read from the same texts.
#include "fuzz/target.h"

#include <array>
#include <string>
#include <vector>

#include "broker/error.h"
#include "broker/schema.h"
#include "broker/test_classes.h"
#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/places.h"
#include "cli/run_plan.h"
#include "cli/terminal_text.h"

namespace {

using fuzz::require;

constexpr std::size_t kMostArguments = 100;
constexpr std::array kVariables = {"HVX_LOG_FILE", "PATH"};

int times_performed = 0;

// Called in place of the action.
int note(const cli::Invocation& invocation) {
  require(static_cast<bool>(invocation.action), "a command line that is right names a command");
  ++times_performed;
  const cli::Places places = cli::find_places(invocation.data);
  require(!places.data.empty() && places.registration.native().starts_with(places.data.native()),
          "the registration is in the data folder");
  cli::reading_fault(places.message_file);
  require(!cli::log_file(places).empty(), "there is a log file");
  return 0;
}

std::string path() {
  const char* const text = std::getenv("PATH");
  return text ? text : "";
}

// The arguments as those of a method with parameters of each kind.
void read_as_arguments(const std::vector<std::string>& texts) {
  static const broker::ClassInfo& widget = broker::test_schema().get("TEST_Widget");
  static const broker::MethodInfo& echo = *widget.find_method("Echo");
  try {
    const auto arguments = cli::parse_arguments(widget, echo, texts);
    require(arguments.size() == texts.size(), "every text is an argument");
  } catch (const cli::CommandFailure& failure) {
    require(*failure.what() != '\0', "a refusal has a reason");
  }
}

// The text as a value of every type: what can be read is written so that it reads the same.
void read_as_values(const std::string& text) {
  using broker::Type;
  for (const Type type :
       {Type::Boolean, Type::Char16, Type::Real32, Type::Real64, Type::Uint8, Type::Uint16,
        Type::Uint32, Type::Uint64, Type::Sint8, Type::Sint16, Type::Sint32, Type::Sint64,
        Type::String, Type::Datetime, Type::Reference}) {
    try {
      static_cast<void>(broker::parse_value(type, true, text));
    } catch (const broker::Error&) {
    }
    try {
      const broker::Value value = broker::parse_value(type, false, text);
      const bool number = !broker::is_real(type) || value.as_real() == value.as_real();
      require(!number || broker::parse_value(type, false, broker::to_text(value)) == value,
              "what is written reads the same");
    } catch (const broker::Error& error) {
      require(error.status() == broker::Status::InvalidParameter, "it is the caller's fault");
    }
  }
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  for (const char* const variable : kVariables) unsetenv(variable);
  std::vector<std::string> texts;
  while (!input.empty() && texts.size() < kMostArguments) {
    std::string line(take_line(input));
    line = line.c_str();  // an argument or a variable ends at the first NUL
    const std::size_t equals = line.find('=');
    if (!line.starts_with('$')) {
      texts.push_back(line);
    } else if (equals != line.npos) {
      for (const std::string variable : kVariables)
        if (line.substr(1, equals - 1) == variable)
          setenv(variable.c_str(), line.substr(equals + 1).c_str(), 1);
    }
  }
  std::vector<const char*> arguments{"hddtest"};
  for (const std::string& text : texts) arguments.push_back(text.c_str());
  const int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);

  times_performed = 0;
  const int status = cli::run_command_line(count, arguments.data(), note);
  require(status == 0 || status == 3, "it is done, or could not be");
  require(times_performed <= (status == 0 ? 1 : 0), "at most once, and not after an error");
  const std::string before = path();
  cli::extend_program_path();
  require(path() == before, "the folders of drive tools are added once");

  read_as_arguments(texts);
  require(cli::plan_forced(texts).size() <= texts.size(), "no drive is tested twice");
  for (const std::string& text : texts) {
    read_as_values(text);
    const std::string escaped = cli::escape(text);
    require(escaped.size() <= 4 * text.size(), "an escape has four characters at most");
    require(cli::columns_of(cli::elide(escaped, 20)) <= 20, "what is cut fits");
    require(cli::labelled("label ", text, 40).ends_with('\n'), "lines end");
  }
}
