#include "platform/xml/xml_parser.h"

#include <cstring>
#include <utility>

#include "platform/words.h"
#include "platform/xml_reader.h"

namespace NKVRHVX20 {

// The state of one parse.
struct [[gnu::visibility("hidden")]] TXmlParser::Document final : platform::XmlReader {
  explicit Document(TXmlParser & owner) : XmlReader(nullptr, kMaximumDepth), parser(owner) {
    parser.document_ = this;
  }
  ~Document() { parser.document_ = outer; }

  using XmlReader::read;

  void start(const char* name, const char** attribute_pairs) override {
    parser.ParseCharData();
    pairs = attribute_pairs;
    parser.GetAttributeNValue();
    parser.StartElement(name, attributes);
  }

  void end(const char* name) override {
    parser.ParseCharData();
    parser.EndElement(name);
  }

  void text(std::string_view piece) override { run += piece; }

  void instruction(const char* name, const char* data) override {
    target = name;
    content = data;
    parser.ParseJSSP();
    target = nullptr;
  }

  TXmlParser& parser;
  Document* const outer = parser.document_;  // should a callback parse a document of its own
  std::string run;
  const char** pairs = nullptr;  // name, value, name, value, ..., null
  std::map<std::string, std::string> attributes;
  const char* target = nullptr;
  const char* content = nullptr;
};

TXmlParser::~TXmlParser() = default;

void TXmlParser::ParseJSSP() {
  if (document_ != nullptr && document_->target != nullptr) {
    processingInstruction(document_->target, document_->content);
  }
}

void TXmlParser::ParseCharData() {
  if (document_ == nullptr) return;
  // The run is moved out first: it is over, whatever the derived class does with it.
  const std::string run = std::exchange(document_->run, {});
  if (platform::trim(run).empty()) return;
  characters(run.c_str(), static_cast<unsigned int>(run.size()));
}

void TXmlParser::GetAttributeNValue() {
  if (document_ == nullptr || document_->pairs == nullptr) return;
  document_->attributes.clear();
  for (const char** pair = document_->pairs; *pair != nullptr; pair += 2) {
    document_->attributes[pair[0]] = pair[1];
  }
  document_->pairs = nullptr;
}

unsigned long TXmlParser::line() const { return document_ != nullptr ? document_->line() : 0; }

void TXmlParser::Parse(char* buffer) {
  const std::size_t length = strnlen(buffer, kMaximumLength + 1);
  if (length > kMaximumLength) return FatalError("line 1: document larger than 16 MiB");

  Document document(*this);
  const auto complain = [this](const char* reason) {
    FatalError(("line " + std::to_string(line()) + ": " + reason).c_str());
  };
  try {
    if (const char* const fault = document.read({buffer, length})) complain(fault);
  } catch (const platform::XmlRefusal& refusal) {
    complain(refusal.what());
  }
}

}  // namespace NKVRHVX20
