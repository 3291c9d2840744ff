#include "cli/near_match.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

const std::vector<std::string> commands = {"drives", "run",    "check",     "serve",
                                           "passwd", "status", "enumerate", "invoke"};

TEST(NearMatch, ForgivesASlipOfAnyKind) {
  EXPECT_EQ(near_match("drvies", commands), "drives");
  EXPECT_EQ(near_match("drive", commands), "drives");
  EXPECT_EQ(near_match("drivess", commands), "drives");
  EXPECT_EQ(near_match("rum", commands), "run");
  EXPECT_EQ(near_match("urn", commands), "run");
  EXPECT_EQ(near_match("passwrod", commands), "passwd");
  EXPECT_EQ(near_match("RUN", commands), "run");
}

TEST(NearMatch, TakesTheBeginningOfOneWordAlone) {
  EXPECT_EQ(near_match("enum", commands), "enumerate");
  EXPECT_EQ(near_match("ch", commands), "check");
  EXPECT_EQ(near_match("s", commands), "") << "serve or status";
  EXPECT_EQ(near_match("st", commands), "status");
}

TEST(NearMatch, GuessesNothingFarAway) {
  for (const char* word : {"", "x", "ls", "/dev/sda", "format", "--help", "--"})
    EXPECT_EQ(near_match(word, commands), "") << word;
  EXPECT_EQ(near_match(std::string(1000, 'r'), commands), "");
  EXPECT_EQ(near_match("run", {}), "");
}

TEST(NearMatch, LooksAtOptionsBehindTheirHyphens) {
  EXPECT_EQ(near_match("--job", {"--jobs", "--force"}), "--jobs");
  EXPECT_EQ(near_match("-jobs", {"--jobs", "--force"}), "--jobs");
  EXPECT_EQ(near_match("--worke", {"--jobs", "--force"}), "");
}

TEST(NearMatch, IsAskedAboutInWords) {
  EXPECT_EQ(near_match_question("drvies", commands), "; did you mean 'drives'?");
  EXPECT_EQ(near_match_question("format", commands), "");
}

}  // namespace
}  // namespace cli
