#include "platform/framework/cimom.h"

namespace ovk_cimple {

namespace {
// The innermost scope of this thread. It is a plain pointer, so that nothing needs to be destroyed
// when the thread ends.
thread_local Cimom* current = nullptr;
}  // namespace

CimomScope::CimomScope(Cimom& cimom) : previous_(std::exchange(current, &cimom)) {}

CimomScope::~CimomScope() { current = previous_; }

namespace cimom {

sint32 enum_instances(const char* name_space, const Instance& model,
                      Instance_Enumerator& enumerator) {
  return current ? current->enum_instances(name_space, model, enumerator) : -1;
}

}  // namespace cimom
}  // namespace ovk_cimple
