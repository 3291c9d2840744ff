#include "providers/KAVRO_HDDTest_DiagnosticService_Provider.h"

#include <mutex>

#include "engine/HDDTest.h"
#include "model/KAVRO_DiskDrive.h"
#include "platform/framework/module_unit.h"
#include "platform/framework/provider_status.h"
#include "providers/KAVRO_HDDTest_ConcreteJob_Provider.h"
#include "providers/KAVRO_HDDTest_DiagnosticCompletionRecord_Provider.h"
#include "providers/operation_log.h"

namespace ovk_cimple {

namespace {

using Provider = KAVRO_HDDTest_DiagnosticService_Provider;

constexpr char kProvider[] = "KAVRO_HDDTest_DiagnosticService_Provider";
constexpr char kServiceName[] = "Hard Drive: Self Test";

// One test at a time: runs share the engine's results and argument list.
std::mutex run_lock;

// No path of a device is longer. The bound matters because the record keeps whatever name a client
// gives.
constexpr std::size_t kLongestDevice = 4096;

// The device to test, or the empty string when the element is not one that may be tested. The name
// becomes the last argument of a program that runs as root, so that it must not look like an
// option.
std::string device_of(const Instance* element) {
  const auto* drive = cast<KAVRO_DiskDrive>(element);
  if (!drive) return {};
  const std::string& device = drive->DeviceID.value();
  if (device.size() > kLongestDevice || device.starts_with('-')) return {};
  return device;
}

}  // namespace

Provider::KAVRO_HDDTest_DiagnosticService_Provider() { log_answer(kProvider, kProvider, OK); }
Provider::~KAVRO_HDDTest_DiagnosticService_Provider() {
  log_answer(kProvider, "~KAVRO_HDDTest_DiagnosticService_Provider", OK);
}

sint32 Provider::enum_instances(const Class*, EnumHandler<Class>* handler) {
  log_entering(kProvider, "enum_instances");
  handler->handle(BuildService(kServiceName));
  log_exiting(kProvider, "enum_instances");
  return OK;
}

sint32 Provider::RunDiagnostic(const Class* self, const Reference& ManagedElement, const Reference&,
                               const Reference&, Reference& Job, Property<uint32>&) {
  log_entering(kProvider, "RunDiagnostic");
  std::string device = device_of(ManagedElement.value().get());
  if (!self || self->Name.value() != kServiceName) {
    // Kept on purpose: another service's name is answered with success and no job.
  } else if (device.empty()) {
    NKVRHVX20::TRootObject::GetCoreLogger()->Log(
        NKVRHVX20::ILogger::eError,
        "No test was run: ManagedElement is not a KAVRO_DiskDrive with a usable DeviceID");
  } else {
    const std::lock_guard one_run(run_lock);
    THDDTest* const engine = THDDTest::GetInstance();
    engine->ResetResults();
    engine->SelfTest(device);
    const auto job =
        Ref<KAVRO_HDDTest_ConcreteJob>::adopt(KAVRO_HDDTest_ConcreteJob_Provider::CreateJob());
    if (cast<CIM_ConcreteJob>(job.get())) {
      Job = job;
      // Kept on purpose: the instance that comes back is neither used nor released. Each run keeps
      // one allocated.
      KAVRO_HDDTest_DiagnosticCompletionRecord_Provider::BuildRecord(device,
                                                                     job->InstanceID.value());
    }
  }
  log_exiting(kProvider, "RunDiagnostic");
  return OK;
}

KAVRO_HDDTest_DiagnosticService* Provider::BuildService(std::string name) {
  log_entering(kProvider, "BuildService, name=" + name);
  Ref<Class> service = make<Class>();
  service->Caption = name;
  service->Description = "Hard Drive Test";
  service->ElementName = name;
  service->InstallDate = Datetime::now();
  service->Name = name;
  service->OperationalStatus = {2};  // OK
  service->StatusDescriptions = {"Status OK"};
  service->Status = "OK";
  service->EnabledState = 2;               // Enabled
  service->OtherEnabledState = "Enabled";  // kept on purpose, though the state is not "Other"
  service->RequestedState = 5;             // No Change
  service->EnabledDefault = 2;             // Enabled
  service->TimeOfLastStateChange = Datetime(0);
  service->SystemCreationClassName = "KAVRO_ComputerSystem";
  service->SystemName = "";  // kept on purpose: clients know the service by this key
  service->CreationClassName = "KAVRO_HDDTest_DiagnosticService";
  service->PrimaryOwnerName = "KVR";
  service->PrimaryOwnerContact = "KVR";
  service->StartMode = "Automatic";
  service->Started = true;
  log_exiting(kProvider, "BuildService");
  return service.release();
}

}  // namespace ovk_cimple
