#include <iterator>
#include <tuple>

#include "providers/KAVRO_HDDTest_DiagnosticService_Provider.h"

#include "engine/HDDTest.h"
#include "model/KAVRO_DiskDrive.h"
#include "model/KAVRO_HDDTest_DiagnosticSetting.h"
#include "model/KAVRO_HDDTest_JobSettingData.h"
#include "model/KAVRO_SysBusDevice.h"
#include "providers/KAVRO_HDDTest_ConcreteJob_Provider.h"
#include "providers/KAVRO_HDDTest_DiagnosticCompletionRecord_Provider.h"
#include "providers/provider_test.h"

namespace ovk_cimple {
namespace {

using Provider = KAVRO_HDDTest_DiagnosticService_Provider;
using Service = KAVRO_HDDTest_DiagnosticService;
constexpr char kName[] = "KAVRO_HDDTest_DiagnosticService_Provider";
constexpr char kServiceName[] = "Hard Drive: Self Test";

class DiagnosticService : public ProviderTest {
 protected:
  void SetUp() override {
    ProviderTest::SetUp();
    write_message_file("<diaganalysis version='1'></diaganalysis>");
    // Notes its arguments; SMART is off, which ends a run at once.
    write_smartctl("echo \"$@\" >> calls\necho 'SMART support is: Disabled'\n");
    service_ = make<Service>();
    service_->Name = kServiceName;
  }
  static Ref<Instance> drive(const std::string& device) {
    Ref<KAVRO_DiskDrive> result = make<KAVRO_DiskDrive>();
    result->DeviceID = device;
    return result;
  }
  sint32 run(const Service* self, const Property<Ref<Instance>>& element) {
    job_.set_null();
    return provider_.RunDiagnostic(self, element, {}, {}, job_, return_value_);
  }
  sint32 run(const Service* self, Ref<Instance> element) {
    Property<Ref<Instance>> property;
    property = std::move(element);
    return run(self, property);
  }
  static std::string calls() {
    std::ifstream file("calls");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  Provider provider_;
  Ref<Service> service_;
  Property<Ref<Instance>> job_;
  Property<uint32> return_value_;
};

TEST_F(DiagnosticService, EnumeratesExactlyOneServiceWithTheValuesOfTheTable) {
  take_log();
  const auto services = enumerate<Service>(provider_);
  EXPECT_EQ(take_log(),
            (std::vector<std::string>{
                std::string("3 Entering ") + kName + "::enum_instances",
                std::string("3 Entering ") + kName + "::BuildService, name=" + kServiceName,
                std::string("3 Exiting ") + kName + "::BuildService",
                std::string("3 Exiting ") + kName + "::enum_instances"}));
  ASSERT_EQ(services.size(), 1u);
  const Service& s = *services[0];
  EXPECT_EQ(s.Caption.value(), kServiceName);
  EXPECT_EQ(s.Description.value(), "Hard Drive Test");
  EXPECT_EQ(s.ElementName.value(), kServiceName);
  EXPECT_NEAR(static_cast<double>(s.InstallDate.value().microseconds()),
              static_cast<double>(Datetime::now().microseconds()), 60e6);
  EXPECT_FALSE(s.InstallDate.value().is_interval());
  EXPECT_EQ(s.Name.value(), kServiceName);
  EXPECT_EQ(s.OperationalStatus.value(), Array<uint16>({2}));
  EXPECT_EQ(s.StatusDescriptions.value(), Array<String>({"Status OK"}));
  EXPECT_EQ(s.Status.value(), "OK");
  EXPECT_EQ(s.EnabledState.value(), 2);
  EXPECT_EQ(s.OtherEnabledState.value(), "Enabled");
  EXPECT_EQ(s.RequestedState.value(), 5);
  EXPECT_EQ(s.EnabledDefault.value(), 2);
  EXPECT_EQ(s.TimeOfLastStateChange.value().to_string(), "00000000000000.000000:000");
  EXPECT_EQ(s.SystemCreationClassName.value(), "KAVRO_ComputerSystem");
  EXPECT_FALSE(s.SystemName.null());
  EXPECT_EQ(s.SystemName.value(), "");
  EXPECT_EQ(s.CreationClassName.value(), "KAVRO_HDDTest_DiagnosticService");
  EXPECT_EQ(s.PrimaryOwnerName.value(), "KVR");
  EXPECT_EQ(s.PrimaryOwnerContact.value(), "KVR");
  EXPECT_EQ(s.StartMode.value(), "Automatic");
  EXPECT_TRUE(s.Started.value());
  EXPECT_EQ(properties_set(&s), (std::vector<std::string>{"Caption",
                                                          "Description",
                                                          "ElementName",
                                                          "InstallDate",
                                                          "Name",
                                                          "OperationalStatus",
                                                          "StatusDescriptions",
                                                          "Status",
                                                          "EnabledState",
                                                          "OtherEnabledState",
                                                          "RequestedState",
                                                          "EnabledDefault",
                                                          "TimeOfLastStateChange",
                                                          "SystemCreationClassName",
                                                          "SystemName",
                                                          "CreationClassName",
                                                          "PrimaryOwnerName",
                                                          "PrimaryOwnerContact",
                                                          "StartMode",
                                                          "Started"}));
}

TEST_F(DiagnosticService, RunReturnsZeroAndAJobAndNoReturnValueAlsoWhenTheTestFails) {
  EXPECT_EQ(run(service_.get(), drive("/dev/sdx")), 0);
  EXPECT_EQ(calls(), "-i /dev/sdx\n");
  ASSERT_FALSE(job_.null());
  const auto* made = cast<KAVRO_HDDTest_ConcreteJob>(job_.value().get());
  ASSERT_TRUE(made);
  EXPECT_TRUE(made->InstanceID.value().starts_with("HDDTest_ConcreteJob"));
  EXPECT_TRUE(return_value_.null());
  EXPECT_EQ(THDDTest::GetInstance()->GetResults(), std::vector<int>{HDDIAG_TEST_FAILED});
  const auto records = THDDTest::GetInstance()->GetRecord();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].fDeviceID, "/dev/sdx");
  EXPECT_EQ(records[0].fJobID, made->InstanceID.value());
}

TEST_F(DiagnosticService, SettingsAreIgnored) {
  Property<Ref<Instance>> element, setting, job_settings;
  element = drive("/dev/sdx");
  setting = Ref<Instance>(make<KAVRO_HDDTest_DiagnosticSetting>());
  job_settings = Ref<Instance>(make<KAVRO_HDDTest_JobSettingData>());
  EXPECT_EQ(
      provider_.RunDiagnostic(service_.get(), element, setting, job_settings, job_, return_value_),
      0);
  EXPECT_EQ(calls(), "-i /dev/sdx\n");
  EXPECT_TRUE(cast<KAVRO_HDDTest_ConcreteJob>(job_.value().get()));
  EXPECT_TRUE(return_value_.null());
  EXPECT_TRUE(properties_set(setting.value().get()).empty());
  EXPECT_TRUE(properties_set(job_settings.value().get()).empty());
}

TEST_F(DiagnosticService, ADriveOfASubclassIsTested) {
  MetaClass subclass = KAVRO_DiskDrive::static_meta_class;
  subclass.name = "KAVRO_SolidStateDrive";
  subclass.superclass = &KAVRO_DiskDrive::static_meta_class;
  const auto element = Ref<Instance>::adopt(create(subclass));
  cast<KAVRO_DiskDrive>(element.get())->DeviceID = "/dev/sdy";
  EXPECT_EQ(run(service_.get(), element), 0);
  EXPECT_EQ(calls(), "-i /dev/sdy\n");
  EXPECT_FALSE(job_.null());
}

TEST_F(DiagnosticService, RunLogsItsStepsInOrder) {
  take_log();
  run(service_.get(), drive("/dev/sdx"));
  const auto log = take_log();
  EXPECT_EQ(log.front(), std::string("3 Entering ") + kName + "::RunDiagnostic");
  EXPECT_EQ(log.back(), std::string("3 Exiting ") + kName + "::RunDiagnostic");
  std::vector<std::string> steps;
  for (const std::string& line : log)
    for (const char* step :
         {"ResetResults -- Entering", "SelfTest -- Entering", "::CreateJob", "::BuildRecord"})
      if (line.starts_with("3 Entering") || line.find("-- Entering") != std::string::npos)
        if (line.find(step) != std::string::npos) steps.emplace_back(step);
  EXPECT_EQ(steps, (std::vector<std::string>{"ResetResults -- Entering", "SelfTest -- Entering",
                                             "::CreateJob", "::BuildRecord"}));
}

TEST_F(DiagnosticService, EveryRunStartsFromResetResults) {
  run(service_.get(), drive("/dev/sdx"));
  run(service_.get(), drive("/dev/sdy"));
  EXPECT_EQ(THDDTest::GetInstance()->GetResults().size(), 1u);
  EXPECT_EQ(THDDTest::GetInstance()->GetRecord().size(), 2u);
}

TEST_F(DiagnosticService, AServiceOfAnotherNameRunsNothing) {
  for (const char* other : {"Hard Drive: self test", "Hard Drive: Self Test ", ""}) {
    service_->Name = other;
    EXPECT_EQ(run(service_.get(), drive("/dev/sdx")), 0) << other;
    EXPECT_TRUE(job_.null()) << other;
  }
  service_->Name.set_null();
  EXPECT_EQ(run(service_.get(), drive("/dev/sdx")), 0);
  EXPECT_EQ(run(nullptr, drive("/dev/sdx")), 0);
  EXPECT_TRUE(job_.null());
  const auto earlier = Ref<Instance>(make<KAVRO_HDDTest_ConcreteJob>());
  job_ = earlier;
  Property<Ref<Instance>> element;
  element = drive("/dev/sdx");
  service_->Name = "Another";
  EXPECT_EQ(provider_.RunDiagnostic(service_.get(), element, {}, {}, job_, return_value_), 0);
  EXPECT_FALSE(job_.null());
  EXPECT_EQ(job_.value().get(), earlier.get()) << "left as it was";
  EXPECT_EQ(calls(), "");
  EXPECT_TRUE(THDDTest::GetInstance()->GetConcreteJob().empty());
}

TEST_F(DiagnosticService, AMissingOrWrongElementRunsNothingAndSaysWhy) {
  const std::vector<Property<Ref<Instance>>> elements = [] {
    std::vector<Property<Ref<Instance>>> result(7);  // the first stays null
    result[1] = Ref<Instance>();
    result[2] = Ref<Instance>(make<KAVRO_SysBusDevice>());
    result[3] = Ref<Instance>(make<KAVRO_DiskDrive>());  // no DeviceID
    result[4] = drive("");
    result[5] = drive("-a");
    result[6] = drive(std::string(4097, 'x'));
    return result;
  }();
  for (const auto& element : elements) {
    take_log();
    EXPECT_EQ(run(service_.get(), element), 0);
    EXPECT_TRUE(job_.null());
    EXPECT_THAT(take_log(), testing::Contains(testing::StartsWith("0 No test was run")));
  }
  EXPECT_EQ(calls(), "");
}

TEST_F(DiagnosticService, ADeviceMayHaveANameAsLongAsAnyPath) {
  const std::string longest(4096, 'x');
  EXPECT_EQ(run(service_.get(), drive(longest)), 0);
  EXPECT_FALSE(job_.null());
  EXPECT_EQ(calls(), "-i " + longest + "\n");
}

TEST_F(DiagnosticService, RefusesEverythingElseWithItsFixedCodesAndLogs) {
  const Ref<Service> given = make<Service>();
  for (const Service* self : {static_cast<Service*>(nullptr), given.get()}) {
    Service* found = nullptr;
    take_log();
    const std::vector<std::tuple<std::string, sint32, sint32>> answers = {
        {"load", provider_.load(), 0},
        {"unload", provider_.unload(), 0},
        {"get_instance", provider_.get_instance(self, found), 61},
        {"create_instance", provider_.create_instance(self), 81},
        {"delete_instance", provider_.delete_instance(self), 91},
        {"modify_instance", provider_.modify_instance(self, self), 101},
        {"RequestStateChange",
         provider_.RequestStateChange(self, Property<uint16>(), job_, Property<Datetime>(),
                                      return_value_),
         131},
        {"StartService", provider_.StartService(self, return_value_), 131},
        {"StopService", provider_.StopService(self, return_value_), 131}};
    Lines expected;
    for (const auto& [operation, status, code] : answers) {
      EXPECT_EQ(status, code) << operation;
      expected = joined({expected, trace(kName, operation)});
    }
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(found, nullptr);
  }
  EXPECT_TRUE(job_.null());
  EXPECT_TRUE(return_value_.null());
  { const Provider another; }
  EXPECT_EQ(take_log(), joined({trace(kName, kName), trace(kName, std::string("~") + kName)}));
}

}  // namespace
}  // namespace ovk_cimple
