// Text on its way to clients.
#pragma once

#include <string>
#include <string_view>

namespace ovk_cimple {

// Whether a UTF-16 or Unicode number is a character that may leave. These are the characters that
// XML 1.0 can carry, but of control characters only tab, line feed and carriage return.
bool is_clean(char32_t character);

// The text as valid UTF-8 of such characters only. Each other character, and each longest part
// of an invalid sequence, becomes U+FFFD. Texts come from drives and tools; object managers pass
// them on as they are, and one stray byte would make a whole reply unreadable.
std::string clean_text(std::string_view text);

// The same for one use, without a copy of text that may leave as it is, which nearly all text may.
class CleanText {
 public:
  explicit CleanText(const std::string& text);  // text must outlive it
  CleanText(const CleanText&) = delete;

  const char* c_str() const { return text_; }

 private:
  std::string changed_;
  const char* text_;
};

}  // namespace ovk_cimple
