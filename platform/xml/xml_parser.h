// An event-driven XML parser: reads a document held in memory and calls a derived class's
// virtual functions for each tag and each run of character data, in document order.
//
// A run is all character data between two tags, entities decoded; comments, CDATA borders and
// processing instructions do not split it. A run that is empty or white space alone is not
// delivered. A document-type declaration, more than 16 MiB and elements nested deeper than 64
// are refused, since the text may be anybody's.
//
// An object is used by one thread at a time and parses one document at a time.
#pragma once

#include <map>
#include <string>

#define HVX_XML_EXPORT __attribute__((visibility("default")))

namespace NKVRHVX20 {

class HVX_XML_EXPORT TXmlParser {
 public:
  static constexpr unsigned int kMaximumLength = 16U << 20;  // bytes
  static constexpr unsigned int kMaximumDepth = 64;          // elements open at once

  // The order of the virtual functions is part of the interface: derived classes may come from
  // another library and another time.
  virtual ~TXmlParser();

  // A start tag with its attributes by name. The map is the parser's and lasts for the call.
  virtual void StartElement(const char* name, std::map<std::string, std::string>& attributes) = 0;

  // An end tag; an empty-element tag gives both calls.
  virtual void EndElement(const char* name) = 0;

  // A processing instruction, at the moment it is read: before the run that it stands in.
  virtual void processingInstruction(const char* target, const char* data) = 0;

  // A run of character data, UTF-8, length bytes before the final NUL; right before the tag
  // that ends it.
  virtual void characters(const char* text, unsigned int length) = 0;

  // A notation declaration. They stand in document-type declarations, so this parser has none
  // to report.
  virtual void notationDecl(const char* name, const char* public_id, const char* system_id) = 0;

  // A syntax error or a refusal, with line and reason; the last call of a parse that did not
  // reach the end of the document.
  virtual void FatalError(const char* message) = 0;

  // The parser's own steps; they do nothing outside of Parse.
  virtual void ParseJSSP();           // hands on what is neither element nor text
  virtual void ParseCharData();       // delivers the pending run
  virtual void GetAttributeNValue();  // fills the attribute map of the tag being opened

  // Parses the document in the NUL-terminated buffer, which stays the caller's and is not
  // changed. What a derived class throws ends the parse and reaches the caller.
  void Parse(char* buffer);

  // The line, counted from 1, of what is being delivered; 0 outside of Parse.
  unsigned long line() const;

 protected:
  TXmlParser() = default;
  TXmlParser(const TXmlParser&) {}  // a fresh parser: a parse under way is not copied
  TXmlParser& operator=(const TXmlParser&) = delete;

 private:
  struct Document;
  Document* document_ = nullptr;  // the one being parsed; lives in Parse
};

}  // namespace NKVRHVX20
