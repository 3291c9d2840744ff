#include "cli/near_match.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

const std::vector<std::string> kCommands = {"drives", "run",    "check",     "serve",
                                            "passwd", "status", "enumerate", "invoke"};

TEST(NearMatch, ForgivesASlipOfAnyKind) {
  EXPECT_EQ(near_match("drvies", kCommands), "drives");
  EXPECT_EQ(near_match("drive", kCommands), "drives");
  EXPECT_EQ(near_match("drivess", kCommands), "drives");
  EXPECT_EQ(near_match("rum", kCommands), "run");
  EXPECT_EQ(near_match("urn", kCommands), "run");
  EXPECT_EQ(near_match("passwrod", kCommands), "passwd");
  EXPECT_EQ(near_match("RUN", kCommands), "run");
}

TEST(NearMatch, TakesTheBeginningOfOneWordAlone) {
  EXPECT_EQ(near_match("enum", kCommands), "enumerate");
  EXPECT_EQ(near_match("ch", kCommands), "check");
  EXPECT_EQ(near_match("s", kCommands), "") << "serve or status";
  EXPECT_EQ(near_match("st", kCommands), "status");
}

TEST(NearMatch, GuessesNothingFarAway) {
  for (const char* word : {"", "x", "ls", "/dev/sda", "format", "--help", "--"})
    EXPECT_EQ(near_match(word, kCommands), "") << word;
  EXPECT_EQ(near_match(std::string(1000, 'r'), kCommands), "");
  EXPECT_EQ(near_match("run", {}), "");
}

TEST(NearMatch, LooksAtOptionsBehindTheirHyphens) {
  EXPECT_EQ(near_match("--job", {"--jobs", "--force"}), "--jobs");
  EXPECT_EQ(near_match("-jobs", {"--jobs", "--force"}), "--jobs");
  EXPECT_EQ(near_match("--worke", {"--jobs", "--force"}), "");
}

TEST(NearMatch, IsAskedAboutInWords) {
  EXPECT_EQ(near_match_question("drvies", kCommands), "; did you mean 'drives'?");
  EXPECT_EQ(near_match_question("format", kCommands), "");
}

}  // namespace
}  // namespace cli
