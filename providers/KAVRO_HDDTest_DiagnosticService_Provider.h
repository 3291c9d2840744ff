#pragma once

#include <string>

#include "model/classes.h"
#include "platform/framework/handler.h"

namespace ovk_cimple {

// Publishes the one service "Hard Drive: Self Test" and runs tests. Stateless: everything that a
// run leaves is in the engine. May be called by any number of threads; runs wait for each other.
class KAVRO_HDDTest_DiagnosticService_Provider {
 public:
  using Class = KAVRO_HDDTest_DiagnosticService;
  using Reference = Property<Ref<Instance>>;

  KAVRO_HDDTest_DiagnosticService_Provider();
  ~KAVRO_HDDTest_DiagnosticService_Provider();

  sint32 load();
  sint32 unload();
  sint32 get_instance(const Class* model, Class*& instance);
  sint32 enum_instances(const Class* model, Enum_Handler<Class>* handler);
  sint32 create_instance(const Class* instance);
  sint32 delete_instance(const Class* instance);
  sint32 modify_instance(const Class* model, const Class* instance);

  sint32 RequestStateChange(const Class* self, const Property<uint16>& RequestedState,
                            Reference& Job, const Property<Datetime>& TimeoutPeriod,
                            Property<uint32>& return_value);
  sint32 StartService(const Class* self, Property<uint32>& return_value);
  sint32 StopService(const Class* self, Property<uint32>& return_value);

  // Tests the drive that ManagedElement refers to and blocks until the test has ended, up to
  // about ten minutes. Answers 0 whatever the outcome, which job and completion record carry;
  // Job stays unset when no test was run. DiagSetting and JobSettings are ignored.
  // Kept on purpose: return_value is never set; a client reads null there and knows of success
  // by the operation's status alone.
  sint32 RunDiagnostic(const Class* self, const Reference& ManagedElement,
                       const Reference& DiagSetting, const Reference& JobSettings, Reference& Job,
                       Property<uint32>& return_value);

  // A new service instance of that name; the caller owns it.
  static Class* BuildService(std::string name);
};

}  // namespace ovk_cimple
