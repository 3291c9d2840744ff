#include "broker/cimxml/document.h"

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <unordered_set>

#include "broker/cimxml/refusal.h"

namespace broker::cimxml {
namespace {

using Names = std::unordered_set<std::string_view>;

// Those of DSP0201 that a request may hold and a server reads.
const Names& element_names() {
  static const Names& names = *new Names{"CIM",
                                         "MESSAGE",
                                         "MULTIREQ",
                                         "SIMPLEREQ",
                                         "MULTIEXPREQ",
                                         "SIMPLEEXPREQ",
                                         "MULTIRSP",
                                         "SIMPLERSP",
                                         "MULTIEXPRSP",
                                         "SIMPLEEXPRSP",
                                         "DECLARATION",
                                         "IMETHODCALL",
                                         "METHODCALL",
                                         "IPARAMVALUE",
                                         "PARAMVALUE",
                                         "VALUE",
                                         "VALUE.ARRAY",
                                         "VALUE.NULL",
                                         "VALUE.REFERENCE",
                                         "VALUE.REFARRAY",
                                         "VALUE.NAMEDINSTANCE",
                                         "LOCALNAMESPACEPATH",
                                         "NAMESPACEPATH",
                                         "NAMESPACE",
                                         "HOST",
                                         "CLASSPATH",
                                         "LOCALCLASSPATH",
                                         "CLASSNAME",
                                         "INSTANCEPATH",
                                         "LOCALINSTANCEPATH",
                                         "INSTANCENAME",
                                         "KEYBINDING",
                                         "KEYVALUE",
                                         "CLASS",
                                         "INSTANCE",
                                         "PROPERTY",
                                         "PROPERTY.ARRAY",
                                         "PROPERTY.REFERENCE",
                                         "QUALIFIER.DECLARATION"};
  return names;
}

const Names& attribute_names() {
  static const Names& names =
      *new Names{"NAME",           "CLASSNAME",      "TYPE", "VALUETYPE",       "PARAMTYPE",
                 "EmbeddedObject", "EMBEDDEDOBJECT", "ID",   "PROTOCOLVERSION", "CIMVERSION",
                 "DTDVERSION"};
  return names;
}

bool white(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Expat is C: exceptions wait in failure until it has returned.
class Builder {
 public:
  Builder(XML_Parser parser, std::size_t depth) : parser_(parser), limit_(depth) {
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, on_start, on_end);
    XML_SetCharacterDataHandler(parser_, on_text);
    XML_SetStartDoctypeDeclHandler(parser_, on_doctype);
    open_.push_back(&top_);
  }

  Element build(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw not_valid();
    const auto outcome = XML_Parse(parser_, text.data(), static_cast<int>(text.size()), XML_TRUE);
    if (failure_) std::rethrow_exception(failure_);
    if (outcome != XML_STATUS_OK) throw not_well_formed();
    if (top_.children.empty()) throw not_valid();
    return std::move(top_.children.front());
  }

 private:
  template <class Step>
  static void guarded(void* data, Step step) {
    auto& self = *static_cast<Builder*>(data);
    if (self.failure_) return;
    try {
      step(self);
    } catch (...) {
      self.failure_ = std::current_exception();
      XML_StopParser(self.parser_, XML_FALSE);
    }
  }

  static void on_start(void* data, const char* name, const char** attributes) {
    guarded(data, [=](Builder& self) { self.start(name, attributes); });
  }
  static void on_end(void* data, const char*) {
    guarded(data, [](Builder& self) { self.end(); });
  }
  static void on_text(void* data, const char* text, int length) {
    guarded(data, [=](Builder& self) {
      self.text(std::string_view(text, static_cast<std::size_t>(length)));
    });
  }
  static void on_doctype(void* data, const char*, const char*, const char*, int) {
    guarded(data, [](Builder&) { throw not_valid(); });
  }

  void start(const char* name, const char** attributes) {
    if (++depth_ > limit_) throw not_valid();
    const auto known = element_names().find(name);
    if (skipping_ != 0 || known == element_names().end()) {
      ++skipping_;
      return;
    }
    // The parent's vector may move its elements while it grows, but none of those is open.
    Element& element = open_.back()->children.emplace_back();
    element.name = *known;
    for (; *attributes; attributes += 2) {
      if (std::strlen(attributes[1]) > longest_attribute) throw not_valid();
      const auto attribute = attribute_names().find(attributes[0]);
      if (attribute == attribute_names().end()) continue;
      element.attributes.emplace_back(*attribute, attributes[1]);
    }
    open_.push_back(&element);
  }

  void end() {
    --depth_;
    if (skipping_ != 0) {
      --skipping_;
    } else {
      open_.pop_back();
    }
  }

  void text(std::string_view text) {
    if (skipping_ != 0) return;
    Element& element = *open_.back();
    if (element.name == "VALUE" || element.name == "KEYVALUE" || element.name == "HOST") {
      element.text += text;
    } else if (!std::all_of(text.begin(), text.end(), white)) {
      throw not_valid();
    }
  }

  XML_Parser parser_;
  std::size_t limit_;
  std::size_t depth_ = 0;
  std::size_t skipping_ = 0;  // how many elements deep inside what is skipped
  Element top_;
  std::vector<Element*> open_;
  std::exception_ptr failure_;
};

}  // namespace

const std::string* Element::find(std::string_view attribute) const {
  for (const auto& [name, value] : attributes) {
    if (name == attribute) return &value;
  }
  return nullptr;
}

const std::string& Element::get(std::string_view attribute) const {
  if (const std::string* found = find(attribute)) return *found;
  throw not_valid();
}

const Element& Element::only_child(std::initializer_list<std::string_view> names) const {
  if (children.size() != 1 ||
      std::find(names.begin(), names.end(), children.front().name) == names.end()) {
    throw not_valid();
  }
  return children.front();
}

Element parse_document(std::string_view text, std::size_t depth) {
  // The encoding is that of the protocol, whatever the document says.
  const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate("UTF-8"),
                                                                       XML_ParserFree);
  if (!parser) throw std::bad_alloc();
  return Builder(parser.get(), depth).build(text);
}

}  // namespace broker::cimxml
