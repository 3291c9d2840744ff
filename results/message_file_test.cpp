#include "results/message_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>

namespace results {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kGood =
    "<diaganalysis version='1'>\n"
    "<diagnostictest name='Hard Drive: Self Test'>\n"
    "<result state='passed'><errorcode>A</errorcode><msg>M</msg></result>\n"
    "<result state='FAILED'><errorcode>B</errorcode><msg>N</msg>\n"
    "<action priority='1'>P</action></result>\n"
    "<result state='aborted'><errorcode>C</errorcode><msg>O</msg></result>\n"
    "</diagnostictest>\n"
    "</diaganalysis>\n";

// The good text with its first such part replaced.
std::string with(const std::string& part, const std::string& by) {
  std::string text = kGood;
  return text.replace(text.find(part), part.size(), by);
}

TEST(MessageText, OfWhichEveryRecordCanBeMadeHasNoFault) {
  EXPECT_THAT(message_text_faults(kGood), IsEmpty());
  EXPECT_THAT(message_text_faults(with("<diaganalysis", "<!-- a note -->\n<diaganalysis")),
              IsEmpty());
  EXPECT_THAT(message_text_faults(std::string(kGood) + std::string(9, '\0')), IsEmpty())
      << "the module reads up to the first zero too";
}

TEST(MessageText, BrokenXmlIsToldWithItsLineAndWithWhatIsLost) {
  EXPECT_THAT(message_text_faults(with("P</action>", "P</actoin>")),
              ElementsAre("line 5: mismatched tag",
                          "there is no <result state=\"failed\"> of <diagnostictest name=\"Hard "
                          "Drive: Self Test\">",
                          "there is no <result state=\"aborted\"> of <diagnostictest name=\"Hard "
                          "Drive: Self Test\">"));
  EXPECT_EQ(message_text_faults("").front(), "line 1: no element found");
}

TEST(MessageText, WhatTheParserDoesNotKnowIsToldOnceWithLineAndElement) {
  EXPECT_THAT(message_text_faults(with("<msg>N</msg>", "<msg>N</msg><hint>x</hint>")),
              ElementsAre("line 4: <hint>: Unrecognized identifier"));
  EXPECT_THAT(message_text_faults(with("<diaganalysis version='1'>", "<diaganalysis>")),
              ElementsAre("line 1: <diaganalysis>: No Version Specified for DIAGANALYSIS "
                          "identifier"));
  EXPECT_THAT(message_text_faults(with("state='passed'", "state='passed' colour='x'")),
              ElementsAre("line 3: <result>: Unrecognized Attribute."));
}

TEST(MessageText, AnElementWithoutTextIsToldWithItsLine) {
  EXPECT_THAT(message_text_faults(with(">P<", "><")),
              ElementsAre("line 5: <action>: has no text of its own: a record repeats the text "
                          "before it"));
  EXPECT_THAT(message_text_faults(with("<msg>O</msg>", "<MSG> </MSG>")),
              ElementsAre("line 6: <MSG>: has no text of its own: a record repeats the text before "
                          "it"));
}

TEST(MessageText, EveryOutcomeNeedsItsResultWithCodeAndMessage) {
  const std::string test = " of <diagnostictest name=\"Hard Drive: Self Test\">";
  EXPECT_THAT(message_text_faults(with("'passed'", "'pased'")),
              ElementsAre("there is no <result state=\"passed\">" + test));
  EXPECT_THAT(message_text_faults(with("<errorcode>B</errorcode>", "")),
              ElementsAre("<result state=\"failed\">" + test + " has no <errorcode>"));
  EXPECT_THAT(message_text_faults(with("<msg>O</msg>", "")),
              ElementsAre("<result state=\"aborted\">" + test + " has no <msg>"));
  EXPECT_EQ(message_text_faults(with("Self Test", "Other Test")).size(), 3u);
}

TEST(MessageFile, IsReadOrItIsSaidWhyNot) {
  std::string name = fs::temp_directory_path() / "hddtest_messages.XXXXXX";
  const fs::path folder = mkdtemp(name.data());
  std::ofstream(folder / "good") << kGood;
  std::ofstream(folder / "long") << kGood << std::string(16 << 20, ' ');
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_THAT(message_file_faults(folder / "good"), IsEmpty());
  EXPECT_EQ(message_file_faults(folder / "long").front(), "line 1: document larger than 16 MiB");
  EXPECT_THAT(message_file_faults(folder / "pipe"), ElementsAre("not a regular file"));
  EXPECT_THAT(message_file_faults(folder), ElementsAre("not a regular file"));
  EXPECT_THAT(message_file_faults(folder / "none"), ElementsAre("No such file or directory"));
  fs::remove_all(folder);
}

}  // namespace
}  // namespace results
