// Code pages of text (provider_memory.h). The system's page is taken to be UTF-8.
#include <iconv.h>

#include <optional>
#include <string_view>

#include "broker/error.h"
#include "broker/provider_memory.h"

namespace broker {
namespace {

// The pages' names for iconv.
constexpr const char* kUtf8 = "UTF-8";
constexpr const char* kAscii = "US-ASCII";
constexpr const char* kUtf16 = "UTF-16LE";  // the machine's byte order, without a mark of it

[[noreturn]] void refuse_page() {
  throw Error(Status::InvalidParameter, "the code page is unknown");
}

// Nothing where a part of the text is none of its page, or the other page does not have it.
std::optional<std::string> converted(std::string_view text, const char* from, const char* to) {
  // A character takes at most twice as many bytes in UTF-16 as in UTF-8, and fewer the other way.
  std::string result(2 * text.size(), '\0');
  const iconv_t conversion = iconv_open(to, from);
  if (conversion == reinterpret_cast<iconv_t>(-1))
    throw Error(Status::Failed, std::string("the C library cannot convert to ") + to);
  char* input = const_cast<char*>(text.data());  // iconv only reads it
  char* output = result.data();
  std::size_t input_left = text.size();
  std::size_t output_left = result.size();
  const bool good =
      iconv(conversion, &input, &input_left, &output, &output_left) != static_cast<std::size_t>(-1);
  iconv_close(conversion);
  if (!good) return std::nullopt;
  result.resize(result.size() - output_left);
  return result;
}

// Up to the unit of zeros that ends it.
std::string_view bytes_of_utf16(const char* text) {
  std::size_t size = 0;
  while (text[size] != '\0' || text[size + 1] != '\0') size += 2;
  return {text, size};
}

}  // namespace

std::string from_codepage(const char* text, CMPICodepageID codepage) {
  std::optional<std::string> result;
  switch (codepage) {
    case CMPI_CPID_SYSTEM:
      return text;
    case CMPI_CPID_USASCII:
      result = converted(text, kAscii, kUtf8);
      if (!result) throw Error(Status::InvalidParameter, "the text is no US-ASCII");
      return *result;
    case CMPI_CPID_UTF16:
      result = converted(bytes_of_utf16(text), kUtf16, kUtf8);
      if (!result) throw Error(Status::InvalidParameter, "the text is no UTF-16");
      return *result;
  }
  refuse_page();
}

std::string to_codepage(const std::string& text, CMPICodepageID codepage) {
  std::optional<std::string> result;
  switch (codepage) {
    case CMPI_CPID_SYSTEM:
      return text;
    case CMPI_CPID_USASCII:
      result = converted(text, kUtf8, kAscii);
      if (!result) throw Error(Status::NotInCodepage, "the text has characters outside US-ASCII");
      return *result;
    case CMPI_CPID_UTF16:
      result = converted(text, kUtf8, kUtf16);
      if (!result) throw Error(Status::NotInCodepage, "the text is no UTF-8");
      return *result;
  }
  refuse_page();
}

}  // namespace broker
