// One provider in its library: its management interfaces (MIs), made with the first request that
// needs one, leased for each call, and ended when nobody needs them.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "broker/provider_library.h"
#include "platform/cmpi/cmpi.h"

namespace broker {

class Core;

enum class InterfaceKind { Instance, Association, Method };  // in the order of cleanup
inline constexpr std::size_t kInterfaceCount = 3;

template <class MI>
inline constexpr InterfaceKind kInterfaceOf = InterfaceKind::Instance;
template <>
inline constexpr InterfaceKind kInterfaceOf<CMPIAssociationMI> = InterfaceKind::Association;
template <>
inline constexpr InterfaceKind kInterfaceOf<CMPIMethodMI> = InterfaceKind::Method;

// How the interfaces of a provider are ended.
enum class Ending {
  Asked,  // one that answers DO_NOT_UNLOAD or NEVER_UNLOAD stays
  Told,   // they end whatever they answer; the next request makes them anew
  Final,  // they end whatever they answer, and no request follows
};

class Provider {
 public:
  Provider(Core& core, std::string name, Library& library)
      : core_(core), name_(std::move(name)), library_(library) {}

  const std::string& name() const { return name_; }
  Library& library() { return library_; }

  // Keeps the provider from being ended while one of its functions runs.
  template <class MI>
  class Lease {
   public:
    Lease(Lease&& other) noexcept
        : provider_(std::exchange(other.provider_, nullptr)), interface_(other.interface_) {}
    ~Lease() {
      if (provider_) provider_->give_back();
    }
    MI* operator->() const { return interface_; }
    MI* get() const { return interface_; }

   private:
    friend class Provider;
    Lease(Provider* provider, MI* interface) : provider_(provider), interface_(interface) {}
    Provider* provider_;
    MI* interface_;
  };

  // The interface, made by the provider's factory if need be. Factories and cleanups of one
  // provider never run at the same time. Throws Error (Failed) when the factory fails; the next
  // request tries it again.
  template <class MI>
  Lease<MI> lease() {
    return Lease<MI>(this, static_cast<MI*>(lease(kInterfaceOf<MI>)));
  }

  // Ends the interfaces for good, also while calls run. False when one wants the library to stay.
  bool end();

  // Ends the interfaces if no call is running and either none ran for idle_time or the oldest
  // interface is older than longest_life. Both times begin anew for interfaces that stay.
  void end_if_due(std::chrono::milliseconds idle_time, std::chrono::milliseconds longest_life,
                  Ending ending);

  // A lock that keeps interfaces from being made. It is not owned when the provider has interfaces,
  // or is starting or ending at the moment.
  std::unique_lock<std::mutex> lock_if_empty();

 private:
  using Clock = std::chrono::steady_clock;

  void* lease(InterfaceKind interface);
  void give_back();
  void* make(InterfaceKind interface);
  CMPIStatus cleanup(std::size_t interface, bool terminating);
  bool end(Ending ending);
  bool empty() const;

  Core& core_;
  const std::string name_;
  Library& library_;
  std::mutex mutex_;
  std::atomic<std::thread::id> busy_{};  // the thread inside a factory or cleanup
  std::size_t leases_ = 0;
  Clock::time_point made_{}, used_{};  // of the oldest interface; end of the last call
  bool ended_ = false;
  std::array<void*, kInterfaceCount> interfaces_{};
  std::array<bool, kInterfaceCount> never_{};  // whether it answered NEVER_UNLOAD
};

}  // namespace broker
