#include "engine/self_test_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>

#include "engine/captured_log.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kHeading =
    "smartctl 7.3 2022-02-28 r5338\n\n"
    "=== START OF READ SMART DATA SECTION ===\n"
    "SMART Self-test log structure revision number 1\n"
    "Num  Test_Description    Status                  Remaining  LifeTime(hours)  "
    "LBA_of_first_error\n";

std::string entry(int number, const std::string& status, int hours = 120) {
  return (number < 10 ? "# " : "#") + std::to_string(number) + "  Short offline       " + status +
         "       00%       " + std::to_string(hours) + "         -\n";
}

// A log of so many entries of one status and, unless told otherwise, one time.
std::string log(int entries, const std::string& heading = kHeading) {
  std::string text = heading;
  for (int i = 1; i <= entries; ++i) text += entry(i, "Completed without error");
  return text;
}

// The outcome of each entry, by what it says.
struct Outcome {
  const char* name;
  const char* entry;
  int status;
};

class EntryOutcome : public testing::TestWithParam<Outcome> {};

TEST_P(EntryOutcome, IsThatOfItsWords) {
  EXPECT_EQ(engine::classify_entry(GetParam().entry), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(
    Table, EntryOutcome,
    testing::Values(
        Outcome{"InProgress", "# 1  Short offline  Self-test routine in progress 90%  1  -", 3},
        Outcome{"InProgressInCapitals", "# 1  SELF-TEST ROUTINE IN PROGRESS", 3},
        Outcome{"InProgressGoesBeforeAborted", "# 1  Aborted in progress", 3},
        Outcome{"InProgressGoesBeforeCompleted", "# 1  Completed without error in progress", 3},
        Outcome{"AbortedByHost", "# 1  Short offline  Aborted by host  60%  1  -", 4},
        Outcome{"AbortedGoesBeforeCompleted", "# 1  Aborted, completed without error", 4},
        Outcome{"AbortedByDeviceReset", "# 1  Background short  Aborted (device reset ?)", 4},
        Outcome{"Interrupted", "# 1  Short offline  Interrupted (host reset)  80%  1  -", 4},
        Outcome{"InterruptedGoesBeforeCompleted", "# 1  Interrupted, completed", 4},
        Outcome{"CompletedWithoutError", "# 1  Short offline  Completed without error  00%", 0},
        Outcome{"CompletedWithoutErrorInCapitals", "# 1  COMPLETED WITHOUT ERROR", 0},
        Outcome{"CompletedWithoutErrorDespiteFail", "# 1  Completed without error, fail", 0},
        Outcome{"CompletedAlone", "# 1  Background short  Completed  -  0  -", 0},
        Outcome{"CompletedHandlingDamage", "# 1  Completed: handling damage??  90%", 0},
        Outcome{"CompletedSegmentFailed", "# 1  Background long  Completed, segment failed", 1},
        Outcome{"CompletedReadFailure", "# 1  Completed: read failure  90%  217  4801", 1},
        Outcome{"CompletedUnknownFailure", "# 1  Completed: unknown failure  90%", 1},
        Outcome{"CompletedWithError", "# 1  Completed with ERROR", 1},
        Outcome{"FatalError", "# 1  Fatal or unknown error  90%", 1},
        Outcome{"FailedInSegment", "# 1  Background long  Failed in segment -->  3", 1},
        Outcome{"UnknownStatus", "# 1  Unknown status (0x7)", 1}, Outcome{"NumberAlone", "# 1", 1},
        Outcome{"HighBytes", "# 1 \xff\x80\xc3", 1}),
    [](const auto& outcome) { return outcome.param.name; });

class SelfTestLog : public testing::Test {
 protected:
  // The status after reading a text; 2, which no text gives, when it was left alone.
  int status(const std::string& text) {
    auto status = static_cast<HDDIAG_TEST_STATUS>(2);
    engine_.GetLatestSelfTestStatus(text, status);
    return status;
  }

  std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> entries = {"from before"};
    engine_.SplitLogEntry(text, entries);
    return entries;
  }

  THDDTest engine_;
  CapturedLog log_;

  void SetUp() override { log_.take(); }
};

TEST_F(SelfTestLog, TheNewestEntryGivesTheStatusWhateverOlderOnesSay) {
  EXPECT_EQ(status(kHeading + entry(1, "Self-test routine in progress") +
                   entry(2, "Completed without error")),
            3);
  EXPECT_EQ(status(kHeading + entry(1, "Completed without error") + entry(2, "Aborted by host")),
            0);
}

TEST_F(SelfTestLog, TheStatusOfASingleEntryReachesToTheEndOfTheText) {
  EXPECT_EQ(status("Self-test log\n# 1 strange\n\ntail: aborted"), 4);
}

TEST_F(SelfTestLog, TheStatusIgnoresWhatStandsBeforeTheLog) {
  EXPECT_EQ(status("# 0 aborted\nSelf-test log\n# 1 completed"), 0);
}

TEST_F(SelfTestLog, ReadingTheStatusWritesTheEntry) {
  EXPECT_EQ(status("Self-test log\n# 1 Completed\n# 2 Aborted\n"), 0);
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::GetLatestSelfTestStatus -- Entering",
                                       "3 Latest log: # 1 Completed\n",
                                       "3 THDDTest::GetLatestSelfTestStatus -- Exiting"));
}

TEST_F(SelfTestLog, WithoutKeywordTheStatusIsLeftAlone) {
  EXPECT_EQ(status("# 1 Completed without error"), 2);
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::GetLatestSelfTestStatus -- Entering",
                                       "3 Can not find keyword (Self-test log)",
                                       "3 THDDTest::GetLatestSelfTestStatus -- Exiting"));
}

TEST_F(SelfTestLog, TheKeywordIsExactSoThatTheExtendedFormHasNone) {
  EXPECT_EQ(status("SMART Extended Self-test Log Version: 1\n# 1 Completed"), 2);
  EXPECT_EQ(status(""), 2);
}

TEST_F(SelfTestLog, ALogWithoutEntriesThrowsAndSaysSo) {
  try {
    status(kHeading + "No self-tests have been logged.  [To run self-tests, use: smartctl -t]\n");
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "the self-test log has no entry");
  }
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::GetLatestSelfTestStatus -- Entering"));
}

TEST_F(SelfTestLog, ALogWithoutEntriesThrowsAlsoWhenAnEntryStandsBeforeIt) {
  EXPECT_THROW(status("# 1 Completed\nSelf-test log\n"), std::out_of_range);
}

TEST_F(SelfTestLog, TheFirstKeywordBeginsTheLog) {
  const std::string text = log(3) + "\nSMART Selective Self-test log data structure\n";
  EXPECT_EQ(status(text), 0);
  EXPECT_EQ(engine_.CountLogNumer(text), 3);
  EXPECT_EQ(split(text).size(), 3u);
}

TEST_F(SelfTestLog, TheNewestEntryEndsAtAMarkThatFollowsAtOnce) {
  EXPECT_EQ(status("Self-test log\n## 1 Completed without error\n"), 1);
  EXPECT_EQ(log_.take()[1], "3 Latest log: #");
}

TEST_F(SelfTestLog, CountsEveryEntryOfALog) {
  EXPECT_EQ(engine_.CountLogNumer(log(21)), 21);
  EXPECT_EQ(engine_.CountLogNumer(log(1)), 1);
  EXPECT_EQ(engine_.CountLogNumer(kHeading), 0);
}

TEST_F(SelfTestLog, CountsNothingBeforeTheKeyword) {
  EXPECT_EQ(engine_.CountLogNumer("#1 # banner\n" + log(3)), 3);
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::CountLogNumer -- Entering",
                                       "3 THDDTest::CountLogNumer -- Exiting"));
}

TEST_F(SelfTestLog, CountsNothingWithoutKeyword) {
  EXPECT_EQ(engine_.CountLogNumer("# 1 Completed"), 0);
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::CountLogNumer -- Entering",
                                       "3 Can not find keyword (Self-test log)",
                                       "3 THDDTest::CountLogNumer -- Exiting"));
}

TEST_F(SelfTestLog, SplitsIntoEntriesWithoutTheirNumbers) {
  EXPECT_THAT(split("# 0\nSelf-test log\n# 1 one\n#10 ten\n# 2 two\ntail"),
              ElementsAre(" one\n", " ten\n", " two\ntail"));
  EXPECT_THAT(log_.take(),
              ElementsAre("3 THDDTest::SplitLogEntry -- Entering", "3 Extract one entry =  one\n",
                          "3 Extract one entry =  ten\n", "3 Extract one entry =  two\ntail",
                          "3 THDDTest::SplitLogEntry -- Exiting"));
}

TEST_F(SelfTestLog, AnEntryOfThreeCharactersIsWrongAndLeftOut) {
  EXPECT_THAT(split("Self-test log# 1# 2+# 3"), ElementsAre("+"));
  EXPECT_THAT(log_.take(),
              ElementsAre("3 THDDTest::SplitLogEntry -- Entering", "3 Wrong format, entry = # 1",
                          "3 Extract one entry = +", "3 Wrong format, entry = # 3",
                          "3 THDDTest::SplitLogEntry -- Exiting"));
}

TEST_F(SelfTestLog, SplittingATextWithoutKeywordEmptiesTheList) {
  EXPECT_THAT(split("# 1 Completed"), IsEmpty());
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::SplitLogEntry -- Entering",
                                       "3 Can not find keyword (Self-test log)",
                                       "3 THDDTest::SplitLogEntry -- Exiting"));
}

TEST_F(SelfTestLog, SplittingALogWithoutEntriesEmptiesTheList) {
  EXPECT_THAT(split(kHeading), IsEmpty());
}

TEST(FindEntry, StepsFromEntryToEntryOneCharacterBack) {
  const std::string text = "ab#c#def";
  const auto first = engine::find_entry(text, 0);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->text, "#c");
  EXPECT_EQ(first->next, 3u);
  const auto second = engine::find_entry(text, first->next);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->text, "#def");
  EXPECT_EQ(second->next, std::string::npos);
  EXPECT_FALSE(engine::find_entry(text, 5));
}

TEST(FindEntry, TwoMarksSideBySideAreFoundForEver) {
  const std::string text = "##";
  std::size_t position = 0;
  for (int step = 0; step < 3; ++step) {
    const auto entry = engine::find_entry(text, position);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->text, "#");
    EXPECT_EQ(entry->next, 0u);
    position = entry->next;
  }
}

// In a child process that ends itself at the thousandth line, or is ended if none comes.
TEST(SplitLogEntryDeathTest, DoesNotEndOnTwoMarksSideBySide) {
  const auto split = [] {
    alarm(60);
    static int wrong = 0;
    NKVRHVX20::set_log_sink(
        [](NKVRHVX20::ILogger::EHVXLogSeverity, const std::string& text, void*) {
          if (text == "Wrong format, entry = #" && ++wrong == 1000) _exit(42);
        },
        nullptr);
    std::vector<std::string> entries;
    THDDTest().SplitLogEntry("Self-test log\n# 1 Completed\n## 2 Completed\n", entries);
  };
  EXPECT_EXIT(split(), testing::ExitedWithCode(42), "");
}

TEST(IsLogFull, At21EntriesForTheTableOfAtaDrives) {
  EXPECT_FALSE(engine::is_log_full("Remaining LBA_of_first_error", 20));
  EXPECT_TRUE(engine::is_log_full("Remaining LBA_of_first_error", 21));
}

TEST(IsLogFull, At20EntriesWithoutOneOfItsColumns) {
  for (const char* text : {"", "Remaining", "LBA_of_first_error", "remaining LBA_of_first_error"}) {
    EXPECT_FALSE(engine::is_log_full(text, 19)) << text;
    EXPECT_TRUE(engine::is_log_full(text, 20)) << text;
  }
}

TEST(AreEntriesSame, WhenEachContainsTheFirst) {
  EXPECT_TRUE(engine::are_entries_same({"a"}));
  EXPECT_TRUE(engine::are_entries_same({"a", "a", "bab"}));
  EXPECT_FALSE(engine::are_entries_same({"bab", "a"}));
  EXPECT_FALSE(engine::are_entries_same({"a", "b"}));
  EXPECT_FALSE(engine::are_entries_same({}));
}

TEST_F(SelfTestLog, TwentyEntriesOfAnAtaDriveAreNotFullAndNotSplit) {
  EXPECT_FALSE(engine_.IsEntryFullAndSame(log(20)));
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::IsEntryFullAndSame -- Entering",
                                       "3 THDDTest::CountLogNumer -- Entering",
                                       "3 THDDTest::CountLogNumer -- Exiting",
                                       "3 THDDTest::IsEntryFullAndSame -- Exiting"));
}

TEST_F(SelfTestLog, TwentyOneLikeEntriesOfAnAtaDriveAreFullAndSame) {
  EXPECT_TRUE(engine_.IsEntryFullAndSame(log(21)));
  const auto lines = log_.take();
  ASSERT_EQ(lines.size(), 2u + 2u + 2u + 21u);
  EXPECT_EQ(lines[3], "3 THDDTest::SplitLogEntry -- Entering");
  EXPECT_EQ(lines[25], "3 THDDTest::SplitLogEntry -- Exiting");
}

TEST_F(SelfTestLog, TwentyLikeEntriesOfAScsiDriveAreFullAndSame) {
  const std::string heading =
      "SMART Self-test log\n"
      "Num  Test              Status     segment  LifeTime  LBA_first_err [SK ASC ASQ]\n";
  EXPECT_FALSE(engine_.IsEntryFullAndSame(log(19, heading)));
  EXPECT_TRUE(engine_.IsEntryFullAndSame(log(20, heading)));
}

TEST_F(SelfTestLog, OneEntryThatDiffersIsEnough) {
  EXPECT_FALSE(engine_.IsEntryFullAndSame(log(20) + entry(21, "Aborted by host")));
  EXPECT_FALSE(engine_.IsEntryFullAndSame(log(20) + entry(21, "Completed without error", 121)));
}

TEST_F(SelfTestLog, WhatFollowsTheLastEntryDoesNotMakeItDiffer) {
  EXPECT_TRUE(engine_.IsEntryFullAndSame(log(21) + "\nSMART Selective self-test log\n"));
}

TEST_F(SelfTestLog, AFullLogWithoutUsableEntriesIsNotTheSame) {
  std::string text = "Self-test log";
  for (int i = 0; i < 21; ++i) text += "# 1";
  EXPECT_FALSE(engine_.IsEntryFullAndSame(text));
}

TEST_F(SelfTestLog, ATextWithoutKeywordIsNotFull) {
  EXPECT_FALSE(engine_.IsEntryFullAndSame(log(30, "")));
  EXPECT_THAT(log_.take(), ElementsAre("3 THDDTest::IsEntryFullAndSame -- Entering",
                                       "3 THDDTest::CountLogNumer -- Entering",
                                       "3 Can not find keyword (Self-test log)",
                                       "3 THDDTest::CountLogNumer -- Exiting",
                                       "3 THDDTest::IsEntryFullAndSame -- Exiting"));
}

}  // namespace
