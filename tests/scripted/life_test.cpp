#include "tests/scripted/life.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <stdexcept>

namespace scripted {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class LifeFile : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = std::filesystem::temp_directory_path() / "life_test.XXXXXX";
    ASSERT_TRUE(mkdtemp(name.data()));
    folder_ = name;
    std::filesystem::create_directory(folder_ / "common");
    std::ofstream(folder_ / "common/drive") << "set device /dev/sda\n";
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  Life read(const std::string& text, const std::string& case_name = "") {
    std::ofstream(folder_ / "a.life") << text;
    return read_life(folder_ / "a.life", case_name);
  }
  std::string error(const std::string& text, const std::string& case_name = "") {
    try {
      read(text, case_name);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "none";
  }

  std::filesystem::path folder_;
};

TEST_F(LifeFile, TranscriptHoldsLinesInTheirOrderWithoutCommentsAndIndentation) {
  const Life life =
      read("# comment\n\n  > run\n\t3 Text with  two blanks\nsleep 5\n< return 0\n. A = 1\n");
  EXPECT_THAT(life.transcript,
              ElementsAre("> run", "3 Text with  two blanks", "sleep 5", "< return 0", ". A = 1"));
  EXPECT_EQ(life.device, "/dev/sda");
  EXPECT_EQ(life.smartctl, Smartctl::StandIn);
  EXPECT_TRUE(life.has_messages);
  EXPECT_FALSE(life.messages);
}

TEST_F(LifeFile, AnswersBelongToTheCallBefore) {
  const Life life = read(
      "$ smartctl -i ${device}\n= one\\n\n= two\nexit 64\n"
      "$ smartctl -l \"self test\"\nkilled by 9\ntakes 20\n$ smartctl\nhangs\n");
  EXPECT_THAT(life.transcript,
              ElementsAre("$ smartctl -i /dev/sda", "$ smartctl -l self test", "$ smartctl"));
  ASSERT_EQ(life.answers.size(), 3u);
  EXPECT_THAT(life.answers[0].arguments, ElementsAre("-i", "/dev/sda"));
  EXPECT_EQ(life.answers[0].output, "one\ntwo");
  EXPECT_EQ(life.answers[0].exit_status, 64);
  EXPECT_FALSE(life.answers[0].hangs);
  EXPECT_THAT(life.answers[1].arguments, ElementsAre("-l", "self test"));
  EXPECT_EQ(life.answers[1].killed_by, 9);
  EXPECT_EQ(life.answers[1].takes_milliseconds, 20);
  EXPECT_THAT(life.answers[2].arguments, IsEmpty());
  EXPECT_TRUE(life.answers[2].hangs);
}

TEST_F(LifeFile, TextsAreSubstitutedWithTheirArguments) {
  const Life life = read(
      "text entry number\n| # ${number}  done\ntext log entries\n| head\n+ ${entries}\n+ tail\n"
      "3 ${log ${entry \" 1\"}}\nset name entry\n3 ${${name} 2}\n");
  EXPECT_THAT(life.transcript, ElementsAre("3 head\n#  1  done\ntail", "3 # 2  done\n"));
}

TEST_F(LifeFile, LinesOfTextsAreRepeated) {
  EXPECT_THAT(read("text t\nx3 + ab\nx2 | c\n3 ${t}\n").transcript, ElementsAre("3 abababc\nc\n"));
}

TEST_F(LifeFile, SequencesAndRepetitionsArePlayed) {
  const Life life = read(
      "sequence poll log\n3 read ${log}\nrepeat 2\nsleep 5\nend\nend\n"
      "repeat 2\nplay poll \"a b\"\nend\nplay poll c\n");
  EXPECT_THAT(life.transcript, ElementsAre("3 read a b", "sleep 5", "sleep 5", "3 read a b",
                                           "sleep 5", "sleep 5", "3 read c", "sleep 5", "sleep 5"));
}

TEST_F(LifeFile, WhatIsSubstitutedIsNotLookedAtAgain) {
  EXPECT_THAT(
      read("text t\n| \\\\n \\x24{device}\nsequence s a\n3 ${a}\nend\nplay s ${t}\n").transcript,
      ElementsAre("3 \\n ${device}\n"));
}

TEST_F(LifeFile, CasesSetVariables) {
  const std::string text =
      "case one status=1 name=\"a b\"\ncase two status=2 name=\"\"\n3 ${case} ${status} ${name}.\n";
  EXPECT_THAT(read(text, "one").transcript, ElementsAre("3 one 1 a b."));
  EXPECT_THAT(read(text, "two").transcript, ElementsAre("3 two 2 ."));
  EXPECT_THAT(cases_of(folder_ / "a.life"), ElementsAre("one", "two"));
  EXPECT_THAT(error(text, "three"), HasSubstr("no case three"));
  read("3 text\n");
  EXPECT_THAT(cases_of(folder_ / "a.life"), ElementsAre(""));
}

TEST_F(LifeFile, SettingsOfTheMachine) {
  EXPECT_EQ(read("smartctl missing\n").smartctl, Smartctl::Missing);
  EXPECT_EQ(read("smartctl unstartable\n").smartctl, Smartctl::Unstartable);
  EXPECT_FALSE(read("messages none\n").has_messages);
  EXPECT_EQ(read("text m\n| <a/>\nmessages ${m}\n").messages, "<a/>\n");
  EXPECT_EQ(read("set device \"\"\n").device, "");
}

TEST_F(LifeFile, MistakesAreReportedWithTheirPlace) {
  EXPECT_EQ(error("\n3 a\nnonsense\n"), "a.life:3: \"nonsense\" is no statement");
  EXPECT_EQ(error("3 ${b}\n"), "a.life:1: there is neither a variable nor a text \"b\"");
  EXPECT_EQ(error("3 ${b\n"), "a.life:1: \"}\" is missing");
  EXPECT_EQ(error("3 \\q\n"),
            "a.life:1: a backslash stands before a character that it cannot escape");
  EXPECT_EQ(error("exit 1\n"), "a.life:1: there is no call that this could belong to");
  EXPECT_EQ(error("$ hwinfo\n"), "a.life:1: the program has to be smartctl");
  EXPECT_EQ(error("$ smartctl\nexit x\n"), "a.life:2: \"x\" is no number");
  EXPECT_EQ(error("play s\n"), "a.life:1: there is no sequence \"s\"");
  EXPECT_EQ(error("sequence s a\nend\nplay s\n"), "a.life:3: \"s\" wants 1 arguments");
  EXPECT_EQ(error("sequence s\n3 ${x}\nend\nplay s\n"),
            "a.life:2: there is neither a variable nor a text \"x\"");
  EXPECT_EQ(error("set a \"b\n"), "a.life:1: a quote is missing");
  EXPECT_EQ(error("text t\n| a\ntext t\n"), "a.life:3: \"t\" stands already");
  EXPECT_THAT(error("repeat 2\n3 a\n"), HasSubstr("\"end\" is missing"));
}

TEST(Escape, IsReversible) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(unescape(escape(all)), all);
  EXPECT_EQ(escape("a\\\n\x01\xff"), "a\\\\\\n\\x01\\xff");
  EXPECT_EQ(unescape("\\t\\r\\x41"), "\t\rA");
}

}  // namespace

}  // namespace scripted
