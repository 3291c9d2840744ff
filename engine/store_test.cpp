#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <type_traits>

#include "engine/HDDTest.h"
#include "engine/captured_log.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Store : public testing::Test {
 protected:
  void TearDown() override {
    if (THDDTest::fgInstance != nullptr) THDDTest::DeleteInstance();
    THDDTest::fgInstance = nullptr;
  }
};

TDiagRecord made_record(const std::string& job) {
  return {job, "text of " + job, "Hard Drive: Self Test", "/dev/" + job, 5};
}

TConcreteJob made_job(const std::string& identifier) { return {identifier, 2, 0}; }

TEST_F(Store, ThereIsNoInstanceBeforeTheFirstGet) { EXPECT_EQ(THDDTest::fgInstance, nullptr); }

TEST_F(Store, GetInstanceAlwaysReturnsTheSame) {
  THDDTest* const instance = THDDTest::GetInstance();
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(THDDTest::GetInstance(), instance);
  EXPECT_EQ(THDDTest::fgInstance, instance);
}

TEST_F(Store, AFreshInstanceIsEmptyAndRunsSmartctl) {
  THDDTest* const instance = THDDTest::GetInstance();
  EXPECT_THAT(instance->GetResults(), IsEmpty());
  EXPECT_THAT(instance->GetRecord(), IsEmpty());
  EXPECT_THAT(instance->GetConcreteJob(), IsEmpty());
  EXPECT_EQ(instance->fToolPath, "smartctl");
  EXPECT_THAT(instance->fToolArgs, IsEmpty());
}

TEST_F(Store, DeleteInstanceLeavesThePointer) {
  THDDTest* const instance = THDDTest::GetInstance();
  THDDTest::DeleteInstance();
  EXPECT_EQ(THDDTest::fgInstance, instance);
  THDDTest::fgInstance = nullptr;
}

TEST_F(Store, DeleteInstanceWithoutInstanceDoesNothing) {
  CapturedLog log;
  THDDTest::DeleteInstance();
  EXPECT_THAT(log.take(), ElementsAre("3 THDDTest::DeleteInstance -- Entering ",
                                      "3 THDDTest::DeleteInstance -- Exiting "));
}

TEST_F(Store, TheLatestJobReplacesTheOneBefore) {
  THDDTest engine;
  TConcreteJob first = made_job("HDDTest_ConcreteJob001"),
               second = made_job("HDDTest_ConcreteJob002");
  second.fReserved = 7;
  engine.AddConcreteJob(&first);
  engine.AddConcreteJob(&second);
  second.fInstanceID = "changed by its owner";
  const auto jobs = engine.GetConcreteJob();
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0].fInstanceID, "HDDTest_ConcreteJob002");
  EXPECT_EQ(jobs[0].fJobState, 2);
  EXPECT_EQ(jobs[0].fReserved, 7);
}

TEST_F(Store, RecordsAreCopiesInTheOrderOfTheirAddition) {
  THDDTest engine;
  for (const char* job : {"sdb", "sda", "sdc"}) {
    TDiagRecord record = made_record(job);
    engine.AddRecord(&record);
    record.fRecordData = "changed by its owner";
  }
  const auto records = engine.GetRecord();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].fJobID, "sdb");
  EXPECT_EQ(records[1].fJobID, "sda");
  EXPECT_EQ(records[2].fJobID, "sdc");
  EXPECT_EQ(records[2].fRecordData, "text of sdc");
  EXPECT_EQ(records[2].fServiceName, "Hard Drive: Self Test");
  EXPECT_EQ(records[2].fDeviceID, "/dev/sdc");
  EXPECT_EQ(records[2].fCompletionState, 5);
}

TEST_F(Store, WhatGettersReturnIsACopy) {
  THDDTest engine;
  TDiagRecord record = made_record("sda");
  TConcreteJob job = made_job("job");
  engine.AddRecord(&record);
  engine.AddConcreteJob(&job);
  engine.fResults = {1};
  engine.GetRecord()[0].fJobID = "changed";
  engine.GetConcreteJob()[0].fInstanceID = "changed";
  engine.GetResults()[0] = 3;
  EXPECT_EQ(engine.GetRecord()[0].fJobID, "sda");
  EXPECT_EQ(engine.GetConcreteJob()[0].fInstanceID, "job");
  EXPECT_THAT(engine.GetResults(), ElementsAre(1));
}

std::vector<std::string> visited_jobs(THDDTest& engine) {
  std::vector<std::string> jobs;
  engine.visit_records([&](const TDiagRecord& record) { jobs.push_back(record.fJobID); });
  return jobs;
}

TEST_F(Store, AVisitorGetsTheRecordsThatThereAreWhenItBegins) {
  THDDTest engine;
  for (const char* job : {"sdb", "sda"}) {
    TDiagRecord record = made_record(job);
    engine.AddRecord(&record);
  }
  std::vector<std::string> texts;
  engine.visit_records([&](TDiagRecord record) {
    texts.push_back(record.fRecordData);
    record.fJobID = "added meanwhile";
    engine.AddRecord(&record);
  });
  EXPECT_THAT(texts, ElementsAre("text of sdb", "text of sda"));
  EXPECT_THAT(visited_jobs(engine),
              ElementsAre("sdb", "sda", "added meanwhile", "added meanwhile"));
}

TEST_F(Store, ResetEmptiesTheResultsOnly) {
  THDDTest engine;
  TDiagRecord record = made_record("sda");
  TConcreteJob job = made_job("job");
  engine.AddRecord(&record);
  engine.AddConcreteJob(&job);
  engine.fResults = {0, 4};
  EXPECT_THAT(engine.GetResults(), ElementsAre(0, 4));
  engine.ResetResults();
  EXPECT_THAT(engine.GetResults(), IsEmpty());
  EXPECT_EQ(engine.GetRecord().size(), 1u);
  EXPECT_EQ(engine.GetConcreteJob().size(), 1u);
}

TEST_F(Store, ANewRecordAndANewJobHaveEmptyTexts) {
  TDiagRecord record;
  EXPECT_EQ(record.fJobID + record.fRecordData + record.fServiceName + record.fDeviceID, "");
  EXPECT_EQ(TConcreteJob().fInstanceID, "");
}

TEST_F(Store, StatusesHaveTheirNumbersIn32Bits) {
  EXPECT_EQ(HDDIAG_TEST_PASSED, 0);
  EXPECT_EQ(HDDIAG_TEST_FAILED, 1);
  EXPECT_EQ(HDDIAG_TEST_IN_PROGRESS, 3);
  EXPECT_EQ(HDDIAG_TEST_ABORTED, 4);
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<HDDIAG_TEST_STATUS>, std::int32_t>));
}

// The lines of each operation, blanks at their ends included.
struct Operation {
  const char* name;
  void (*call)(THDDTest&);
  std::vector<std::string> lines;
};

class StoreLog : public Store, public testing::WithParamInterface<Operation> {};

TEST_P(StoreLog, HoldsTheseLines) {
  THDDTest engine;
  CapturedLog log;
  GetParam().call(engine);
  EXPECT_THAT(log.take(), testing::ElementsAreArray(GetParam().lines));
}

INSTANTIATE_TEST_SUITE_P(
    Of, StoreLog,
    testing::Values(
        Operation{"ConstructorAndDestructor",
                  [](THDDTest&) { THDDTest(); },
                  {"3 THDDTest::THDDTest -- Entering ", "3 THDDTest::THDDTest -- Exiting ",
                   "3 THDDTest::~THDDTest -- Entering ", "3 THDDTest::~THDDTest -- Exiting "}},
        Operation{"FirstGetInstance",
                  [](THDDTest&) { THDDTest::GetInstance(); },
                  {"3 THDDTest::GetInstance -- Entering ", "3 THDDTest::THDDTest -- Entering ",
                   "3 THDDTest::THDDTest -- Exiting ", "3 THDDTest::GetInstance -- Exiting "}},
        Operation{"DeleteInstance",
                  [](THDDTest&) {
                    THDDTest::fgInstance = new THDDTest;
                    THDDTest::DeleteInstance();
                    THDDTest::fgInstance = nullptr;
                  },
                  {"3 THDDTest::THDDTest -- Entering ", "3 THDDTest::THDDTest -- Exiting ",
                   "3 THDDTest::DeleteInstance -- Entering ", "3 THDDTest::~THDDTest -- Entering ",
                   "3 THDDTest::~THDDTest -- Exiting ", "3 THDDTest::DeleteInstance -- Exiting "}},
        Operation{"ResetResults",
                  [](THDDTest& engine) { engine.ResetResults(); },
                  {"3 THDDTest::ResetResults -- Entering", "3 THDDTest::ResetResults -- Exiting"}},
        Operation{"GetResults",
                  [](THDDTest& engine) { engine.GetResults(); },
                  {"3 THDDTest::GetResults -- Entering", "3 THDDTest::GetResults -- Exiting"}},
        Operation{"AddRecord",
                  [](THDDTest& engine) {
                    TDiagRecord added = made_record("sda");
                    engine.AddRecord(&added);
                  },
                  {"3 THDDTest::AddRecord -- Entering", "3 THDDTest::AddRecord -- Exiting"}},
        Operation{"GetRecord",
                  [](THDDTest& engine) { engine.GetRecord(); },
                  {"3 THDDTest::GetRecord -- Entering", "3 HDDTest::GetRecord -- Exiting"}},
        Operation{"VisitRecords",
                  [](THDDTest& engine) { visited_jobs(engine); },
                  {"3 THDDTest::GetRecord -- Entering", "3 HDDTest::GetRecord -- Exiting"}},
        Operation{
            "AddConcreteJob",
            [](THDDTest& engine) {
              TConcreteJob added = made_job("job");
              engine.AddConcreteJob(&added);
            },
            {"3 THDDTest::AddConcreteJob -- Entering ", "3 THDDTest::AddConcreteJob -- Exiting"}},
        Operation{
            "GetConcreteJob",
            [](THDDTest& engine) { engine.GetConcreteJob(); },
            {"3 THDDTest::GetConcreteJob -- Entering", "3 THDDTest::GetConcreteJob -- Exiting"}}),
    [](const auto& operation) { return operation.param.name; });

// A getter of the store, and a log sink that adds to what it gets when it logs its end.
struct Getter {
  const char* name;
  NKVRHVX20::LogSink add_at_exit;
  std::size_t (*count)(THDDTest&);
};

bool is_exit(const std::string& text) { return text.ends_with("-- Exiting"); }

void add_record_at_exit(NKVRHVX20::ILogger::EHVXLogSeverity, const std::string& text,
                        void* engine) {
  if (is_exit(text)) static_cast<THDDTest*>(engine)->fRecords.push_back(made_record("sda"));
}

class StoreGetter : public Store, public testing::WithParamInterface<Getter> {};

TEST_P(StoreGetter, WritesBothLinesBeforeItCopies) {
  THDDTest engine;
  NKVRHVX20::set_log_sink(GetParam().add_at_exit, &engine);
  const std::size_t count = GetParam().count(engine);
  NKVRHVX20::set_log_sink(nullptr, nullptr);
  EXPECT_EQ(count, 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Of, StoreGetter,
    testing::Values(Getter{"GetResults",
                           [](auto, const std::string& text, void* engine) {
                             if (is_exit(text))
                               static_cast<THDDTest*>(engine)->fResults.push_back(1);
                           },
                           [](THDDTest& engine) { return engine.GetResults().size(); }},
                    Getter{"GetRecord", add_record_at_exit,
                           [](THDDTest& engine) { return engine.GetRecord().size(); }},
                    Getter{"VisitRecords", add_record_at_exit,
                           [](THDDTest& engine) { return visited_jobs(engine).size(); }},
                    Getter{"GetConcreteJob",
                           [](auto, const std::string& text, void* engine) {
                             if (is_exit(text))
                               static_cast<THDDTest*>(engine)->fJobs.push_back(made_job("job"));
                           },
                           [](THDDTest& engine) { return engine.GetConcreteJob().size(); }}),
    [](const auto& getter) { return getter.param.name; });

TEST_F(Store, LaterGetInstancesWriteTheirOwnLinesOnly) {
  THDDTest::GetInstance();
  CapturedLog log;
  THDDTest::GetInstance();
  EXPECT_THAT(log.take(), ElementsAre("3 THDDTest::GetInstance -- Entering ",
                                      "3 THDDTest::GetInstance -- Exiting "));
}

TEST_F(Store, ThreadsShareOneInstanceAndLoseNothing) {
  constexpr int kThreads = 4, kRecords = 50;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < kRecords; ++n) {
        TDiagRecord record = made_record("sda");
        TConcreteJob job = made_job("job");
        THDDTest* const engine = THDDTest::GetInstance();
        engine->AddRecord(&record);
        engine->AddConcreteJob(&job);
        EXPECT_FALSE(engine->GetRecord().empty());
        EXPECT_FALSE(visited_jobs(*engine).empty());
        EXPECT_EQ(engine->GetConcreteJob().size(), 1u);
        engine->ResetResults();
        engine->GetResults();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(THDDTest::GetInstance()->GetRecord().size(), std::size_t{kThreads} * kRecords);
}

}  // namespace
