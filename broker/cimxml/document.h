// A message as a tree of its elements, read with Expat under limits. The texts of all elements
// stand in one block, so that a tree costs little more than the message itself.
//
// Elements and attributes that the standard does not know are skipped with all they hold
// (DSP0200 calls a message that is correct without them loosely valid).
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace broker::cimxml {

struct Element {
  std::string_view name;  // one of the standard's; compares with literals
  std::vector<std::pair<std::string_view, std::string_view>> attributes;
  std::string_view text;  // of VALUE, KEYVALUE and HOST
  std::vector<Element> children;

  // Null when there is none.
  const std::string_view* find(std::string_view attribute) const;
  // Throws HttpError (not valid) when there is none.
  std::string_view get(std::string_view attribute) const;
  // The child, which must be the only one and of one of these names; throws HttpError (not valid).
  const Element& only_child(std::initializer_list<std::string_view> names) const;
};

// Longer attributes are refused: they hold names, and no name is as long.
inline constexpr std::size_t kLongestAttribute = 4096;

// What the documents of one request may hold: the message, and the embedded instances in it.
struct Allowance {
  std::size_t depth;     // how many elements may stand within each other
  std::size_t elements;  // how many are left for all documents together; counted down
};

struct Document {
  std::unique_ptr<char[]> texts;  // what the tree refers to
  Element root;
};

// Reads a whole document in UTF-8. Throws HttpError: not well-formed; another encoding; too many
// elements; or not valid, where it has a document type, too much depth or text out of place.
Document parse_document(std::string_view text, Allowance& allowance);

}  // namespace broker::cimxml
