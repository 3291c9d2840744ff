#include "broker/provider_lease.h"

#include <algorithm>

#include "broker/core.h"
#include "broker/error.h"
#include "broker/marshal.h"

namespace broker {
namespace {

constexpr const char* kFactorySuffix[] = {"_Create_InstanceMI", "_Create_AssociationMI",
                                          "_Create_MethodMI"};
constexpr const char* kKind[] = {"instance", "association", "method"};

std::size_t index_of(InterfaceKind interface) { return static_cast<std::size_t>(interface); }

// cleanup of one kind of interface.
template <class MI>
CMPIStatus cleanup_of(void* interface, const CMPIContext* context, bool terminating) {
  auto* mi = static_cast<MI*>(interface);
  if (!mi->ft->cleanup) return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  return mi->ft->cleanup(mi, context, terminating);
}

// While it lives, busy names the thread that is inside a factory or a cleanup.
class Busy {
 public:
  explicit Busy(std::atomic<std::thread::id>& busy) : busy_(busy) {
    busy_ = std::this_thread::get_id();
  }
  ~Busy() { busy_ = std::thread::id(); }
  Busy(const Busy&) = delete;

 private:
  std::atomic<std::thread::id>& busy_;
};

// All kinds of interface begin with a handle and a table, so that one kind may stand for all.
bool usable(const void* interface) {
  return interface && static_cast<const CMPIInstanceMI*>(interface)->ft;
}

std::string message_of(const CMPIStatus& status) {
  try {
    return text_of(status.msg);
  } catch (const Error&) {
    return "(with a message that is no string of this object manager)";
  }
}

}  // namespace

void* Provider::lease(InterfaceKind interface) {
  // A factory or cleanup that comes back here on its own thread would wait for itself.
  if (busy_.load() == std::this_thread::get_id()) {
    throw Error(Status::Failed, "provider " + name_ + " called itself while starting or ending");
  }
  const std::lock_guard lock(mutex_);
  if (ended_) throw Error(Status::Failed, "the object manager is shutting down");
  void*& slot = interfaces_[index_of(interface)];
  if (!slot) {
    const bool first = empty();
    slot = make(interface);
    if (first) made_ = Clock::now();
  }
  ++leases_;
  return slot;
}

void Provider::give_back() {
  const std::lock_guard lock(mutex_);
  --leases_;
  used_ = Clock::now();
}

void* Provider::make(InterfaceKind interface) {
  using Factory = void* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
  const std::size_t index = index_of(interface);
  const auto factory = reinterpret_cast<Factory>(library_.find(name_ + kFactorySuffix[index]));
  Operation operation(core_, {}, 0);
  CMPIStatus status{CMPI_RC_OK, nullptr};
  void* made = nullptr;
  {
    const Busy busy(busy_);
    made = factory(&core_.tables().broker, operation.context(), &status);
  }
  if (usable(made) && status.rc == CMPI_RC_OK) return made;
  const std::string message = message_of(status);
  throw Error(Status::Failed, "provider " + name_ + " offers no " + kKind[index] + " interface" +
                                  (message.empty() ? "" : ": " + message));
}

CMPIStatus Provider::cleanup(std::size_t index, bool terminating) {
  constexpr CMPIStatus (*kFunctions[])(void*, const CMPIContext*, bool) = {
      cleanup_of<CMPIInstanceMI>, cleanup_of<CMPIAssociationMI>, cleanup_of<CMPIMethodMI>};
  Operation operation(core_, {}, 0);
  const Busy busy(busy_);
  CMPIStatus status = kFunctions[index](interfaces_[index], operation.context(), terminating);
  status.msg = nullptr;  // it is freed with the operation
  return status;
}

bool Provider::empty() const {
  return std::all_of(interfaces_.begin(), interfaces_.end(),
                     [](const void* interface) { return interface == nullptr; });
}

std::unique_lock<std::mutex> Provider::lock_if_empty() {
  std::unique_lock lock(mutex_, std::try_to_lock);
  if (lock && !empty()) lock.unlock();
  return lock;
}

bool Provider::end() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  return end(Ending::Final);
}

void Provider::end_if_due(std::chrono::milliseconds idle_time,
                          std::chrono::milliseconds longest_life, Ending ending) {
  const std::lock_guard lock(mutex_);
  if (leases_ != 0 || empty()) return;
  const Clock::time_point now = Clock::now();
  if (now - used_ < idle_time && now - made_ < longest_life) return;
  made_ = now;
  used_ = now;
  end(ending);
}

bool Provider::end(Ending ending) {
  const bool terminating = ending != Ending::Asked;
  bool all = true;
  for (std::size_t i = 0; i < kInterfaceCount; ++i) {
    if (!interfaces_[i]) continue;
    if (never_[i] && !terminating) {
      all = false;
      continue;
    }
    const CMPIrc answer = cleanup(i, terminating).rc;
    never_[i] = answer == CMPI_RC_NEVER_UNLOAD;
    const bool stays = answer == CMPI_RC_NEVER_UNLOAD || answer == CMPI_RC_DO_NOT_UNLOAD;
    if (stays) all = false;
    if (!stays || terminating) interfaces_[i] = nullptr;
  }
  return all;
}

}  // namespace broker
