// What it costs to read a full self-test log, with logging cut off: the outcome of its newest
// entry and the number of its entries, against a search by memmem through the same bytes for a text
// that is not in them.
#include <benchmark/benchmark.h>
#include <string.h>

#include <initializer_list>

#include "bench/workspace.h"
#include "engine/HDDTest.h"

namespace {

const std::string& log_text() {
  static const auto& text = *new std::string([] {
    std::string log =
        "smartctl 7.3 2022-02-28 r5338 [x86_64-linux-6.1.0] (local build)\n"
        "Copyright (C) 2002-22, Bruce Allen, Christian Franke, www.smartmontools.org\n\n"
        "=== START OF READ SMART DATA SECTION ===\n"
        "SMART Self-test log structure revision number 1\n"
        "Num  Test_Description    Status                  Remaining  LifeTime(hours)  "
        "LBA_of_first_error\n";
    for (int number = 1; number <= 21; ++number) {
      const std::string digits = std::to_string(number);
      log += (number < 10 ? "# " : "#") + digits +
             "  Short offline       Completed without error       00%      " +
             std::to_string(9000 - 24 * number) + "         -\n";
    }
    return log + "\n";
  }());
  return text;
}

THDDTest& engine_of_all() { return *THDDTest::GetInstance(); }

bool outcome() {
  HDDIAG_TEST_STATUS status = HDDIAG_TEST_FAILED;
  engine_of_all().GetLatestSelfTestStatus(log_text(), status);
  return status == HDDIAG_TEST_PASSED;
}

bool count() { return engine_of_all().CountLogNumer(log_text()) == 21; }

bool search() {
  static constexpr char kMissing[] = "Self-test routine in progress";
  const std::string& text = log_text();
  return memmem(text.data(), text.size(), kMissing, sizeof kMissing - 1) == nullptr;
}

void measure(benchmark::State& state, std::initializer_list<bool (*)()> parts) {
  while (state.KeepRunning())
    for (const auto part : parts)
      if (!part()) state.SkipWithError("the log was read wrongly");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(log_text().size()));
}

BENCHMARK_CAPTURE(measure, outcome, {outcome})->Name("outcome");
BENCHMARK_CAPTURE(measure, count, {count})->Name("count");
BENCHMARK_CAPTURE(measure, all, {outcome, count})->Name("all");
BENCHMARK_CAPTURE(measure, memmem, {search})->Name("memmem");

}  // namespace

int main(int count, char** words) {
  setenv("HVX_LOG_LEVEL", "-1", 1);
  const bench::Workspace workspace;
  benchmark::Initialize(&count, words);
  benchmark::RunSpecifiedBenchmarks();
}
