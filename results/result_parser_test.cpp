#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "results/TDiagnosticResultParser.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> said;  // by the parser: severity, blank, text

}  // namespace

// This program's own: the parser as the module links it discards its texts.
void TDiagnosticResultParser::DebugOutput(NKVRHVX20::ILogger::EHVXLogSeverity severity,
                                          std::string text) {
  said.push_back(std::to_string(severity) + " " + text);
}

namespace {

using Messages = std::multimap<std::string, TDiagnosticResultMessage>;

class ResultParser : public testing::Test {
 protected:
  void SetUp() override { said.clear(); }

  Messages Parse(std::string text) {
    parser_.Parse(text.data());
    return parser_.getResultMsgs();
  }

  // The messages of a root element's content, in order.
  std::vector<TDiagnosticResultMessage> parse_content(const std::string& content) {
    std::vector<TDiagnosticResultMessage> messages;
    for (const auto& [key, message] :
         Parse("<diaganalysis version='1'>" + content + "</diaganalysis>")) {
      EXPECT_EQ(key, message.fTestName);
      messages.push_back(message);
    }
    return messages;
  }

  void start(const char* name, std::map<std::string, std::string> attributes = {}) {
    parser_.StartElement(name, attributes);
  }

  static std::vector<std::string> errors() {
    std::vector<std::string> errors;
    for (const std::string& text : said) {
      if (text.starts_with("0 ")) errors.push_back(text.substr(2));
    }
    return errors;
  }

  TDiagnosticResultParser parser_;
};

std::vector<std::string> actions(const TDiagnosticResultMessage& message) {
  std::vector<std::string> actions;
  for (const auto& action : message.fActions)
    actions.push_back(action.fPriority + "." + action.fText);
  return actions;
}

TEST_F(ResultParser, AWholeFileGivesEveryFieldOfItsMessage) {
  const Messages messages = Parse(
      "<?xml version='1.0'?>\n"
      "<diaganalysis version='1.0'>\n"
      " <diagnostictest name='Hard Drive: Self Test'>\n"
      "  <result state='FAILED'>\n"
      "   <errorcode>HD-01 A</errorcode>\n"
      "   <msg>First Line</msg>\n"
      "   <msg>Second Line</msg>\n"
      "   <action priority='HIGH'>Back up &amp; replace</action>\n"
      "   <action priority='2'>Run again</action>\n"
      "  </result>\n"
      " </diagnostictest>\n"
      "</diaganalysis>\n");
  ASSERT_EQ(messages.size(), 1u);
  const auto& [key, message] = *messages.begin();
  EXPECT_EQ(key, "hard drive: self test");
  EXPECT_EQ(message.fTestName, "hard drive: self test");
  EXPECT_EQ(message.fErrorCode, "HD-01 A");
  EXPECT_EQ(message.fState, "failed");
  EXPECT_THAT(message.fMessages, ElementsAre("First Line", "Second Line"));
  EXPECT_THAT(actions(message), ElementsAre("high.Back up & replace", "2.Run again"));
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(ResultParser, AParserThatParsedNothingHasNoMessages) {
  EXPECT_THAT(parser_.getResultMsgs(), IsEmpty());
}

TEST_F(ResultParser, ElementNamesCountWithoutRegardToCase) {
  const Messages messages = Parse(
      "<DIAGANALYSIS version='1'><DiagnosticTest name='t'><Result state='s'>"
      "<ErrorCode>E</ErrorCode><MSG>M</MSG><Action priority='1'>A</Action>"
      "</Result></DiagnosticTest></DIAGANALYSIS>");
  ASSERT_EQ(messages.size(), 1u);
  const auto& message = messages.find("t")->second;
  EXPECT_EQ(message.fState, "s");
  EXPECT_EQ(message.fErrorCode, "E");
  EXPECT_THAT(message.fMessages, ElementsAre("M"));
  EXPECT_THAT(actions(message), ElementsAre("1.A"));
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(ResultParser, AnAttributeNameInCapitalsIsUnknownAndLeavesTheTestUnnamed) {
  const auto messages = parse_content(
      "<diagnostictest Name='T'><result State='s'><msg>M</msg></result></diagnostictest>");
  EXPECT_THAT(errors(),
              ElementsAre("Unrecognized Attribute.", "No Name Specified for Object identifier",
                          "Unrecognized Attribute."));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].fTestName, "");
  EXPECT_EQ(messages[0].fState, "");
  EXPECT_THAT(messages[0].fMessages, IsEmpty());
}

TEST_F(ResultParser, NamesStatesAndPrioritiesAreLowerCasedTextsAreNot) {
  const auto messages = parse_content(
      "<diagnostictest name='NAME'><result state='PASSED'><errorcode>CODE</errorcode>"
      "<msg>MESSAGE</msg><action priority='HIGH'>ACTION</action></result></diagnostictest>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].fTestName, "name");
  EXPECT_EQ(messages[0].fState, "passed");
  EXPECT_EQ(messages[0].fErrorCode, "CODE");
  EXPECT_THAT(messages[0].fMessages, ElementsAre("MESSAGE"));
  EXPECT_THAT(actions(messages[0]), ElementsAre("high.ACTION"));
}

TEST_F(ResultParser, TextsAreNotTrimmed) {
  const auto messages =
      parse_content("<diagnostictest name='t'><result><msg> \n M </msg></result></diagnostictest>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_THAT(messages[0].fMessages, ElementsAre(" \n M "));
}

TEST_F(ResultParser, ResultsOfOneStateStandUnderOneKeyInFileOrder) {
  const auto messages = parse_content(
      "<diagnostictest name='t'>"
      "<result state='s'><errorcode>2</errorcode></result>"
      "<result state='s'><errorcode>1</errorcode></result></diagnostictest>");
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].fErrorCode, "2");
  EXPECT_EQ(messages[1].fErrorCode, "1");
  EXPECT_EQ(messages[1].fTestName, "t");
}

TEST_F(ResultParser, TestsOfOneNameMergeUnderOneKeyInFileOrder) {
  const auto messages = parse_content(
      "<diagnostictest name='t'><result><errorcode>1</errorcode></result></diagnostictest>"
      "<diagnostictest name='a'><result><errorcode>2</errorcode></result></diagnostictest>"
      "<diagnostictest name='T'><result><errorcode>3</errorcode></result></diagnostictest>");
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].fErrorCode, "2");  // keys are ordered
  EXPECT_EQ(messages[1].fErrorCode, "1");
  EXPECT_EQ(messages[2].fErrorCode, "3");
}

TEST_F(ResultParser, KeysAreOrderedByTheirBytes) {
  const auto messages = parse_content(
      "<diagnostictest name='\xc3\xa4'><result/></diagnostictest>"
      "<diagnostictest name='b'><result/></diagnostictest>"
      "<diagnostictest name='_'><result/></diagnostictest>");
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].fTestName, "_");
  EXPECT_EQ(messages[1].fTestName, "b");
  EXPECT_EQ(messages[2].fTestName, "\xc3\xa4");
}

TEST_F(ResultParser, NothingOfAResultIsLeftForTheNext) {
  const auto messages = parse_content(
      "<diagnostictest name='t'><result state='s'><errorcode>E</errorcode><msg>M</msg>"
      "<action priority='1'>A</action></result><result/></diagnostictest>");
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[1].fState, "");
  EXPECT_EQ(messages[1].fErrorCode, "");
  EXPECT_THAT(messages[1].fMessages, IsEmpty());
  EXPECT_THAT(messages[1].fActions, IsEmpty());
}

// As the order of the tags has it: what the first end tag stores belongs to both.
TEST_F(ResultParser, AStartTagInsideAnElementTakesNothingFromIt) {
  const auto results = parse_content(
      "<diagnostictest name='t'><result state='outer'><result><errorcode>E</errorcode></result>"
      "</result></diagnostictest>");
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[0].fState, "outer");
  EXPECT_EQ(results[0].fErrorCode, "E");
  EXPECT_EQ(results[1].fState, "");
  const auto messages = parse_content(
      "<diagnostictest name='t'><result state='s'><action priority='7'><action>T</action></action>"
      "</result></diagnostictest>");
  ASSERT_EQ(messages.size(), 1u + 2u);
  EXPECT_THAT(actions(messages.back()), ElementsAre("7.T", ".T"));
}

TEST_F(ResultParser, AResultOutsideOfATestKeepsItsStateAndActionsOnly) {
  const auto messages = parse_content(
      "<result state='s'><errorcode>E</errorcode><msg>M</msg>"
      "<action priority='1'>A</action></result>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].fTestName, "");
  EXPECT_EQ(messages[0].fState, "s");
  EXPECT_EQ(messages[0].fErrorCode, "");
  EXPECT_THAT(messages[0].fMessages, IsEmpty());
  EXPECT_THAT(actions(messages[0]), ElementsAre("1.A"));
}

TEST_F(ResultParser, AfterATestLinesAndCodesAreDroppedAndActionsJoinTheNextMessage) {
  const auto messages = parse_content(
      "<diagnostictest name='t'><result/></diagnostictest>"
      "<errorcode>lost</errorcode><msg>lost</msg><action priority='1'>kept</action>"
      "<diagnostictest name='u'><result><msg>M</msg></result></diagnostictest>");
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[1].fTestName, "u");
  EXPECT_EQ(messages[1].fErrorCode, "");
  EXPECT_THAT(messages[1].fMessages, ElementsAre("M"));
  EXPECT_THAT(actions(messages[1]), ElementsAre("1.kept"));
}

TEST_F(ResultParser, AnActionWithoutPriorityHasNone) {
  const auto messages = parse_content(
      "<diagnostictest name='t'><result><action priority='1'>A</action><action>B</action></result>"
      "</diagnostictest>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_THAT(actions(messages[0]), ElementsAre("1.A", ".B"));
}

TEST_F(ResultParser, AnElementWithoutTextRepeatsTheTextBefore) {
  const auto messages = parse_content(
      "<diagnostictest name='t'><result><errorcode>E</errorcode><msg></msg><msg/><msg> </msg>"
      "<action priority='1'/></result></diagnostictest>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_THAT(messages[0].fMessages, ElementsAre("E", "E", "E"));
  EXPECT_THAT(actions(messages[0]), ElementsAre("1.E"));
}

TEST_F(ResultParser, WithoutAnyTextBeforeAnElementIsEmpty) {
  const auto messages =
      parse_content("<diagnostictest name='t'><result><msg/></result></diagnostictest>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_THAT(messages[0].fMessages, ElementsAre(""));
}

TEST_F(ResultParser, OnlyTheLastRunBeforeAnEndTagCounts) {
  start("diagnostictest", {{"name", "t"}});
  parser_.characters("first", 5);
  parser_.characters("second and more", 6);  // the length is not looked at
  parser_.EndElement("msg");
  parser_.EndElement("result");
  EXPECT_THAT(parser_.getResultMsgs().find("t")->second.fMessages, ElementsAre("second and more"));
}

TEST_F(ResultParser, NestingIsNotTracked) {
  const auto messages = parse_content(
      "<diagnostictest name='t'><msg>M</msg><errorcode>E</errorcode><result state='s'/>"
      "</diagnostictest>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].fErrorCode, "E");
  EXPECT_THAT(messages[0].fMessages, ElementsAre("M"));
}

// What is reported, by the file that gives rise to it.
struct Report {
  const char* name;
  const char* content;
  std::vector<std::string> errors;
};

class ResultParserReports : public ResultParser, public testing::WithParamInterface<Report> {};

TEST_P(ResultParserReports, TellTheErrorsInTheirOrder) {
  Parse(GetParam().content);
  EXPECT_THAT(errors(), testing::ElementsAreArray(GetParam().errors));
}

const std::string kNoVersion = "No Version Specified for DIAGANALYSIS identifier";
const std::string kNoName = "No Name Specified for Object identifier";
const std::string kAttribute = "Unrecognized Attribute.";
const std::string kElement = "Unrecognized identifier";

INSTANTIATE_TEST_SUITE_P(
    Table, ResultParserReports,
    testing::Values(
        Report{"RootWithVersion", "<diaganalysis version=''/>", {}},
        Report{"RootWithoutVersion", "<diaganalysis/>", {kNoVersion}},
        Report{"RootVersionInCapitals", "<diaganalysis Version='1'/>", {kNoVersion}},
        Report{"RootOtherAttributes", "<diaganalysis a='1' version='1' z='2'/>", {}},
        Report{"TestWithoutName", "<diagnostictest/>", {kNoName}},
        Report{"TestWithEmptyName", "<diagnostictest name=''/>", {kNoName}},
        Report{"TestOtherAttributes",
               "<diagnostictest a='1' name='t' z='2'/>",
               {kAttribute, kAttribute}},
        Report{"TestOtherAttributesWithoutName", "<diagnostictest a='1'/>", {kAttribute, kNoName}},
        Report{"TestWithoutNameInsideANamedOne",
               "<diagnostictest name='t'><diagnostictest/></diagnostictest>",
               {}},
        Report{
            "ResultOtherAttributes", "<result a='1' state='s' z='2'/>", {kAttribute, kAttribute}},
        Report{"ResultWithoutState", "<result/>", {}},
        Report{"ActionOtherAttributes", "<action a='1' priority='p' z='2'/>", {}},
        Report{"ErrorCodeAttributes", "<errorcode a='1'/>", {}},
        Report{"MessageAttributes", "<msg a='1'/>", {}},
        Report{"UnknownElement", "<other a='1'/>", {kElement, kElement}},
        Report{"SyntaxError", "<msg>\n</action>", {"line 2: mismatched tag"}}),
    [](const auto& report) { return report.param.name; });

TEST_F(ResultParser, AnErrorDoesNotStopTheParse) {
  EXPECT_EQ(Parse("<other><diagnostictest><result/><x/></diagnostictest><result/></other>").size(),
            2u);
}

TEST_F(ResultParser, AFileThatBreaksOffYieldsWhatWasComplete) {
  const Messages messages = Parse(
      "<diaganalysis version='1'><diagnostictest name='t'><result state='1'/>"
      "<result state='2'><msg>M</oops>");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.begin()->second.fState, "1");
}

TEST_F(ResultParser, AFileThatIsNoXmlYieldsNothing) {
  EXPECT_THAT(Parse("no XML"), IsEmpty());
  EXPECT_EQ(errors().size(), 1u);
}

TEST_F(ResultParser, TagsAreTracedAsWrittenAttributesInOrderOfTheirNames) {
  Parse("<DIAGANALYSIS version='V1'><msg z='1' B='Two'></msg></DIAGANALYSIS>");
  EXPECT_THAT(said, ElementsAre("4 ++ ELEMENT: DIAGANALYSIS", "4     version:V1",
                                "4 ++ ELEMENT: msg", "4     B:Two", "4     z:1",
                                "4 -- ELEMENT: msg", "4 -- ELEMENT: DIAGANALYSIS"));
}

TEST_F(ResultParser, TheTraceOfATagComesBeforeItsErrors) {
  Parse("<result a='1'></result>");
  EXPECT_THAT(said, ElementsAre("4 ++ ELEMENT: result", "4     a:1", "0 Unrecognized Attribute.",
                                "4 -- ELEMENT: result"));
}

TEST_F(ResultParser, InstructionsAndNotationsDoNothing) {
  parser_.processingInstruction("target", "data");
  parser_.notationDecl("name", "public", "system");
  EXPECT_THAT(said, IsEmpty());
  EXPECT_THAT(parser_.getResultMsgs(), IsEmpty());
}

TEST_F(ResultParser, AFatalErrorIsHandedOnAtSeverityZero) {
  parser_.FatalError("message");
  EXPECT_THAT(said, ElementsAre("0 message"));
}

TEST_F(ResultParser, ACopyHasNoResults) {
  ASSERT_EQ(parse_content("<diagnostictest name='t'><result/></diagnostictest>").size(), 1u);
  const TDiagnosticResultParser copy(parser_);
  EXPECT_THAT(copy.getResultMsgs(), IsEmpty());
  EXPECT_EQ(parser_.getResultMsgs().size(), 1u);
}

TEST_F(ResultParser, ACopyCarriesTheTextMessageAndActionBeingRead) {
  start("diagnostictest", {{"name", "t"}});
  start("result", {{"state", "s"}});
  parser_.characters("E", 1);
  parser_.EndElement("errorcode");
  parser_.EndElement("msg");
  start("action", {{"priority", "1"}});
  parser_.EndElement("action");
  start("action", {{"priority", "2"}});
  parser_.characters("A", 1);

  TDiagnosticResultParser copy(parser_);
  copy.EndElement("action");
  copy.EndElement("result");
  ASSERT_EQ(copy.getResultMsgs().size(), 1u);
  const auto message = copy.getResultMsgs().find("t")->second;
  EXPECT_EQ(message.fState, "s");
  EXPECT_EQ(message.fErrorCode, "E");
  EXPECT_THAT(message.fMessages, ElementsAre("E"));
  EXPECT_THAT(actions(message), ElementsAre("1.E", "2.A"));
  EXPECT_THAT(parser_.getResultMsgs(), IsEmpty());
}

TEST_F(ResultParser, TheResultsHandedOutAreACopy) {
  parse_content("<diagnostictest name='t'><result/></diagnostictest>");
  parser_.getResultMsgs().clear();
  EXPECT_EQ(parser_.getResultMsgs().size(), 1u);
}

}  // namespace
