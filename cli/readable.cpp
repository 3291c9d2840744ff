#include "cli/readable.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/terminal_text.h"

namespace cli {

std::string readable(const broker::Instance& instance, std::size_t columns) {
  std::size_t width = 0;
  for (const broker::Property& property : instance.properties)
    if (!property.value.is_null()) width = std::max(width, property.name.view().size());
  std::string text = escape(instance.path.to_text()) + "\n";
  for (const broker::Property& property : instance.properties) {
    if (property.value.is_null()) continue;
    const std::string label = fmt::format("  {:{}}  ", property.name.view(), width);
    text += labelled(label, broker::to_text(property.value), columns);
  }
  return text;
}

}  // namespace cli
