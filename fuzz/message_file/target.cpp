// The message file, through the parser and into the text of a record.
#include "fuzz/target.h"

#include <cstring>
#include <vector>

#include "providers/record_text.h"

namespace {

// Holds the parser base to what it promises derived classes.
class CheckingParser : public NKVRHVX20::TXmlParser {
 public:
  void StartElement(const char* name, std::map<std::string, std::string>& attributes) override {
    step();
    run_ = false;
    open_.emplace_back(name);
    fuzz::require(open_.size() <= kMaximumDepth, "elements are not nested deeper than allowed");
    fuzz::require(!attributes.contains(""), "attributes have names");
  }
  void EndElement(const char* name) override {
    step();
    run_ = false;
    fuzz::require(!open_.empty() && open_.back() == name, "an end tag ends the open element");
    open_.pop_back();
  }
  void processingInstruction(const char*, const char*) override { step(); }
  void characters(const char* text, unsigned int length) override {
    step();
    fuzz::require(!run_ && !open_.empty(), "a run stands between two tags");
    fuzz::require(std::strlen(text) == length, "a run is as long as it says");
    fuzz::require(std::strspn(text, " \t\r\n") < length, "a run is more than white space");
    run_ = true;
  }
  void notationDecl(const char*, const char*, const char*) override { std::abort(); }
  void FatalError(const char* message) override {
    step();
    fuzz::require(*message != '\0', "an error has a message");
    failed_ = true;
  }
  void check_end() const { fuzz::require(failed_ || open_.empty(), "all elements are closed"); }

 private:
  void step() const { fuzz::require(!failed_, "an error is the last call"); }

  std::vector<std::string> open_;
  bool run_ = false;
  bool failed_ = false;
};

}  // namespace

void fuzz::read_input(std::string_view input) {
  std::string buffer(input);
  CheckingParser checking;
  checking.Parse(buffer.data());
  checking.check_end();

  TDiagnosticResultParser parser;
  parser.Parse(buffer.data());
  require(buffer == input, "parsing leaves the buffer alone");
  const auto messages = parser.getResultMsgs();
  std::size_t size = 0;
  for (const auto& [test, message] : messages) {
    require(test == message.fTestName, "messages stand under their test");
    size += message.fErrorCode.size() + 2;
    if (!message.fMessages.empty()) size += message.fMessages.back().size() + 1;
    for (const TDiagnosticAction& action : message.fActions)
      size += action.fPriority.size() + action.fText.size() + 3;
  }
  for (const int status : {0, 1, 3, 4, -1})
    require(ovk_cimple::record_text(messages, ovk_cimple::outcome_of(status).word).size() <= size,
            "a record holds no more than the messages");
}
