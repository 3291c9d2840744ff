#include "cli/decisions.h"

#include "cli/log_texts.h"

namespace cli {
namespace {

constexpr int kTrace = 3;

// What stands between the two; nothing when the text is not made of them.
std::optional<std::string_view> between(std::string_view text, std::string_view begins,
                                        std::string_view ends) {
  if (text.size() < begins.size() + ends.size() || !text.starts_with(begins) ||
      !text.ends_with(ends))
    return std::nullopt;
  return text.substr(begins.size(), text.size() - begins.size() - ends.size());
}

}  // namespace

void Decisions::take(int severity, std::string_view text) {
  if (severity != kTrace) return;
  for (const DecisionText& known : kDecisionTexts)
    if (const auto device = between(text, known.begins, known.ends))
      reasons_[std::string(*device)] = known.reason;
  for (const FindingText& known : kFindingTexts)
    if (const auto device = between(text, known.begins, known.ends))
      found_[std::string(*device)] = known.found;
  for (const ExclusionText& known : kExclusionTexts)
    if (const auto identifier = between(text, known.begins, kExclusionEnds))
      excluded_by_ = std::string(known.what) + " " + std::string(*identifier);
}

std::optional<std::string> Decisions::reason(const std::string& device) const {
  if (!excluded_by_.empty()) return "excluded machine type";
  const auto found = reasons_.find(device);
  if (found == reasons_.end()) return std::nullopt;
  return found->second;
}

std::string Decisions::found(const std::string& device) const {
  const auto found = found_.find(device);
  return found == found_.end() ? "" : found->second;
}

}  // namespace cli
