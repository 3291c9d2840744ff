#include "providers/KAVRO_HDDTest_ConcreteJob_Provider.h"

#include <cstdio>
#include <mutex>

#include "engine/locks.h"
#include "platform/framework/module_unit.h"
#include "platform/framework/provider_status.h"
#include "providers/operation_log.h"

namespace ovk_cimple {

namespace {

using Provider = KAVRO_HDDTest_ConcreteJob_Provider;

constexpr char kProvider[] = "KAVRO_HDDTest_ConcreteJob_Provider";

// Jobs made since the module was loaded. Guarded by the store's lock.
unsigned job_counter = 0;

unsigned next_job_number() {
  const std::lock_guard guard(engine::store_lock());
  return ++job_counter;
}

// Sets the properties that every job has. Each "now" is a reading of the clock of its own.
void describe(KAVRO_HDDTest_ConcreteJob& job) {
  job.Caption = "HDDTest_ConcreteJob";
  job.Description = "HDDTest_ConcreteJob";
  job.ElementName = "KAVRO_HDDTest_DiagnosticService";
  job.InstallDate = Datetime::now();
  job.Name = "KAVRO_HDDTest_DiagnosticService";
  job.OperationalStatus = {8};
  // Kept on purpose: clients read this placeholder, and a status of "Starting", for a job whose
  // run is over.
  job.StatusDescriptions = {"Dummy Starting Value For OperationalStatus"};
  job.JobStatus = "Starting";
  job.TimeSubmitted = Datetime::now();
  job.ScheduledStartTime = Datetime::now();
  job.StartTime = Datetime::now();
  job.ElapsedTime = Datetime::now();  // kept on purpose: a time stamp where an interval is due
  job.JobRunTimes = 1;
  job.RunMonth = 4;
  job.RunDay = 1;
  job.RunDayOfWeek = 0;
  job.RunStartInterval = Datetime::now();  // kept on purpose: as ElapsedTime
  job.LocalOrUtcTime = 1;
  job.UntilTime = Datetime::now();
  job.Notify = "Admin";
  job.Owner = "Admin";
  job.Priority = 0;
  job.DeleteOnCompletion = false;
  job.ErrorCode = 0;
  job.ErrorDescription = "No Errors";
  job.RecoveryAction = 0;
  job.TimeOfLastStateChange = Datetime::now();
  job.TimeBeforeRemoval = Datetime::now();
}

}  // namespace

Provider::KAVRO_HDDTest_ConcreteJob_Provider() { log_answer(kProvider, kProvider, OK); }

sint32 Provider::enum_instances(const Class*, EnumHandler<Class>* handler) {
  // Kept on purpose: the log has this one operation's name with a capital letter.
  log_entering(kProvider, "Enum_instances");
  for (const TConcreteJob& job : THDDTest::GetInstance()->GetConcreteJob())
    handler->handle(EnumJob(job));
  log_exiting(kProvider, "Enum_instances");
  return OK;
}

KAVRO_HDDTest_ConcreteJob* Provider::CreateJob() {
  log_entering(kProvider, "CreateJob");
  Ref<Class> instance = make<Class>();
  char number[16];
  std::snprintf(number, sizeof number, "%03u", next_job_number());
  describe(*instance);
  // Kept on purpose: RunDiagnostic gives its client a job at 0 percent in state "new", though the
  // run is over. An enumeration shows the same job at 100 percent, still in state "new".
  instance->PercentComplete = 0;
  instance->JobState = 2;

  TConcreteJob job;
  job.fInstanceID = std::string("HDDTest_ConcreteJob") + number;
  job.fJobState = 2;
  job.fReserved = 0;
  instance->InstanceID = job.fInstanceID;
  THDDTest::GetInstance()->AddConcreteJob(&job);
  log_exiting(kProvider, "CreateJob");
  return instance.release();
}

KAVRO_HDDTest_ConcreteJob* Provider::EnumJob(TConcreteJob job) {
  log_entering(kProvider, "EnumJob");
  Ref<Class> instance = make<Class>();
  describe(*instance);
  instance->PercentComplete = 100;
  instance->InstanceID = job.fInstanceID;
  instance->JobState = static_cast<uint16>(job.fJobState);
  log_exiting(kProvider, "EnumJob");
  return instance.release();
}

}  // namespace ovk_cimple
