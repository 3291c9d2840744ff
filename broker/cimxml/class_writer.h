// Class declarations into text (DSP0201).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "broker/cimxml/xml_text.h"
#include "broker/schema.h"

namespace broker::cimxml {

// Which parts of a class the client asked for.
struct ClassChoice {
  bool local_only = true;  // only what the class itself declares
  bool qualifiers = true;
  bool class_origin = false;
  std::optional<std::vector<std::string>> properties;  // unset: all
};

// A declared qualifier (QUALIFIER.DECLARATION).
void write_qualifier_declaration(Text& text, const QualifierDeclaration& declared);

void write_class(Text& text, const ClassInfo& info, const ClassChoice& choice);

}  // namespace broker::cimxml
