#pragma once

#include "engine/HDDTest.h"
#include "model/KAVRO_HDDTest_ConcreteJob.h"
#include "platform/framework/handler.h"
#include "providers/logged_refusals.h"

namespace ovk_cimple {

// Publishes the job of the latest run. A job runs nothing: it is made when the test has ended, and
// the engine keeps it. Stateless but for the job counter; may be called by any number of threads.
class KAVRO_HDDTest_ConcreteJob_Provider : public LoggedRefusals<KAVRO_HDDTest_ConcreteJob> {
 public:
  using Class = KAVRO_HDDTest_ConcreteJob;

  KAVRO_HDDTest_ConcreteJob_Provider();

  sint32 enum_instances(const Class* model, EnumHandler<Class>* handler);
  static constexpr LoggedMethod<Class> KillJob{"KillJob"};
  static constexpr LoggedMethod<Class> RequestStateChange{"RequestStateChange"};

  // Makes the next job, stores it as the engine's latest and returns its instance, which the
  // caller owns.
  static Class* CreateJob();

  // Makes the instance of a stored job, which the caller owns. Its times are those of this call.
  static Class* EnumJob(TConcreteJob job);
};

}  // namespace ovk_cimple
