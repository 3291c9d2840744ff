// A drive for tests of self-tests that is a list of answers: SpawnProcess and sleep of
// test_drive.cpp take the place of the library's.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/HDDTest.h"

struct Answer {
  int status;
  std::string output;
};

inline std::vector<Answer> answers;  // to the calls of the tool; the last one for all that follow
inline std::vector<std::string> calls;    // of the tool
inline std::vector<unsigned int> sleeps;  // in seconds

inline const std::string kEnabled = "SMART support is: Enabled\n";
inline const std::string kStarted = "Testing has begun.\n";

// A self-test log with this text in each entry.
std::string log(const std::string& newest, int entries = 1);

inline const std::string kOld = log(" Completed without error 1");
inline const std::string kRunning = log(" Self-test routine in progress 90%");
inline const std::string kPassed = log(" Completed without error 2");

class SelfTest : public testing::Test {
 protected:
  void SetUp() override {
    calls.clear();
    sleeps.clear();
  }

  // The results of one run on a drive with these answers, the last of which is repeated.
  std::vector<int> Run(std::vector<Answer> drive);
  // A run whose start went well, with these readings of the log after it.
  std::vector<int> poll(const std::string& baseline, const std::vector<std::string>& readings);
  // Its lines at severity 0.
  std::vector<std::string> failures() const;

  THDDTest engine_;
  std::vector<std::string> lines_;
};
