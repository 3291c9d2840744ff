// A message as a tree of its elements, read with Expat under limits.
//
// Elements and attributes that the standard does not know are skipped with all they hold
// (DSP0200 calls a message that is correct without them loosely valid).
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace broker::cimxml {

struct Element {
  std::string_view name;  // one of the standard's; compares with literals
  std::vector<std::pair<std::string_view, std::string>> attributes;
  std::string text;  // of VALUE, KEYVALUE and HOST
  std::vector<Element> children;

  // Null when there is none.
  const std::string* find(std::string_view attribute) const;
  // Throws Refusal (not valid) when there is none.
  const std::string& get(std::string_view attribute) const;
  // The child, which must be the only one and of one of these names; throws Refusal (not valid).
  const Element& only_child(std::initializer_list<std::string_view> names) const;
};

// Of a whole document in UTF-8. Longer attributes than anybody's names are refused.
inline constexpr std::size_t longest_attribute = 4096;

// depth: how many elements may stand within each other. Throws Refusal: not well-formed, or not
// valid for a document type, too much depth, text out of place.
Element parse_document(std::string_view text, std::size_t depth);

}  // namespace broker::cimxml
