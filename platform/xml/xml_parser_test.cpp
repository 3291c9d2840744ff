#include "platform/xml/xml_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <vector>

namespace NKVRHVX20 {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Writes down every call.
struct Recorder : TXmlParser {
  void StartElement(const char* name, std::map<std::string, std::string>& attributes) override {
    std::string call = std::string("<") + name;
    for (const auto& [key, value] : attributes)
      call.append(" ").append(key).append("=").append(value);
    record(call + ">");
  }
  void EndElement(const char* name) override { record(std::string("</") + name + ">"); }
  void processingInstruction(const char* target, const char* data) override {
    record(std::string("?") + target + ":" + data);
  }
  void characters(const char* text, unsigned int length) override {
    EXPECT_EQ(std::strlen(text), length);
    record(std::string("'") + text + "'");
  }
  void notationDecl(const char*, const char*, const char*) override { record("notation"); }
  void FatalError(const char* message) override { errors.emplace_back(message); }

  void record(const std::string& call) {
    calls.push_back(call);
    if (call == throw_at) throw std::runtime_error(call);
  }

  void parse_text(std::string text) { Parse(text.data()); }

  std::vector<std::string> calls;
  std::vector<std::string> errors;
  std::string throw_at = "nothing";
};

std::vector<std::string> calls(const std::string& text) {
  Recorder parser;
  parser.parse_text(text);
  EXPECT_THAT(parser.errors, IsEmpty());
  return parser.calls;
}

// The one error of a document that does not parse.
std::string error(const std::string& text) {
  Recorder parser;
  parser.parse_text(text);
  EXPECT_EQ(parser.errors.size(), 1u);
  return parser.errors.empty() ? "" : parser.errors.front();
}

std::string nested(unsigned int depth) {
  std::string text;
  for (unsigned int i = 0; i < depth; ++i) text += "<a>";
  for (unsigned int i = 0; i < depth; ++i) text += "</a>";
  return text;
}

TEST(XmlParser, GivesTagsAndTextInDocumentOrder) {
  EXPECT_THAT(calls("<a><b>one</b><b>two</b></a>"),
              ElementsAre("<a>", "<b>", "'one'", "</b>", "<b>", "'two'", "</b>", "</a>"));
}

TEST(XmlParser, AnEmptyElementTagGivesStartAndEnd) {
  EXPECT_THAT(calls("<a><b/></a>"), ElementsAre("<a>", "<b>", "</b>", "</a>"));
}

TEST(XmlParser, AttributesComeInOrderOfTheirNamesAndDecoded) {
  EXPECT_THAT(calls("<a z='1' b='x &amp; y' Name='&#65;'/>"),
              ElementsAre("<a Name=A b=x & y z=1>", "</a>"));
}

TEST(XmlParser, AttributesDoNotOutliveTheirTag) {
  EXPECT_THAT(calls("<a x='1'><b y='2'/><c/></a>"),
              ElementsAre("<a x=1>", "<b y=2>", "</b>", "<c>", "</c>", "</a>"));
}

TEST(XmlParser, TextBeforeAStartTagIsARunOfItsOwn) {
  EXPECT_THAT(calls("<a>one<b/>two</a>"),
              ElementsAre("<a>", "'one'", "<b>", "</b>", "'two'", "</a>"));
}

TEST(XmlParser, EntitiesAreDecodedWithinTheRun) {
  EXPECT_THAT(calls("<a>1 &lt; 2 &amp;&#x26; &quot;3&quot;</a>"),
              ElementsAre("<a>", "'1 < 2 && \"3\"'", "</a>"));
}

TEST(XmlParser, CommentsDoNotSplitARun) {
  EXPECT_THAT(calls("<a>one <!-- and -->two</a>"), ElementsAre("<a>", "'one two'", "</a>"));
}

TEST(XmlParser, CdataBordersDoNotSplitARun) {
  EXPECT_THAT(calls("<a>one <![CDATA[<two> &amp; ]]>three</a>"),
              ElementsAre("<a>", "'one <two> &amp; three'", "</a>"));
}

TEST(XmlParser, ProcessingInstructionsDoNotSplitARunAndComeBeforeIt) {
  EXPECT_THAT(calls("<a>one <?do this now?>two</a>"),
              ElementsAre("<a>", "?do:this now", "'one two'", "</a>"));
}

TEST(XmlParser, LineEndsDoNotSplitARunAndAreLineFeeds) {
  EXPECT_THAT(calls("<a>one\r\ntwo\rthree\n</a>"),
              ElementsAre("<a>", "'one\ntwo\nthree\n'", "</a>"));
}

TEST(XmlParser, AnEmptyRunIsNotDelivered) {
  EXPECT_THAT(calls("<a></a>"), ElementsAre("<a>", "</a>"));
}

TEST(XmlParser, ARunOfWhiteSpaceAloneIsNotDelivered) {
  EXPECT_THAT(calls("<a> \t\r\n <b> </b>\n</a>\n"), ElementsAre("<a>", "<b>", "</b>", "</a>"));
}

TEST(XmlParser, WhiteSpaceAroundTextIsKept) {
  EXPECT_THAT(calls("<a>\n one </a>"), ElementsAre("<a>", "'\n one '", "</a>"));
}

TEST(XmlParser, ALongRunComesWhole) {
  const std::string text(1000000, 'x');
  EXPECT_EQ(calls("<a>" + text + "</a>").at(1), "'" + text + "'");
}

TEST(XmlParser, TextIsUtf8WhateverTheDocumentsEncoding) {
  EXPECT_THAT(calls("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe4</a>"),
              ElementsAre("<a>", "'\xc3\xa4'", "</a>"));
  EXPECT_THAT(calls("\xef\xbb\xbf<a>\xc3\xa4</a>"), ElementsAre("<a>", "'\xc3\xa4'", "</a>"));
}

TEST(XmlParser, ASyntaxErrorGivesLineAndReasonAndEndsTheParse) {
  Recorder parser;
  parser.parse_text("<a>\n<b>one</b>\n<c></d>\n<e/></a>");
  EXPECT_THAT(parser.calls, ElementsAre("<a>", "<b>", "'one'", "</b>", "<c>"));
  EXPECT_THAT(parser.errors, ElementsAre("line 3: mismatched tag"));
}

TEST(XmlParser, ARunThatNoTagEndsIsNotDelivered) {
  Recorder parser;
  parser.parse_text("<a>one");
  EXPECT_THAT(parser.calls, ElementsAre("<a>"));
  EXPECT_EQ(parser.errors.size(), 1u);
}

TEST(XmlParser, TellsTheLineOfWhatItDelivers) {
  struct Lines : Recorder {
    void StartElement(const char*, std::map<std::string, std::string>&) override {
      lines.push_back(line());
    }
    void EndElement(const char*) override { lines.push_back(line()); }
    std::vector<unsigned long> lines;
  } parser;
  std::string text = "<a>\n\n<b\n/></a>\n";
  parser.Parse(text.data());
  EXPECT_THAT(parser.lines, ElementsAre(1u, 3u, 4u, 4u));
  EXPECT_EQ(parser.line(), 0u);
}

TEST(XmlParser, AnEmptyTextIsAnError) { EXPECT_EQ(error(""), "line 1: no element found"); }

TEST(XmlParser, ADuplicateAttributeIsAnError) {
  EXPECT_EQ(error("<a x='1' x='2'/>"), "line 1: duplicate attribute");
}

TEST(XmlParser, InvalidUtf8IsAnError) {
  EXPECT_EQ(error("<a>\xff</a>"), "line 1: not well-formed (invalid token)");
}

TEST(XmlParser, ADocumentTypeIsRefusedBeforeItsEntitiesAreRead) {
  Recorder parser;
  parser.parse_text("<?xml version='1.0'?>\n<!DOCTYPE a [<!ENTITY e 'text'><?do it?>]><a>&e;</a>");
  EXPECT_THAT(parser.calls, IsEmpty());
  EXPECT_THAT(parser.errors, ElementsAre("line 2: document-type declarations are not accepted"));
}

TEST(XmlParser, ElementsMayNestToTheDepthLimit) {
  EXPECT_EQ(calls(nested(TXmlParser::kMaximumDepth)).size(), 2u * TXmlParser::kMaximumDepth);
}

TEST(XmlParser, OneElementDeeperIsRefused) {
  Recorder parser;
  parser.parse_text(nested(TXmlParser::kMaximumDepth + 1));
  EXPECT_EQ(parser.calls.size(), TXmlParser::kMaximumDepth);
  EXPECT_THAT(parser.errors, ElementsAre("line 1: elements nested too deeply"));
}

TEST(XmlParser, DepthCountsOpenElementsOnly) {
  std::string text = "<a>";
  for (int i = 0; i < 1000; ++i) text += "<b/>";
  EXPECT_EQ(calls(text + "</a>").size(), 2002u);
}

TEST(XmlParser, ADocumentMayHaveTheWholeLength) {
  std::string text = "<a>";
  text.append(TXmlParser::kMaximumLength - 7, 'x');
  text += "</a>";
  EXPECT_EQ(calls(text).size(), 3u);
}

TEST(XmlParser, OneByteMoreIsRefusedUnread) {
  std::string text = "<a>";
  text.append(TXmlParser::kMaximumLength - 6, 'x');
  text += "</a>";
  Recorder parser;
  parser.parse_text(text);
  EXPECT_THAT(parser.calls, IsEmpty());
  EXPECT_THAT(parser.errors, ElementsAre(HasSubstr("larger than 16 MiB")));
}

TEST(XmlParser, TheTextEndsAtItsNul) {
  char text[] = "<a/>\0<b>";
  Recorder parser;
  parser.Parse(text);
  EXPECT_THAT(parser.calls, ElementsAre("<a>", "</a>"));
  EXPECT_THAT(parser.errors, IsEmpty());
}

TEST(XmlParser, TheBufferIsNotChanged) {
  std::string text = "<a x='&amp;'>\r\n1</a>", copy = text;
  Recorder().Parse(text.data());
  EXPECT_EQ(text, copy);
}

TEST(XmlParser, AnObjectParsesOneDocumentAfterAnother) {
  Recorder parser;
  parser.parse_text("<a>one");
  parser.parse_text("<b/>");
  EXPECT_THAT(parser.calls, ElementsAre("<a>", "<b>", "</b>"));
  EXPECT_EQ(parser.errors.size(), 1u);
}

// What a callback throws ends the parse there and reaches the caller; the leak checker of the
// sanitizer build sees to the rest.
class XmlParserThrows : public testing::TestWithParam<const char*> {};

TEST_P(XmlParserThrows, EndsTheParseAndReachesTheCaller) {
  Recorder parser;
  parser.throw_at = GetParam();
  try {
    parser.parse_text("<a><?do it?><b>text</b><c/></a>");
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), GetParam());
  }
  EXPECT_EQ(parser.calls.back(), GetParam());
  EXPECT_THAT(parser.errors, IsEmpty());

  parser.calls.clear();
  parser.throw_at = "nothing";
  parser.parse_text("<d/>");
  EXPECT_THAT(parser.calls, ElementsAre("<d>", "</d>"));
}

INSTANTIATE_TEST_SUITE_P(FromEachCallback, XmlParserThrows,
                         testing::Values("<a>", "?do:it", "'text'", "</b>", "<c>", "</c>", "</a>"));

TEST(XmlParser, ACopyMadeDuringAParseIsAFreshParser) {
  struct Copier : Recorder {
    void EndElement(const char* name) override {
      Recorder::EndElement(name);
      if (!copy) copy.emplace(*this);
    }
    std::optional<Recorder> copy;
  } parser;
  parser.parse_text("<a><b/>text</a>");
  parser.copy->calls.clear();
  parser.copy->ParseCharData();
  EXPECT_THAT(parser.copy->calls, IsEmpty());
  parser.copy->parse_text("<c/>");
  EXPECT_THAT(parser.copy->calls, ElementsAre("<c>", "</c>"));
  EXPECT_THAT(parser.calls, ElementsAre("<a>", "<b>", "</b>", "'text'", "</a>"));
}

TEST(XmlParser, ACallbackMayParseADocumentOfItsOwn) {
  struct Nester : Recorder {
    void StartElement(const char* name, std::map<std::string, std::string>& attributes) override {
      Recorder::StartElement(name, attributes);
      if (std::string(name) == "a") parse_text("<inner/>");
    }
  } parser;
  parser.parse_text("<a>text</a>");
  EXPECT_THAT(parser.calls, ElementsAre("<a>", "<inner>", "</inner>", "'text'", "</a>"));
}

TEST(XmlParser, TheStepsDoNothingOutsideOfAParse) {
  Recorder parser;
  parser.ParseJSSP();
  parser.ParseCharData();
  parser.GetAttributeNValue();
  EXPECT_THAT(parser.calls, IsEmpty());
}

// A derived class may replace a step.
TEST(XmlParser, TextAndInstructionsPassThroughTheirSteps) {
  struct Silent : Recorder {
    void ParseJSSP() override { record("jssp"); }
    void ParseCharData() override {}
    void GetAttributeNValue() override {}
  } parser;
  parser.parse_text("<a x='1'>text<?do it?></a>");
  EXPECT_THAT(parser.calls, ElementsAre("<a>", "jssp", "</a>"));
}

// The order is what a derived class built elsewhere relies on. In the C++ ABI of this platform
// a pointer to a virtual function holds its offset in the table, plus one.
template <typename Function>
std::size_t slot(Function function) {
  std::uintptr_t offset;
  static_assert(sizeof(function) == 2 * sizeof(offset));
  std::memcpy(&offset, &function, sizeof(offset));
  return offset / sizeof(void*);
}

TEST(XmlParser, TheVirtualFunctionsStandInTheirOrderAfterTheTwoDestructors) {
  EXPECT_EQ(slot(&TXmlParser::StartElement), 2u);
  EXPECT_EQ(slot(&TXmlParser::EndElement), 3u);
  EXPECT_EQ(slot(&TXmlParser::processingInstruction), 4u);
  EXPECT_EQ(slot(&TXmlParser::characters), 5u);
  EXPECT_EQ(slot(&TXmlParser::notationDecl), 6u);
  EXPECT_EQ(slot(&TXmlParser::FatalError), 7u);
  EXPECT_EQ(slot(&TXmlParser::ParseJSSP), 8u);
  EXPECT_EQ(slot(&TXmlParser::ParseCharData), 9u);
  EXPECT_EQ(slot(&TXmlParser::GetAttributeNValue), 10u);
}

}  // namespace
}  // namespace NKVRHVX20
