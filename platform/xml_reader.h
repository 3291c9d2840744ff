// An XML document that may be anybody's, read with Expat. What it holds is delivered in its order
// to the virtual functions of a derived class. A leaf: any folder may use it.
//
// Document-type declarations are refused, since entities can make a small document large, and so is
// what is nested too deeply. How long a document may be is for the caller to say.
#pragma once

#include <expat.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <string_view>

// Expat 2.9, a security update of Debian 13, deprecates a function for one that older ones lack.
#pragma GCC diagnostic push
#pragma GCC diagnostic warning "-Wdeprecated-declarations"

namespace platform {

// Why a well-formed document is not read on.
struct XmlRefusal : std::exception {
  explicit XmlRefusal(const char* reason) : reason_(reason) {}
  const char* what() const noexcept override { return reason_; }

 private:
  const char* reason_;
};

// Reads one document. Used by one thread at a time.
class XmlReader {
 public:
  XmlReader(const XmlReader&) = delete;
  XmlReader& operator=(const XmlReader&) = delete;

  // The line, counted from 1, of what is being delivered.
  unsigned long line() const { return XML_GetCurrentLineNumber(expat_.get()); }

 protected:
  // encoding: null for what the document says.
  XmlReader(const char* encoding, std::size_t most_depth)
      : expat_(XML_ParserCreate(encoding), XML_ParserFree), most_depth_(most_depth) {
    if (!expat_) throw std::bad_alloc();
    XML_SetUserData(expat_.get(), this);
    XML_SetXmlDeclHandler(expat_.get(), on_declaration);
    XML_SetElementHandler(expat_.get(), on_start, on_end);
    XML_SetCharacterDataHandler(expat_.get(), on_text);
    XML_SetProcessingInstructionHandler(expat_.get(), on_instruction);
    XML_SetStartDoctypeDeclHandler(expat_.get(), on_document_type);
  }
  ~XmlReader() = default;

  // Of less than 2 GiB. Returns null when the document was read to its end, else what is wrong with
  // its form. What a function below throws ends the reading and comes out of here, and so does
  // XmlRefusal.
  const char* read(std::string_view document) {
    const auto status =
        XML_Parse(expat_.get(), document.data(), static_cast<int>(document.size()), XML_TRUE);
    if (thrown_) std::rethrow_exception(thrown_);
    return status == XML_STATUS_OK ? nullptr : XML_ErrorString(XML_GetErrorCode(expat_.get()));
  }

 private:
  virtual void declared(const char* /* encoding, or null */) {}
  virtual void start(const char* name, const char** attributes) = 0;  // name, value, ..., null
  virtual void end(const char* name) = 0;
  virtual void text(std::string_view piece) = 0;  // of a run of text, which may come in several
  virtual void instruction(const char* /* target */, const char* /* data */) {}

  // Expat is C: no exception must pass through it. And it may deliver an event or two after it was
  // told to stop.
  template <class Step>
  static void guarded(void* data, Step step) {
    auto& reader = *static_cast<XmlReader*>(data);
    if (reader.thrown_) return;
    try {
      step(reader);
    } catch (...) {
      reader.thrown_ = std::current_exception();
      XML_StopParser(reader.expat_.get(), XML_FALSE);
    }
  }

  static void on_declaration(void* data, const char*, const char* encoding, int) {
    guarded(data, [=](XmlReader& reader) { reader.declared(encoding); });
  }
  static void on_start(void* data, const char* name, const char** attributes) {
    guarded(data, [=](XmlReader& reader) {
      if (++reader.depth_ > reader.most_depth_) throw XmlRefusal("elements nested too deeply");
      reader.start(name, attributes);
    });
  }
  static void on_end(void* data, const char* name) {
    guarded(data, [=](XmlReader& reader) {
      --reader.depth_;
      reader.end(name);
    });
  }
  static void on_text(void* data, const char* text, int length) {
    guarded(data, [=](XmlReader& reader) {
      reader.text(std::string_view(text, static_cast<std::size_t>(length)));
    });
  }
  static void on_instruction(void* data, const char* target, const char* content) {
    guarded(data, [=](XmlReader& reader) { reader.instruction(target, content); });
  }
  static void on_document_type(void* data, const char*, const char*, const char*, int) {
    guarded(data,
            [](XmlReader&) { throw XmlRefusal("document-type declarations are not accepted"); });
  }

  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> expat_;
  const std::size_t most_depth_;
  std::size_t depth_ = 0;
  std::exception_ptr thrown_;
};

}  // namespace platform

#pragma GCC diagnostic pop
