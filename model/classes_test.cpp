#include "model/classes.h"

#include <gmock/gmock.h>

#include <iterator>
#include <set>
#include <sstream>
#include <type_traits>
#include <vector>

#include "model/contract.h"
#include "platform/words.h"

namespace ovk_cimple {
namespace {

using testing::ElementsAre;

std::vector<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::vector<std::string> names(const MetaClass& meta, bool keys_only = false) {
  std::vector<std::string> result;
  for (const MetaProperty& property : meta.properties)
    if (property.key || !keys_only) result.push_back(property.name);
  return result;
}

std::vector<std::string> method_names(const MetaClass& meta) {
  std::vector<std::string> result;
  for (const MetaClass* method : meta.methods) result.push_back(method->name);
  return result;
}

// The row of contract.def that a class would have.
std::string row_of(const MetaClass& meta) {
  const auto text = [](const std::vector<std::string>& words) {
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
    return '"' + joined + '"';
  };
  return std::string(meta.association ? "ASSOCIATION(" : "INSTANCE(") + meta.name + ", " +
         (meta.superclass ? meta.superclass->name : "") + ", Inert, " +
         std::to_string(meta.properties.size()) + ", " + text(names(meta, true)) + ", " +
         text(method_names(meta)) + ')';
}

TEST(Classes, ThoseOfOursAreTheContracts) {
  std::set<std::string> found, in_contract;
  std::string rows;
  for (const MetaClass* meta : kavro_repository.classes) {
    if (!std::string_view(meta->name).starts_with("KAVRO_")) continue;
    found.insert(meta->name);
    if (!contract::find(meta->name)) rows += row_of(*meta) + '\n';
  }
  for (const contract::Class& row : contract::kClasses) in_contract.insert(row.name);
  EXPECT_EQ(contract::difference(found, in_contract), "")
      << "A new class needs its row in model/contract.def:\n"
      << rows;
}

TEST(Classes, ThoseOfTheContractHaveTheirKeysMethodsAndNumberOfProperties) {
  for (const contract::Class& row : contract::kClasses) {
    SCOPED_TRACE(row.name);
    const MetaClass* meta = kavro_repository.find(row.name);
    ASSERT_NE(meta, nullptr);
    EXPECT_STREQ(meta->name, row.name);
    EXPECT_EQ(meta->superclass, kavro_repository.find(row.superclass));
    EXPECT_EQ(meta->association, row.association);
    EXPECT_FALSE(meta->abstract);
    EXPECT_EQ(meta->properties.size(), row.properties);
    EXPECT_EQ(names(*meta, true), words(row.keys));
    EXPECT_EQ(method_names(*meta), words(row.methods));
  }
}

TEST(Classes, SuperclassesComeFirstAndShareTheRepository) {
  std::vector<const MetaClass*> seen = {nullptr};
  for (const MetaClass* meta : kavro_repository.classes) {
    EXPECT_THAT(seen, testing::Contains(meta->superclass)) << meta->name;
    EXPECT_EQ(meta->repository, &kavro_repository) << meta->name;
    seen.push_back(meta);
  }
}

// A program that refers to a meta-class may hold a copy of it; the library has to mean the same.
TEST(Classes, ThereIsOneRecordOfAClass) {
  EXPECT_EQ(kavro_repository.find("kavro_diskdrive"), &KAVRO_DiskDrive::static_meta_class);
  EXPECT_EQ(KAVRO_DiskDrive::static_meta_class.superclass, &CIM_DiskDrive::static_meta_class);
}

constexpr auto kElement = "Caption Description ElementName ";
constexpr auto kSystemElement =
    "InstallDate Name OperationalStatus StatusDescriptions Status HealthState ";
constexpr auto kEnabledElement =
    "EnabledState OtherEnabledState RequestedState EnabledDefault TimeOfLastStateChange ";

TEST(PropertyOrder, DiskDriveHasThatOfTheDeclarations) {
  EXPECT_EQ(
      names(KAVRO_DiskDrive::static_meta_class),
      words(std::string(kElement) + kSystemElement + kEnabledElement +
            "SystemCreationClassName SystemName CreationClassName DeviceID "
            "PowerManagementSupported PowerManagementCapabilities Availability StatusInfo "
            "LastErrorCode ErrorDescription ErrorCleared OtherIdentifyingInfo PowerOnHours "
            "TotalPowerOnHours IdentifyingDescriptions AdditionalAvailability MaxQuiesceTime "
            "Capabilities CapabilityDescriptions ErrorMethodology CompressionMethod "
            "NumberOfMediaSupported MaxMediaSize DefaultBlockSize MaxBlockSize MinBlockSize "
            "NeedsCleaning MediaIsLocked Security LastCleaned MaxAccessTime UncompressedDataRate "
            "LoadTime UnloadTime MountCount TimeOfLastMount TotalMountTime UnitsDescription "
            "MaxUnitsBeforeCleaning UnitsUsed"));
}

TEST(PropertyOrder, DiagnosticServiceHasItsNameWhereTheBaseIntroducedIt) {
  EXPECT_EQ(names(KAVRO_HDDTest_DiagnosticService::static_meta_class),
            words(std::string(kElement) + kSystemElement + kEnabledElement +
                  "SystemCreationClassName SystemName CreationClassName PrimaryOwnerName "
                  "PrimaryOwnerContact StartMode Started"));
}

TEST(PropertyOrder, ConcreteJobHasThatOfTheDeclarations) {
  EXPECT_EQ(names(KAVRO_HDDTest_ConcreteJob::static_meta_class),
            words(std::string(kElement) + kSystemElement +
                  "JobStatus TimeSubmitted ScheduledStartTime StartTime ElapsedTime JobRunTimes "
                  "RunMonth RunDay RunDayOfWeek RunStartInterval LocalOrUtcTime UntilTime Notify "
                  "Owner Priority PercentComplete DeleteOnCompletion ErrorCode ErrorDescription "
                  "RecoveryAction OtherRecoveryAction InstanceID JobState TimeOfLastStateChange "
                  "TimeBeforeRemoval"));
}

TEST(PropertyOrder, CompletionRecordHasThatOfTheDeclarations) {
  EXPECT_EQ(names(KAVRO_HDDTest_DiagnosticCompletionRecord::static_meta_class),
            words(std::string(kElement) +
                  "RecordFormat RecordData Locale InstanceID ServiceName ManagedElementName "
                  "ExpirationDate RecordType OtherRecordTypeDescription CreationTimeStamp "
                  "ErrorCode ErrorCount LoopsFailed LoopsPassed CompletionState "
                  "OtherCompletionStateDescription"));
}

TEST(PropertyOrder, AvailableDiagnosticServiceHasThatOfTheDeclarations) {
  EXPECT_THAT(names(KAVRO_HDDTest_AvailableDiagnosticService::static_meta_class),
              ElementsAre("ServiceProvided", "UserOfService", "EstimatedDurationOfService",
                          "EstimatedDurationQualifier"));
}

TEST(Properties, OverridingReferencesNameTheNarrowerClass) {
  const auto target = [](const MetaClass& meta, const char* name) {
    return find_property(meta, name)->reference_class;
  };
  using Available = KAVRO_HDDTest_AvailableDiagnosticService;
  EXPECT_EQ(target(Available::static_meta_class, "ServiceProvided"),
            &CIM_DiagnosticService::static_meta_class);
  EXPECT_EQ(target(Available::static_meta_class, "UserOfService"),
            &CIM_ManagedElement::static_meta_class);
  EXPECT_EQ(target(CIM_ServiceAvailableToElement::static_meta_class, "ServiceProvided"),
            &CIM_Service::static_meta_class);
  EXPECT_EQ(target(KAVRO_HDDTest_UseOfLog::static_meta_class, "Antecedent"),
            &CIM_Log::static_meta_class);
  EXPECT_EQ(target(KAVRO_HDDTest_UseOfLog::static_meta_class, "RecordedData"), nullptr);
}

// Sets each property of each class and method record alone: a wrong type, offset or default would
// show in another one, or to the sanitizers.
TEST(Properties, EachIsAMemberOfItsOwn) {
  std::vector<const MetaClass*> all(kavro_repository.classes.begin(),
                                    kavro_repository.classes.end());
  for (const MetaClass* meta : kavro_repository.classes)
    all.insert(all.end(), meta->methods.begin(), meta->methods.end());

  for (const MetaClass* meta : all) {
    for (const MetaProperty& one : meta->properties) {
      const auto instance = Ref<>::adopt(create(*meta));
      EXPECT_EQ(instance->meta_class, meta);
      visit(instance.get(), one, [](auto& property) {
        property = typename std::remove_reference_t<decltype(property)>::Value();
      });
      for (const MetaProperty& other : meta->properties)
        EXPECT_EQ(visit(instance.get(), other, [](auto& property) { return property.null(); }),
                  &other != &one)
            << meta->name << ": " << one.name << " and " << other.name;
    }
  }
}

TEST(Properties, TablesLeadToTheMembersOfTheStruct) {
  const auto drive = make<KAVRO_DiskDrive>();
  const auto place = [&](const char* name) {
    return reinterpret_cast<char*>(static_cast<Instance*>(drive.get())) +
           find_property(KAVRO_DiskDrive::static_meta_class, name)->offset;
  };
  EXPECT_EQ(static_cast<void*>(place("Caption")), &drive->Caption);
  EXPECT_EQ(static_cast<void*>(place("Name")), &drive->Name);
  EXPECT_EQ(static_cast<void*>(place("OtherIdentifyingInfo")), &drive->OtherIdentifyingInfo);
  EXPECT_EQ(static_cast<void*>(place("UnitsUsed")), &drive->UnitsUsed);
}

TEST(Defaults, AreSetWhenAskedFor) {
  const auto job = make<KAVRO_HDDTest_ConcreteJob>(true);
  EXPECT_EQ(job->JobRunTimes.value(), 1u);
  EXPECT_EQ(job->TimeBeforeRemoval.value().to_string(), "00000000000500.000000:000");
  EXPECT_TRUE(job->InstanceID.null());

  const auto drive = make<KAVRO_DiskDrive>(true);
  EXPECT_EQ(drive->EnabledState.value(), 5);
  EXPECT_EQ(drive->RequestedState.value(), 12);
  EXPECT_EQ(drive->EnabledDefault.value(), 2);

  EXPECT_EQ(make<KAVRO_HDDTest_DiagnosticServiceCapabilities>(true)->SupportedTestWarnings.value(),
            3);
  EXPECT_TRUE(make<KAVRO_DiskDrive>()->EnabledState.null());
}

TEST(Instances, ACloneIsOfTheSameClassAndSharesWhatItRefersTo) {
  const auto available = make<KAVRO_HDDTest_AvailableDiagnosticService>();
  available->ServiceProvided = make<KAVRO_HDDTest_DiagnosticService>();
  available->EstimatedDurationOfService = 3;
  const auto copy = Ref<>::adopt(clone(available.get()));
  available->EstimatedDurationOfService = 4;
  auto* typed = cast<KAVRO_HDDTest_AvailableDiagnosticService>(copy.get());
  ASSERT_NE(typed, nullptr);
  EXPECT_EQ(typed->EstimatedDurationOfService.value(), 3);
  EXPECT_EQ(typed->ServiceProvided.value().get(), available->ServiceProvided.value().get());
  EXPECT_TRUE(typed->UserOfService.null());
}

TEST(Instances, CastFollowsTheSuperclasses) {
  const auto drive = Ref<>::adopt(create(KAVRO_DiskDrive::static_meta_class));
  EXPECT_EQ(cast<KAVRO_DiskDrive>(drive.get()), drive.get());
  EXPECT_EQ(cast<CIM_MediaAccessDevice>(drive.get()), drive.get());
  EXPECT_EQ(cast<CIM_ManagedElement>(drive.get()), drive.get());
  EXPECT_EQ(cast<KAVRO_SysBusDevice>(drive.get()), nullptr);
  const auto element_only = Ref<>::adopt(create(CIM_ManagedElement::static_meta_class));
  EXPECT_EQ(cast<KAVRO_DiskDrive>(element_only.get()), nullptr);
}

TEST(Methods, AClassKeepsTheRecordOfTheClassThatDeclaredTheMethodLast) {
  EXPECT_EQ(find_method(KAVRO_DiskDrive::static_meta_class, "Reset"),
            &CIM_LogicalDevice_Reset_method::static_meta_class);
  EXPECT_EQ(find_method(CIM_DiagnosticService::static_meta_class, "RunDiagnostic"),
            &CIM_DiagnosticService_RunDiagnostic_method::static_meta_class);
  EXPECT_EQ(find_method(KAVRO_HDDTest_DiagnosticService::static_meta_class, "RunDiagnostic"),
            &KAVRO_HDDTest_DiagnosticService_RunDiagnostic_method::static_meta_class);
}

using Service = KAVRO_HDDTest_DiagnosticService;
using RunRecord = KAVRO_HDDTest_DiagnosticService_RunDiagnostic_method;

struct RecordingProvider {
  std::string called;
  const Service* self = nullptr;
  std::vector<const void*> arguments;

  template <class... Arguments>
  sint32 take(const char* name, const Service* target, const Arguments&... rest) {
    called = name;
    self = target;
    arguments = {&rest...};
    return 7;
  }
  sint32 RequestStateChange(const Service* target, const Property<uint16>& state,
                            Property<Ref<Instance>>& job, const Property<Datetime>& period,
                            Property<uint32>& result) {
    return take("RequestStateChange", target, state, job, period, result);
  }
  sint32 StartService(const Service* target, Property<uint32>& result) {
    return take("StartService", target, result);
  }
  sint32 StopService(const Service* target, Property<uint32>& result) {
    return take("StopService", target, result);
  }
  sint32 RunDiagnostic(const Service* target, const Property<Ref<Instance>>& managed_element,
                       const Property<Ref<Instance>>& setting,
                       const Property<Ref<Instance>>& job_settings, Property<Ref<Instance>>& job,
                       Property<uint32>& result) {
    return take("RunDiagnostic", target, managed_element, setting, job_settings, job, result);
  }
};

TEST(Invoke, PassesTheTargetTheParametersAndTheReturnValue) {
  RecordingProvider provider;
  const auto service = make<Service>();
  const auto record = make<RunRecord>();
  EXPECT_EQ(Service::invoke(provider, service.get(), record.get()), 7);
  EXPECT_EQ(provider.called, "RunDiagnostic");
  EXPECT_EQ(provider.self, service.get());
  EXPECT_THAT(provider.arguments,
              ElementsAre(&record->ManagedElement, &record->DiagSetting, &record->JobSettings,
                          &record->Job, &record->return_value));
}

TEST(Invoke, ReachesEveryMethodByItsNameInAnyCase) {
  RecordingProvider provider;
  for (const MetaClass* method : Service::static_meta_class.methods) {
    const std::string name = platform::lower(method->name);
    MetaClass in_lower_case = *method;
    in_lower_case.name = name.c_str();
    const auto record = Ref<>::adopt(create(in_lower_case));
    EXPECT_EQ(Service::invoke(provider, nullptr, record.get()), 7);
    EXPECT_EQ(provider.called, method->name);
    EXPECT_EQ(provider.arguments.size(), method->properties.size());
  }
}

TEST(Invoke, KnowsNoOtherMethod) {
  RecordingProvider provider;
  const auto record = make<CIM_LogicalDevice_Reset_method>();
  EXPECT_EQ(Service::invoke(provider, nullptr, record.get()), UnknownOperation);
  EXPECT_EQ(KAVRO_HDDTest_UseOfLog::invoke(provider, nullptr, record.get()), UnknownOperation);
  EXPECT_EQ(provider.called, "");
}

}  // namespace
}  // namespace ovk_cimple
