#include "broker/cimxml/xml_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace broker::cimxml {
namespace {

std::string content(std::string_view text) {
  Text result;
  result.content(text);
  return std::string(result.view());
}

std::string attribute(std::string_view text) {
  Text result;
  result.attribute(text);
  return std::string(result.view());
}

std::string real(double number, Type type = Type::Real64) {
  Text result;
  result.real(number, type);
  return std::string(result.view());
}

std::string character(char16_t unit) {
  Text result;
  result.character(unit);
  return std::string(result.view());
}

TEST(Text, MarkupAndWhiteSpaceAreEscapedWhereTheyMatter) {
  EXPECT_EQ(content("a<b>&\"'\t\n\r ]]>"), "a&lt;b&gt;&amp;\"'\t\n&#13; ]]&gt;");
  EXPECT_EQ(attribute("a<b>&\"'\t\n\r"), "a&lt;b&gt;&amp;&quot;'&#9;&#10;&#13;");
}

TEST(Text, SpecialCharactersAreFoundAtEveryPlaceOfALongText) {
  for (std::size_t at = 0; at < 70; ++at) {
    std::string text(70, 'x');
    text[at] = '&';
    EXPECT_EQ(content(text), std::string(at, 'x') + "&amp;" + std::string(69 - at, 'x'));
    text[at] = '\x01';
    EXPECT_EQ(content(text), std::string(at, 'x') + "\xEF\xBF\xBD" + std::string(69 - at, 'x'));
    text[at] = '"';
    EXPECT_EQ(content(text), text);
  }
}

TEST(Text, OnlyCharactersOfXmlPass) {
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(content("\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \x7F"),
            "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \x7F");
  EXPECT_EQ(content(std::string_view("\0\x1F", 2)), replaced + replaced);
  EXPECT_EQ(content("\x80"), replaced);                 // no first byte
  EXPECT_EQ(content("\xC3"), replaced);                 // cut off
  EXPECT_EQ(content("\xC3(a"), replaced + "(a");        // cut short
  EXPECT_EQ(content("\xC0\x80"), replaced + replaced);  // over-long
  EXPECT_EQ(content("\xE0\x80\x80"), replaced + replaced + replaced);
  EXPECT_EQ(content("\xED\xA0\x80"), replaced + replaced + replaced);  // surrogate
  EXPECT_EQ(content("\xEF\xBF\xBE"), replaced + replaced + replaced);  // U+FFFE
  EXPECT_EQ(content("\xEF\xBF\xBD"), replaced);                        // U+FFFD itself
  EXPECT_EQ(content("\xF4\x90\x80\x80"), replaced + replaced + replaced + replaced);
  EXPECT_EQ(content("\xF0\x9F\x98"), replaced + replaced + replaced);
}

TEST(Text, RealsHaveADecimalPointAndNamesForWhatIsNoNumber) {
  EXPECT_EQ(real(0), "0.0");
  EXPECT_EQ(real(-0.25), "-0.25");
  EXPECT_EQ(real(1e100), "1.0e+100");
  EXPECT_EQ(real(-1.5e-300), "-1.5e-300");
  EXPECT_EQ(real(0.1f, Type::Real32), "0.1");
  EXPECT_EQ(real(std::numeric_limits<double>::infinity()), "INF");
  EXPECT_EQ(real(-std::numeric_limits<double>::infinity()), "-INF");
  EXPECT_EQ(real(std::numeric_limits<double>::quiet_NaN()), "NaN");
}

TEST(Text, Char16IsACharacterUnlessXmlHasNone) {
  EXPECT_EQ(character(u'A'), "A");
  EXPECT_EQ(character(u'&'), "&amp;");
  EXPECT_EQ(character(u'\u00E4'), "\xC3\xA4");
  EXPECT_EQ(character(u'\u07FF'), "\xDF\xBF");
  EXPECT_EQ(character(u'\u0800'), "\xE0\xA0\x80");
  EXPECT_EQ(character(u'\u20AC'), "\xE2\x82\xAC");
  EXPECT_EQ(character(0), "\xEF\xBF\xBD");
  EXPECT_EQ(character(0xD800), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Text, NumbersOfBothSigns) {
  Text text;
  text.number(std::numeric_limits<std::uint64_t>::max());
  text << " ";
  text.number(std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(text.view(), "18446744073709551615 -9223372036854775808");
}

}  // namespace
}  // namespace broker::cimxml
