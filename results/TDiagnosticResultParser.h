// The message file: the texts that a diagnostic completion record carries.
//
//   <diaganalysis version="1.0">
//     <diagnostictest name="Hard Drive: Self Test">
//       <result state="passed">
//         <errorcode>...</errorcode>
//         <msg>...</msg>
//         <action priority="1">...</action>
//       </result>
//     </diagnostictest>
//   </diaganalysis>
//
// Element names count without regard to case, attribute names are written in lower case. Texts
// are kept as written, without trimming, so they stand directly between their tags. The parser
// tracks no nesting: each start and end tag acts by its name alone, and the order of the tags
// is the meaning of the file.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/support/logger.h"
#include "platform/xml/xml_parser.h"

// One recommended action.
struct TDiagnosticAction {
  std::string fPriority;  // free text, lower case
  std::string fText;
};

// One "result" element: what to report when a test ended in a state.
struct TDiagnosticResultMessage {
  std::string fTestName;  // lower case
  std::string fErrorCode;
  std::string fState;  // lower case
  std::vector<std::string> fMessages;
  std::vector<TDiagnosticAction> fActions;
};

// Collects the messages of a file. No error stops it: what it cannot use is reported to
// FatalError and passed over, and a file that breaks off yields what was complete by then.
// Used by one thread from construction to destruction.
class TDiagnosticResultParser : public NKVRHVX20::TXmlParser {
 public:
  TDiagnosticResultParser() = default;
  // Kept on purpose: the copy carries the element, text, message and action being read, but no
  // results. The copy of a parser that has finished has an empty getResultMsgs().
  TDiagnosticResultParser(const TDiagnosticResultParser& other);
  ~TDiagnosticResultParser() override;

  void StartElement(const char* name, std::map<std::string, std::string>& attributes) override;
  void EndElement(const char* name) override;
  void processingInstruction(const char* target, const char* data) override;
  void characters(const char* text, unsigned int length) override;
  void notationDecl(const char* name, const char* public_id, const char* system_id) override;
  void FatalError(const char* message) override;

  // Every message completed so far under its test's name; messages of one test are in file
  // order.
  std::multimap<std::string, TDiagnosticResultMessage> getResultMsgs() const;

  // Where traces and errors of the parser go. It discards them.
  void DebugOutput(NKVRHVX20::ILogger::EHVXLogSeverity severity, std::string text);

 private:
  std::string fCurrentElement;  // the tag being read, lower case
  std::string fCurrentText;     // the last run of character data
  TDiagnosticResultMessage fCurrentMessage;
  TDiagnosticAction fCurrentAction;
  std::multimap<std::string, TDiagnosticResultMessage> fResultMsgs;
};
