// Many clients at once: two that run tests, eight that list jobs and records meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include "tests/scripted/life.h"
#include "tests/scripted/rendering.h"
#include "tests/scripted/stage.h"

namespace scripted {

namespace {

using ::testing::Contains;
using ::testing::ElementsAreArray;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr int kRunners = 2, kRunsEach = 3, kListers = 8;
constexpr char kJobClass[] = "KAVRO_HDDTest_ConcreteJob";
constexpr char kRecordClass[] = "KAVRO_HDDTest_DiagnosticCompletionRecord";
constexpr char kPassedCode[] = "HDST-000: ";

std::string job_name(int number) { return "HDDTest_ConcreteJob00" + std::to_string(number); }

// Counts the listings that were answered, for a thread that waits for more of them.
class Listings {
 public:
  void add() {
    const std::lock_guard guard(lock_);
    ++count_;
    changed_.notify_all();
  }
  // False when they did not come in time.
  bool wait_for(int more) {
    std::unique_lock guard(lock_);
    const int wanted = count_ + more;
    return changed_.wait_for(guard, std::chrono::minutes(2), [&] { return count_ >= wanted; });
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  int count_ = 0;
};

// What a lister saw; it is checked when all have ended.
struct Seen {
  std::vector<std::vector<broker::Instance>> jobs, records;
};

void check_jobs(const Seen& seen) {
  for (const auto& jobs : seen.jobs) {
    ASSERT_LE(jobs.size(), 1u);
    for (const broker::Instance& job : jobs) {
      EXPECT_EQ(job.text("InstanceID").substr(0, 21), "HDDTest_ConcreteJob00");
      EXPECT_EQ(job.text("PercentComplete"), "100");
      EXPECT_EQ(job.text("JobState"), "2");
    }
  }
}

void check_records(const Seen& seen) {
  std::size_t before = 0;
  for (const auto& records : seen.records) {
    EXPECT_GE(records.size(), before) << "records never go away";
    before = records.size();
    for (std::size_t i = 0; i < records.size(); ++i) {
      EXPECT_EQ(records[i].text("InstanceID"), job_name(static_cast<int>(i) + 1));
      EXPECT_EQ(records[i].text("ManagedElementName"), "/dev/sda");
      EXPECT_EQ(records[i].text("CompletionState"), "2");
      EXPECT_EQ(records[i].text("RecordData").substr(0, 10), kPassedCode);
    }
  }
}

// The part of a run that shares the engine's state, in the log of all threads: it begins with the
// first line and ends with the second. No other run's part may begin in between.
void check_runs_do_not_overlap(const std::vector<Event>& events) {
  std::thread::id running;
  int complete = 0;
  for (const Event& event : events) {
    if (event.line == "3 THDDTest::ResetResults -- Entering") {
      EXPECT_EQ(running, std::thread::id()) << "two runs at once";
      running = event.thread;
    } else if (event.line ==
               "3 Exiting KAVRO_HDDTest_DiagnosticCompletionRecord_Provider::BuildRecord") {
      EXPECT_EQ(running, event.thread);
      running = {};
      ++complete;
    } else if (event.line.starts_with("3 THDDTest::SelfTest") || event.line.starts_with("sleep")) {
      EXPECT_EQ(running, event.thread) << event.line;
    }
  }
  EXPECT_EQ(complete, kRunners * kRunsEach);
}

TEST(Concurrency, RunsAreSerialisedAndListingsAnsweredMeanwhile) {
  const Life life = read_life(std::filesystem::path(HDDTEST_LIVES) / "two_at_once.calls", "");
  Stage stage(life);

  Listings listings;
  std::atomic<int> sleeps_without_listings = 0;
  // A run goes on only after clients were answered while it was in progress.
  stage.on_sleep = [&] {
    if (!listings.wait_for(kListers)) ++sleeps_without_listings;
  };

  std::atomic<int> running = kRunners;
  std::mutex lock;
  std::multiset<std::string> jobs;
  std::vector<std::thread> threads;
  for (int i = 0; i < kRunners; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < kRunsEach; ++n) {
        const broker::MethodResult result = stage.run(stage.drive(), kServiceName);
        const broker::Value* job = result.find("Job");
        const std::lock_guard guard(lock);
        jobs.insert(job ? render(*job) : "none");
      }
      --running;
    });
  }
  std::vector<Seen> seen(kListers);
  for (int i = 0; i < kListers; ++i) {
    threads.emplace_back([&, i] {
      while (running > 0) {
        if (i % 2 == 0) {
          seen[i].jobs.push_back(stage.manager().enumerate_instances(kJobClass));
        } else {
          seen[i].records.push_back(stage.manager().enumerate_instances(kRecordClass));
        }
        stage.manager().end_idle();  // the state belongs to the process and survives the providers
        listings.add();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::multiset<std::string> all_jobs;
  for (int number = 1; number <= kRunners * kRunsEach; ++number)
    all_jobs.insert("root/cimv2:" + std::string(kJobClass) + ".InstanceID=\"" + job_name(number) +
                    "\"");
  EXPECT_EQ(jobs, all_jobs);
  EXPECT_EQ(sleeps_without_listings, 0) << "listings waited for the run";

  const std::vector<Event> events = stage.events();
  std::vector<std::string> calls_and_sleeps;
  for (const Event& event : events)
    if (event.line[0] == '$' || event.line.starts_with("sleep"))
      calls_and_sleeps.push_back(event.line);
  EXPECT_THAT(calls_and_sleeps, ElementsAreArray(life.transcript));
  check_runs_do_not_overlap(events);

  for (const Seen& one : seen) {
    check_jobs(one);
    check_records(one);
  }
  EXPECT_THAT(events, Contains(Field(&Event::line, HasSubstr("Record_Provider::~KAVRO"))));
  EXPECT_THAT(stage.manager().enumerate_instances(kRecordClass), SizeIs(kRunners * kRunsEach));
}

}  // namespace

}  // namespace scripted
