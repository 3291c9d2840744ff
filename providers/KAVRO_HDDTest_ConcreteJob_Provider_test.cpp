#include <tuple>

#include "providers/KAVRO_HDDTest_ConcreteJob_Provider.h"

#include "providers/provider_test.h"

namespace ovk_cimple {
namespace {

using Provider = KAVRO_HDDTest_ConcreteJob_Provider;
using Job = KAVRO_HDDTest_ConcreteJob;
constexpr char kName[] = "KAVRO_HDDTest_ConcreteJob_Provider";

class ConcreteJob : public ProviderTest {
 protected:
  static Ref<Job> create() { return Ref<Job>::adopt(Provider::CreateJob()); }
  static int number_of(const Job& job) {
    const std::string& id = job.InstanceID.value();
    EXPECT_THAT(id, testing::MatchesRegex("HDDTest_ConcreteJob[0-9][0-9][0-9]+"));
    return std::stoi(id.substr(19));
  }
  Provider provider_;
};

void expect_common_properties(const Job& job) {
  EXPECT_EQ(job.Caption.value(), "HDDTest_ConcreteJob");
  EXPECT_EQ(job.Description.value(), "HDDTest_ConcreteJob");
  EXPECT_EQ(job.ElementName.value(), "KAVRO_HDDTest_DiagnosticService");
  EXPECT_EQ(job.Name.value(), "KAVRO_HDDTest_DiagnosticService");
  EXPECT_EQ(job.OperationalStatus.value(), Array<uint16>({8}));
  EXPECT_EQ(job.StatusDescriptions.value(),
            Array<String>({"Dummy Starting Value For OperationalStatus"}));
  EXPECT_EQ(job.JobStatus.value(), "Starting");
  EXPECT_EQ(job.JobRunTimes.value(), 1u);
  EXPECT_EQ(job.RunMonth.value(), 4);
  EXPECT_EQ(job.RunDay.value(), 1);
  EXPECT_EQ(job.RunDayOfWeek.value(), 0);
  EXPECT_EQ(job.LocalOrUtcTime.value(), 1);
  EXPECT_EQ(job.Notify.value(), "Admin");
  EXPECT_EQ(job.Owner.value(), "Admin");
  EXPECT_EQ(job.Priority.value(), 0u);
  EXPECT_FALSE(job.DeleteOnCompletion.value());
  EXPECT_EQ(job.ErrorCode.value(), 0);
  EXPECT_EQ(job.ErrorDescription.value(), "No Errors");
  EXPECT_EQ(job.RecoveryAction.value(), 0);
  for (const auto* time : {&job.InstallDate, &job.TimeSubmitted, &job.ScheduledStartTime,
                           &job.StartTime, &job.ElapsedTime, &job.RunStartInterval, &job.UntilTime,
                           &job.TimeOfLastStateChange, &job.TimeBeforeRemoval}) {
    EXPECT_FALSE(time->value().is_interval());
    EXPECT_NEAR(static_cast<double>(time->value().microseconds()),
                static_cast<double>(Datetime::now().microseconds()), 60e6);
  }
  EXPECT_EQ(properties_set(&job), (std::vector<std::string>{"Caption",
                                                            "Description",
                                                            "ElementName",
                                                            "InstallDate",
                                                            "Name",
                                                            "OperationalStatus",
                                                            "StatusDescriptions",
                                                            "JobStatus",
                                                            "TimeSubmitted",
                                                            "ScheduledStartTime",
                                                            "StartTime",
                                                            "ElapsedTime",
                                                            "JobRunTimes",
                                                            "RunMonth",
                                                            "RunDay",
                                                            "RunDayOfWeek",
                                                            "RunStartInterval",
                                                            "LocalOrUtcTime",
                                                            "UntilTime",
                                                            "Notify",
                                                            "Owner",
                                                            "Priority",
                                                            "PercentComplete",
                                                            "DeleteOnCompletion",
                                                            "ErrorCode",
                                                            "ErrorDescription",
                                                            "RecoveryAction",
                                                            "InstanceID",
                                                            "JobState",
                                                            "TimeOfLastStateChange",
                                                            "TimeBeforeRemoval"}));
}

TEST_F(ConcreteJob, EnumerationBeforeAnyRunYieldsNothing) {
  THDDTest::GetInstance();
  take_log();
  EXPECT_TRUE(enumerate<Job>(provider_).empty());
  EXPECT_EQ(take_log(), trace(kName, "Enum_instances",
                              engine_trace("THDDTest::GetConcreteJob -- Entering",
                                           "THDDTest::GetConcreteJob -- Exiting")));
}

TEST_F(ConcreteJob, CreateJobAndEnumerationLogEveryStep) {
  THDDTest::GetInstance();
  take_log();
  create();
  EXPECT_EQ(take_log(), trace(kName, "CreateJob",
                              engine_trace("THDDTest::AddConcreteJob -- Entering ",
                                           "THDDTest::AddConcreteJob -- Exiting")));
  enumerate<Job>(provider_);
  EXPECT_EQ(take_log(), trace(kName, "Enum_instances",
                              joined({engine_trace("THDDTest::GetConcreteJob -- Entering",
                                                   "THDDTest::GetConcreteJob -- Exiting"),
                                      trace(kName, "EnumJob")})));
}

TEST_F(ConcreteJob, CreateJobSetsEveryPropertyOfTheTable) {
  const Ref<Job> job = create();
  expect_common_properties(*job);
  EXPECT_EQ(number_of(*create()), number_of(*job) + 1);
  EXPECT_EQ(job->PercentComplete.value(), 0);
  EXPECT_EQ(job->JobState.value(), 2);
}

TEST_F(ConcreteJob, EnumerationAfterTwoRunsYieldsTheSecondJobComplete) {
  create();
  const Ref<Job> second = create();
  const auto jobs = enumerate<Job>(provider_);
  ASSERT_EQ(jobs.size(), 1u);
  expect_common_properties(*jobs[0]);
  EXPECT_EQ(jobs[0]->InstanceID.value(), second->InstanceID.value());
  EXPECT_EQ(jobs[0]->PercentComplete.value(), 100);
  EXPECT_EQ(jobs[0]->JobState.value(), 2);
}

TEST_F(ConcreteJob, EnumJobTakesTheLowSixteenBitsOfTheState) {
  TConcreteJob stored;
  stored.fInstanceID = "some job";
  stored.fJobState = 0x12347;
  const auto job = Ref<Job>::adopt(Provider::EnumJob(stored));
  EXPECT_EQ(job->JobState.value(), 0x2347);
  EXPECT_EQ(job->InstanceID.value(), "some job");
}

TEST_F(ConcreteJob, RefusalsLogAndLeaveTheJobAlone) {
  const Ref<Job> latest = create();
  for (const Job* job : {static_cast<Job*>(nullptr), latest.get()}) {
    Job* found = nullptr;
    Property<uint32> return_value;
    take_log();
    const std::vector<std::tuple<std::string, sint32, sint32>> answers = {
        {"load", provider_.load(), 0},
        {"unload", provider_.unload(), 0},
        {"get_instance", provider_.get_instance(job, found), 61},
        {"create_instance", provider_.create_instance(job), 81},
        {"delete_instance", provider_.delete_instance(job), 91},
        {"modify_instance", provider_.modify_instance(job, job), 101},
        {"KillJob", provider_.KillJob(job, Property<boolean>(), return_value), 131},
        {"RequestStateChange",
         provider_.RequestStateChange(job, Property<uint16>(), Property<Datetime>(), return_value),
         131},
    };
    Lines expected;
    for (const auto& [operation, status, code] : answers) {
      EXPECT_EQ(status, code) << operation;
      expected = joined({expected, trace(kName, operation)});
    }
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(found, nullptr);
    EXPECT_TRUE(return_value.null());
  }
  EXPECT_EQ(enumerate<Job>(provider_)[0]->InstanceID.value(), latest->InstanceID.value());
}

TEST_F(ConcreteJob, ConstructorIsLoggedUnderTheNameOfTheClass) {
  take_log();
  { const Provider another; }
  EXPECT_EQ(take_log(), trace(kName, kName));
}

TEST_F(ConcreteJob, NumbersArePaddedToThreeDigitsAndGrowBeyond) {
  EXPECT_LT(number_of(*create()), 998);
  while (number_of(*create()) < 998) {
  }
  EXPECT_EQ(create()->InstanceID.value(), "HDDTest_ConcreteJob999");
  EXPECT_EQ(create()->InstanceID.value(), "HDDTest_ConcreteJob1000");
}

}  // namespace
}  // namespace ovk_cimple
