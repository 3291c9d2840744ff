#include "platform/xml/xml_parser.h"

#include <expat.h>

#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "platform/words.h"

namespace NKVRHVX20 {

// The state of one parse, and the functions that Expat calls. Expat is C: an exception must not
// pass through it, so each call keeps what was thrown and stops the parser instead.
struct TXmlParser::Document {
  explicit Document(TXmlParser& owner) : parser(owner) {
    if (expat == nullptr) throw std::bad_alloc();
    parser.fDocument = this;
    XML_SetUserData(expat.get(), this);
    XML_SetElementHandler(expat.get(), Start, End);
    XML_SetCharacterDataHandler(expat.get(), Text);
    XML_SetProcessingInstructionHandler(expat.get(), Instruction);
    XML_SetStartDoctypeDeclHandler(expat.get(), DocumentType);
  }

  ~Document() { parser.fDocument = outer; }
  Document(const Document&) = delete;

  void Stop() {
    stopped = true;
    XML_StopParser(expat.get(), XML_FALSE);
  }

  void Refuse(const char* reason) {
    refusal = reason;
    Stop();
  }

  // Expat may still deliver an event or two after it was told to stop: they are dropped.
  template <typename Step>
  static void Guarded(void* data, Step step) {
    auto& document = *static_cast<Document*>(data);
    if (document.stopped) return;
    try {
      step(document);
    } catch (...) {
      document.thrown = std::current_exception();
      document.Stop();
    }
  }

  static void Start(void* data, const char* name, const char** pairs) {
    Guarded(data, [&](Document& document) {
      if (++document.depth > kMaximumDepth) return document.Refuse("elements nested too deeply");
      document.parser.ParseCharData();
      document.pairs = pairs;
      document.parser.GetAttributeNValue();
      document.parser.StartElement(name, document.attributes);
    });
  }

  static void End(void* data, const char* name) {
    Guarded(data, [&](Document& document) {
      --document.depth;
      document.parser.ParseCharData();
      document.parser.EndElement(name);
    });
  }

  static void Text(void* data, const char* text, int length) {
    Guarded(data, [&](Document& document) {
      document.run.append(text, static_cast<std::size_t>(length));
    });
  }

  static void Instruction(void* data, const char* target, const char* content) {
    Guarded(data, [&](Document& document) {
      document.target = target;
      document.content = content;
      document.parser.ParseJSSP();
      document.target = nullptr;
    });
  }

  static void DocumentType(void* data, const char*, const char*, const char*, int) {
    Guarded(data, [](Document& document) {
      document.Refuse("document-type declarations are not accepted");
    });
  }

  TXmlParser& parser;
  Document* const outer = parser.fDocument;  // should a callback parse a document of its own
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> expat{
      XML_ParserCreate(nullptr), XML_ParserFree};
  unsigned int depth = 0;
  std::string run;
  const char** pairs = nullptr;  // name, value, name, value, ..., null
  std::map<std::string, std::string> attributes;
  const char* target = nullptr;
  const char* content = nullptr;
  bool stopped = false;
  const char* refusal = nullptr;
  std::exception_ptr thrown;
};

TXmlParser::~TXmlParser() = default;

void TXmlParser::ParseJSSP() {
  if (fDocument != nullptr && fDocument->target != nullptr) {
    processingInstruction(fDocument->target, fDocument->content);
  }
}

void TXmlParser::ParseCharData() {
  if (fDocument == nullptr) return;
  // The run is moved out first: it is over, whatever the derived class does with it.
  const std::string run = std::exchange(fDocument->run, {});
  if (platform::trim(run).empty()) return;
  characters(run.c_str(), static_cast<unsigned int>(run.size()));
}

void TXmlParser::GetAttributeNValue() {
  if (fDocument == nullptr || fDocument->pairs == nullptr) return;
  fDocument->attributes.clear();
  for (const char** pair = fDocument->pairs; *pair != nullptr; pair += 2) {
    fDocument->attributes[pair[0]] = pair[1];
  }
  fDocument->pairs = nullptr;
}

unsigned long TXmlParser::Line() const {
  return fDocument != nullptr ? XML_GetCurrentLineNumber(fDocument->expat.get()) : 0;
}

void TXmlParser::Parse(char* buffer) {
  const std::size_t length = strnlen(buffer, kMaximumLength + 1);
  if (length > kMaximumLength) return FatalError("line 1: document larger than 16 MiB");

  Document document(*this);
  const auto status = XML_Parse(document.expat.get(), buffer, static_cast<int>(length), XML_TRUE);
  if (document.thrown) std::rethrow_exception(document.thrown);
  if (status == XML_STATUS_OK) return;
  const char* reason = document.refusal != nullptr
                           ? document.refusal
                           : XML_ErrorString(XML_GetErrorCode(document.expat.get()));
  FatalError(("line " + std::to_string(Line()) + ": " + reason).c_str());
}

}  // namespace NKVRHVX20
