#pragma once

#include <string>

#include "model/KAVRO_HDDTest_DiagnosticService.h"
#include "platform/framework/handler.h"
#include "providers/logged_refusals.h"

namespace ovk_cimple {

// Publishes the one service "Hard Drive: Self Test" and runs tests. Stateless: everything that a
// run leaves is in the engine. May be called by any number of threads; runs wait for each other.
class KAVRO_HDDTest_DiagnosticService_Provider
    : public LoggedRefusals<KAVRO_HDDTest_DiagnosticService> {
 public:
  using Class = KAVRO_HDDTest_DiagnosticService;
  using Reference = Property<Ref<Instance>>;

  KAVRO_HDDTest_DiagnosticService_Provider();
  ~KAVRO_HDDTest_DiagnosticService_Provider();

  sint32 enum_instances(const Class* model, EnumHandler<Class>* handler);

  static constexpr LoggedMethod<Class> RequestStateChange{"RequestStateChange"};
  static constexpr LoggedMethod<Class> StartService{"StartService"};
  static constexpr LoggedMethod<Class> StopService{"StopService"};

  // Tests the drive that ManagedElement refers to and blocks until the test has ended, up to
  // about ten minutes. Answers 0 whatever the outcome is: the completion record tells the outcome.
  // Job stays unset when no test was run. DiagSetting and JobSettings are ignored.
  // Kept on purpose: return_value is never set. A client reads null there, and sees from the
  // operation's status alone that it succeeded.
  sint32 RunDiagnostic(const Class* self, const Reference& ManagedElement,
                       const Reference& DiagSetting, const Reference& JobSettings, Reference& Job,
                       Property<uint32>& return_value);

  // A new service instance of that name; the caller owns it.
  static Class* BuildService(std::string name);
};

}  // namespace ovk_cimple
