#include "engine/test_drive.h"

#include <algorithm>

#include "engine/captured_log.h"
#include "platform/support/osspecific.h"

extern "C" unsigned int sleep(unsigned int seconds) {
  sleeps.push_back(seconds);
  return 0;
}

int NKVRHVX20::TOSSpecific::SpawnProcess(std::string program, std::vector<std::string> arguments,
                                         std::string& output, int timeout_seconds) {
  EXPECT_EQ(output, "") << "not emptied before the call";
  const Answer& answer = answers.at(std::min(calls.size(), answers.size() - 1));
  for (const auto& argument : arguments) program += " " + argument;
  calls.push_back(program + " within " + std::to_string(timeout_seconds));
  output = answer.output;
  return answer.status;
}

std::string log(const std::string& newest, int entries) {
  std::string text = "SMART Self-test log\nRemaining LBA_of_first_error\n";
  for (int i = 1; i <= entries; ++i) text += "# " + std::to_string(i % 10) + newest + "\n";
  return text;
}

std::vector<int> SelfTest::Run(std::vector<Answer> drive) {
  answers = std::move(drive);
  CapturedLog log;
  std::string device = "/dev/sda";
  engine_.SelfTest(device);
  EXPECT_EQ(device, "/dev/sda");
  lines_ = log.take();
  return engine_.fResults;
}

std::vector<int> SelfTest::poll(const std::string& baseline,
                                const std::vector<std::string>& readings) {
  std::vector<Answer> drive = {{0, kEnabled}, {0, baseline}, {0, kStarted}};
  for (const auto& reading : readings) drive.push_back({0, reading});
  return Run(drive);
}

std::vector<std::string> SelfTest::failures() const {
  std::vector<std::string> failures;
  for (const auto& line : lines_) {
    if (line.starts_with("0 ")) failures.push_back(line.substr(2));
  }
  return failures;
}
