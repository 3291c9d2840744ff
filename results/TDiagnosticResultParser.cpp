#include "results/TDiagnosticResultParser.h"

#include "platform/words.h"

using NKVRHVX20::ILogger;

// Kept on purpose: names are lowered as ASCII, whatever the host's locale, so that a message file
// means the same everywhere. In a Turkish one tolower leaves "I" as it is, and no record would have
// a text.
using platform::lower;

TDiagnosticResultParser::TDiagnosticResultParser(const TDiagnosticResultParser& other)
    : TXmlParser(other),
      fCurrentElement(other.fCurrentElement),
      fCurrentText(other.fCurrentText),
      fCurrentMessage(other.fCurrentMessage),
      fCurrentAction(other.fCurrentAction) {}

TDiagnosticResultParser::~TDiagnosticResultParser() = default;

void TDiagnosticResultParser::StartElement(const char* name,
                                           std::map<std::string, std::string>& attributes) {
  DebugOutput(ILogger::eDebug, std::string("++ ELEMENT: ") + name);
  for (const auto& [key, value] : attributes) {
    std::string line = "    ";
    DebugOutput(ILogger::eDebug, line.append(key).append(":").append(value));
  }
  fCurrentElement = lower(name);

  // Takes the value of one attribute; the others are errors.
  const auto take = [&](const char* wanted, std::string& field) {
    for (const auto& [key, value] : attributes) {
      if (key == wanted) {
        field = lower(value);
      } else {
        FatalError("Unrecognized Attribute.");
      }
    }
  };

  if (fCurrentElement == "diaganalysis") {
    if (!attributes.contains("version")) {
      FatalError("No Version Specified for DIAGANALYSIS identifier");
    }
  } else if (fCurrentElement == "diagnostictest") {
    take("name", fCurrentMessage.fTestName);
    if (fCurrentMessage.fTestName.empty()) FatalError("No Name Specified for Object identifier");
  } else if (fCurrentElement == "result") {
    take("state", fCurrentMessage.fState);
  } else if (fCurrentElement == "action") {
    // Kept on purpose: unlike in the two elements above, an unknown attribute is no error.
    const auto priority = attributes.find("priority");
    if (priority != attributes.end()) fCurrentAction.fPriority = lower(priority->second);
  } else if (fCurrentElement != "errorcode" && fCurrentElement != "msg") {
    FatalError("Unrecognized identifier");
  }
}

void TDiagnosticResultParser::EndElement(const char* name) {
  DebugOutput(ILogger::eDebug, std::string("-- ELEMENT: ") + name);
  fCurrentElement = lower(name);

  // Kept on purpose: the guards are uneven. Outside of a named test, message lines and error
  // codes are dropped, but actions and results are taken.
  const bool in_test = !fCurrentMessage.fTestName.empty();
  if (fCurrentElement == "diaganalysis") return;
  if (fCurrentElement == "diagnostictest") {
    fCurrentMessage.fTestName.clear();
    return;
  }
  if (fCurrentElement == "result") {
    fResultMsgs.emplace(fCurrentMessage.fTestName, fCurrentMessage);
    fCurrentMessage.fMessages.clear();
    fCurrentMessage.fActions.clear();
    fCurrentMessage.fState.clear();
    fCurrentMessage.fErrorCode.clear();
  } else if (fCurrentElement == "action") {
    fCurrentAction.fText = fCurrentText;
    fCurrentMessage.fActions.push_back(fCurrentAction);
    fCurrentAction = {};
  } else if (fCurrentElement == "msg") {
    if (in_test) fCurrentMessage.fMessages.push_back(fCurrentText);
  } else if (fCurrentElement == "errorcode") {
    if (in_test) fCurrentMessage.fErrorCode = fCurrentText;
  } else {
    FatalError("Unrecognized identifier");
  }
  fCurrentElement.clear();
}

void TDiagnosticResultParser::processingInstruction(const char*, const char*) {}

// Kept on purpose: a run replaces the one before and is never cleared, so that an element
// without text of its own repeats the last one that there was.
void TDiagnosticResultParser::characters(const char* text, unsigned int) { fCurrentText = text; }

void TDiagnosticResultParser::notationDecl(const char*, const char*, const char*) {}

void TDiagnosticResultParser::FatalError(const char* message) {
  DebugOutput(ILogger::eError, message);
}

std::multimap<std::string, TDiagnosticResultMessage> TDiagnosticResultParser::getResultMsgs()
    const {
  return fResultMsgs;
}
