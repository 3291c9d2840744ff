// One provider of a module behind its management interfaces, and how long it lives.
//
// The first interface makes and loads the provider object; all interfaces share it. When the last
// interface is ended, the object is unloaded and destroyed. If a call is still running then, the
// object stays until the process ends, since an object manager that stops does not wait for its
// requests. AdaptedProvider and ManagementInterface are never freed, so that a late call still
// gets an answer.
#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "platform/cmpi/adapter.h"

namespace ovk_cimple {

class AdaptedProvider;

// A management interface as the object manager holds it. It belongs to the object manager that it
// was made for. Several object managers may have interfaces of one provider.
struct ManagementInterface {
  union {
    CMPIInstanceMI instance;
    CMPIAssociationMI association;
    CMPIMethodMI method;
  } object;
  AdaptedProvider* provider;
  const CMPIBroker* broker;
  char kind;
  bool open;
};

extern const CMPIInstanceMIFT kInstanceFunctions;
extern const CMPIAssociationMIFT kAssociationFunctions;
extern const CMPIMethodMIFT kMethodFunctions;

// Safe to use from any thread.
class AdaptedProvider {
 public:
  // The provider that the static data belongs to. The first call makes it.
  static AdaptedProvider& of(CmpiStaticData& data, const Registration& registration);

  explicit AdaptedProvider(const Registration& registration)
      : registration_(registration), name_(registration.provider_name) {}

  const std::string& name() const { return name_; }
  const MetaClass& meta_class() const { return *registration_.meta_class; }

  // The interface of a kind ('I', 'A' or 'M') for an object manager. A repeated call returns the
  // same one. Makes and loads the provider if need be. Throws Failure.
  ManagementInterface& open(char kind, const CMPIBroker* broker);

  // Ends an interface; ending it again has no effect. Throws what unloading throws.
  void close(ManagementInterface& interface);

  // Keeps the provider object for one call. Throws Failure when it was ended.
  class Lease {
   public:
    explicit Lease(AdaptedProvider& provider);
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    // Performs an operation of the provider with the given arguments from the second on.
    sint32 dispatch(sint32 operation, void* arg1 = nullptr, void* arg2 = nullptr,
                    void* arg3 = nullptr, void* arg4 = nullptr, void* arg5 = nullptr,
                    void* arg6 = nullptr) const;

    // Throws Failure when the provider has been ended meanwhile. Then the object manager is
    // stopping and may have freed the place where results would go.
    void require_not_ended() const;

   private:
    AdaptedProvider& provider_;
    void* object_;
  };

 private:
  sint32 dispatch(sint32 operation, void* arg0) const;
  void start();
  void destroy(void* object) const;

  const Registration& registration_;
  const std::string name_;
  std::mutex mutex_;
  void* object_ = nullptr;
  unsigned calls_ = 0;
  std::vector<void*> left_;  // provider objects whose last call had not returned
  std::deque<ManagementInterface> interfaces_;
};

}  // namespace ovk_cimple
