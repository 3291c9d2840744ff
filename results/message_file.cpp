#include "results/message_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/descriptor.h"
#include "platform/words.h"
#include "results/TDiagnosticResultParser.h"

namespace results {
namespace {

constexpr const char* kTestKey = "hard drive: self test";  // as the parser keeps the name

// Gives the parser's complaints the line and the element, and adds what the parser takes as it is.
class Checker : public TDiagnosticResultParser {
 public:
  std::vector<std::string> faults;

  void StartElement(const char* name, std::map<std::string, std::string>& attributes) override {
    element_ = name;
    has_text_ = false;
    TDiagnosticResultParser::StartElement(name, attributes);
  }

  void characters(const char* text, unsigned int length) override {
    has_text_ = true;
    TDiagnosticResultParser::characters(text, length);
  }

  void EndElement(const char* name) override {
    const bool carries_text =
        std::any_of(std::begin(kTextElements), std::end(kTextElements),
                    [name](const char* known) { return platform::same_name(known, name); });
    if (carries_text && !has_text_)
      complain(name, "has no text of its own: a record repeats the text before it");
    element_.clear();
    TDiagnosticResultParser::EndElement(name);
  }

  void FatalError(const char* message) override {
    if (line() == 0 || std::strncmp(message, "line ", 5) == 0) {
      faults.emplace_back(message);  // the reader's own: it says where
    } else if (!element_.empty()) {
      complain(element_, message);
    }  // else at an end tag, whose start tag was complained of
  }

 private:
  static constexpr const char* kTextElements[] = {"errorcode", "msg", "action"};

  void complain(const std::string& element, const std::string& what) {
    faults.push_back("line " + std::to_string(line()) + ": <" + element + ">: " + what);
  }

  std::string element_;  // whose start tag came last; empty after an end tag
  bool has_text_ = false;
};

// Of every outcome of the test a record takes error code and message.
void look_for_outcomes(const TDiagnosticResultParser& parser, std::vector<std::string>& faults) {
  const auto messages = parser.getResultMsgs();
  const auto [begin, end] = messages.equal_range(kTestKey);
  for (const std::string state : {"passed", "failed", "aborted"}) {
    const std::string result =
        "<result state=\"" + state + "\"> of <diagnostictest name=\"Hard Drive: Self Test\">";
    bool found = false;
    for (auto entry = begin; entry != end; ++entry) {
      if (entry->second.fState != state) continue;
      found = true;
      if (entry->second.fErrorCode.empty()) faults.push_back(result + " has no <errorcode>");
      if (entry->second.fMessages.empty()) faults.push_back(result + " has no <msg>");
    }
    if (!found) faults.push_back("there is no " + result);
  }
}

}  // namespace

std::vector<std::string> message_text_faults(std::string text) {
  Checker checker;
  checker.Parse(text.data());
  look_for_outcomes(checker, checker.faults);
  return checker.faults;
}

std::vector<std::string> message_file_faults(const std::filesystem::path& file) {
  const platform::Descriptor opened(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!opened) return {std::strerror(errno)};
  struct stat status {};
  const bool regular = fstat(opened.get(), &status) == 0 && S_ISREG(status.st_mode);
  // One byte more than the parser takes, so that it says so.
  std::string text(regular ? NKVRHVX20::TXmlParser::kMaximumLength + 1 : 0, '\0');
  std::size_t size = 0;
  ssize_t count = regular ? 1 : 0;
  while (count > 0 && size < text.size()) {
    count = read(opened.get(), text.data() + size, text.size() - size);
    if (count > 0) size += static_cast<std::size_t>(count);
    if (count < 0 && errno == EINTR) count = 1;
  }
  if (!regular) return {"not a regular file"};
  if (count < 0) return {std::strerror(errno)};
  text.resize(size);
  return message_text_faults(std::move(text));
}

}  // namespace results
