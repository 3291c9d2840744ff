#include "broker/cimxml/document.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <unordered_set>

#include "broker/cimxml/http_error.h"
#include "broker/name.h"
#include "platform/words.h"
#include "platform/xml_reader.h"

namespace broker::cimxml {
namespace {

using Names = std::unordered_set<std::string_view>;

// The elements of DSP0201 that a request may hold and a server reads.
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

class Builder final : platform::XmlReader {
 public:
  explicit Builder(Allowance& allowance)
      : XmlReader("UTF-8", allowance.depth), allowance_(allowance) {
    open_.push_back(&top_);
  }

  Document build(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw not_valid();
    // No text grows by being read: a reference is longer than the character that it stands for.
    std::unique_ptr<char[]> texts(new char[text.size()]);
    at_ = texts.get();
    try {
      if (read(text)) throw not_well_formed();
    } catch (const platform::XmlRefusal&) {
      throw not_valid();
    }
    if (top_.children.empty()) throw not_valid();
    return {std::move(texts), std::move(top_.children.front())};
  }

 private:
  void declared(const char* encoding) override {
    if (encoding && !same_name(encoding, "utf-8")) throw other_encoding();
  }

  void start(const char* name, const char** attributes) override {
    if (allowance_.elements == 0) throw HttpError(413, nullptr);
    --allowance_.elements;
    const auto known = element_names().find(name);
    if (skipping_ != 0 || known == element_names().end()) {
      ++skipping_;
      return;
    }
    if (holds_text(*open_.back())) throw not_valid();
    // The parent's vector may move its elements while it grows, but none of those is open.
    Element& element = open_.back()->children.emplace_back();
    element.name = *known;
    for (; *attributes; attributes += 2) {
      const std::string_view value = attributes[1];
      if (value.size() > kLongestAttribute) throw not_valid();
      const auto attribute = attribute_names().find(attributes[0]);
      if (attribute == attribute_names().end()) continue;
      element.attributes.emplace_back(*attribute, keep(value));
    }
    open_.push_back(&element);
  }

  void end(const char*) override {
    if (skipping_ != 0) {
      --skipping_;
    } else {
      open_.pop_back();
    }
  }

  void text(std::string_view text) override {
    if (skipping_ != 0) return;
    Element& element = *open_.back();
    if (holds_text(element)) {
      // Its pieces follow each other, as no other element keeps anything in between.
      const std::string_view piece = keep(text);
      element.text = element.text.empty() ? piece
                                          : std::string_view(element.text.data(),
                                                             element.text.size() + piece.size());
    } else if (!platform::trim(text).empty()) {
      throw not_valid();
    }
  }

  static bool holds_text(const Element& element) {
    return element.name == "VALUE" || element.name == "KEYVALUE" || element.name == "HOST";
  }

  std::string_view keep(std::string_view text) {
    const std::string_view kept(at_, text.size());
    at_ = std::copy(text.begin(), text.end(), at_);
    return kept;
  }

  Allowance& allowance_;
  char* at_ = nullptr;        // the free rest of the block of texts
  std::size_t skipping_ = 0;  // how many elements deep inside what is skipped
  Element top_;
  std::vector<Element*> open_;
};

}  // namespace

const std::string_view* Element::find(std::string_view attribute) const {
  for (const auto& [name, value] : attributes) {
    if (name == attribute) return &value;
  }
  return nullptr;
}

std::string_view Element::get(std::string_view attribute) const {
  if (const std::string_view* found = find(attribute)) return *found;
  throw not_valid();
}

const Element& Element::only_child(std::initializer_list<std::string_view> names) const {
  if (children.size() != 1 ||
      std::find(names.begin(), names.end(), children.front().name) == names.end()) {
    throw not_valid();
  }
  return children.front();
}

Document parse_document(std::string_view text, Allowance& allowance) {
  using namespace std::string_view_literals;
  // Expat would follow a byte order mark; without one, UTF-16 begins with a wide bracket.
  for (const std::string_view wide : {"\xFE\xFF"sv, "\xFF\xFE"sv, "<\0"sv, "\0<"sv})
    if (text.starts_with(wide)) throw other_encoding();
  return Builder(allowance).build(text);
}

}  // namespace broker::cimxml
