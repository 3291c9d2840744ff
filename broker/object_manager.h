// The embedded object manager: CIM operations on providers that it loads and reaches through CMPI.
//
//   broker::ObjectManager manager(broker::generated_schema(), options);
//   for (const auto& drive : manager.enumerate_instances("KAVRO_DiskDrive")) ...
//
// Threads: every operation may be called by any number of threads at once; it runs on the
// caller's thread and blocks until the provider has answered, which for a self-test is minutes.
// Providers call back into the manager on the same thread.
//
// Failure: every operation throws Error. Operations with a sink hand over what arrives while the
// provider is still at work, so that an error may follow after items. The forms that return a
// vector return nothing then. What a sink throws ends the operation and reaches the caller.
//
// Providers serve one name space (kServedNameSpace). A path without a name space means it. What the
// manager tells of itself stands in a second one, "interop" (interop.h), if it is to tell.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "broker/error.h"
#include "broker/instance_value.h"
#include "broker/interop.h"
#include "broker/object_path.h"
#include "broker/registration_file.h"
#include "broker/schema.h"
#include "broker/value.h"

namespace broker {

class InteropSpace;  // interop_space.h
struct Tables;       // tables.h

// A method of which one call runs at a time (turns.h): calls that come from outside wait for their
// turn before the provider is asked, first come, first served. A call that waits is dropped when
// its client has gone (Request::client_has_gone).
struct OneAtATime {
  std::string class_name;
  std::string method;
  std::string argument;  // the one that says what a call works on

  // Names what a call works on. A call with an empty name does not wait. Keys and values have their
  // declared types; the argument is null when it is not given.
  std::function<std::string(const ObjectPath& target, const Value* argument)> subject;

  // Called when a call has its turn, before the provider is asked; must not throw. What it returns
  // is destroyed when the call has ended, before the turn of the next. Unset: nothing.
  std::function<std::shared_ptr<void>(const std::string& subject)> accompany;

  // Further calls are refused, and so is one whose subject a waiting call has.
  std::size_t most_waiting = 4;
};

struct Options {
  std::vector<RegistrationEntry> registration;         // read_registration() makes it from a file
  std::vector<std::filesystem::path> library_folders;  // searched in order for lib<location>.so

  // Receives what providers write with logMessage and trace.
  // May be called by several threads at once; must not throw. Severity: 0 error, 1 warning,
  // 2 information, 3 trace.
  std::function<void(int severity, const std::string& text)> log;

  // A provider that had no call for idle_time, or is older than longest_life, is ended as soon as
  // it is not at work. That bounds what a provider gathers while it lives. A thread looks for such
  // providers every look_for_idle; when that is zero, the caller of end_idle() does.
  std::chrono::milliseconds idle_time = std::chrono::minutes(5);
  std::chrono::milliseconds longest_life = std::chrono::hours(1);
  std::chrono::milliseconds look_for_idle{0};

  std::vector<OneAtATime> one_at_a_time;

  // What "interop" tells; unset: there is no such name space.
  std::optional<InteropFacts> interop;

  // For tests. Called once, before any provider is loaded, with the function tables that every
  // provider of this manager will see. A test can change them, to show a provider an object manager
  // of an older version, without some functions, or with other habits.
  std::function<void(Tables&)> adjust_tables;
};

// How an operation is to be done. Every member may keep its default.
struct Request {
  std::optional<std::vector<std::string>> properties;  // unset: all; empty: none
  bool deep_inheritance = true;  // enumerate_instances: false leaves out what subclasses add
  std::string principal;         // the authenticated user
  std::string role;
  std::string accept_language;
  // Whether nobody waits for the answer any more. When it is unset, somebody always does. It is
  // called now and then while the operation runs, from any thread, and must not block.
  std::function<bool()> client_has_gone;
};

// An empty text is no filter. associators and associator_names use all four members; references and
// reference_names use the result class, which is the class of the association there, and the role.
struct AssociationFilter {
  std::string association_class;
  std::string result_class;
  std::string role;
  std::string result_role;
};

struct Argument {
  Name name;
  Value value;
};

struct MethodResult {
  Value return_value;         // null when the provider returned none
  std::vector<Argument> out;  // those that the provider gave, in its order

  const Value* find(std::string_view name) const;  // null when it was not given
};

using InstanceSink = std::function<void(const Instance&)>;
using PathSink = std::function<void(const ObjectPath&)>;

class ObjectManager {
 public:
  // Providers are loaded later, with the first request that needs them. schema must outlive the
  // manager and what providers keep of it. Throws Error (InvalidClass) when the registration names
  // an unknown class.
  ObjectManager(const Schema& schema, Options options);

  // Refuses new operations, waits for those in flight, then ends every provider (cleanup with
  // terminating set). Must not be called from a sink or a provider.
  ~ObjectManager();

  ObjectManager(const ObjectManager&) = delete;
  ObjectManager& operator=(const ObjectManager&) = delete;

  const Schema& schema() const;

  // Instances of the class and of its subclasses, from every provider registered for one of them.
  // Empty when there is none.
  void enumerate_instances(const ObjectPath& class_path, const InstanceSink& sink,
                           const Request& request = {});
  void enumerate_instance_names(const ObjectPath& class_path, const PathSink& sink,
                                const Request& request = {});

  Instance get_instance(const ObjectPath& path, const Request& request = {});
  // The class comes from the instance's path, the keys from its properties.
  ObjectPath create_instance(const Instance& instance, const Request& request = {});
  // Changes the properties of the request's list, or all that the instance has.
  void modify_instance(const Instance& instance, const Request& request = {});
  void delete_instance(const ObjectPath& path, const Request& request = {});

  // The path must be that of an instance. Asked are all association providers whose class passes
  // the filter and can refer to the path's class.
  void associators(const ObjectPath& path, const AssociationFilter& filter,
                   const InstanceSink& sink, const Request& request = {});
  void associator_names(const ObjectPath& path, const AssociationFilter& filter,
                        const PathSink& sink, const Request& request = {});
  void references(const ObjectPath& path, const AssociationFilter& filter, const InstanceSink& sink,
                  const Request& request = {});
  void reference_names(const ObjectPath& path, const AssociationFilter& filter,
                       const PathSink& sink, const Request& request = {});

  // path names an instance or, for a static method, a class. Arguments get their declared types
  // (convert). An argument that the method does not have is refused (InvalidParameter).
  MethodResult invoke_method(const ObjectPath& path, std::string_view method,
                             const std::vector<Argument>& in = {}, const Request& request = {});

  // Classes. With a class name, its direct subclasses, or with deep those of all levels. Without
  // one, the root classes, or with deep all of the name space.
  const ClassInfo& get_class(const ObjectPath& class_path) const;
  std::vector<const ClassInfo*> enumerate_classes(const ObjectPath& class_path, bool deep) const;
  std::vector<Name> enumerate_class_names(const ObjectPath& class_path, bool deep) const;

  // The same operations, with their results in a vector.
  std::vector<Instance> enumerate_instances(std::string_view class_name,
                                            const Request& request = {});
  std::vector<ObjectPath> enumerate_instance_names(std::string_view class_name,
                                                   const Request& request = {});
  std::vector<Instance> associators(const ObjectPath& path, const AssociationFilter& filter = {},
                                    const Request& request = {});
  std::vector<ObjectPath> associator_names(const ObjectPath& path,
                                           const AssociationFilter& filter = {},
                                           const Request& request = {});
  std::vector<Instance> references(const ObjectPath& path, const AssociationFilter& filter = {},
                                   const Request& request = {});
  std::vector<ObjectPath> reference_names(const ObjectPath& path,
                                          const AssociationFilter& filter = {},
                                          const Request& request = {});

  // Throws Error (InvalidNamespace) for a name space that is not served.
  void check_name_space(std::string_view name_space) const;

  // Refuses the calls that wait for their turn (Options::one_at_a_time) and those that follow. A
  // call that has begun goes on. For a process that is about to end its manager.
  void end_turns();

  // Ends the providers that are due by Options::idle_time and longest_life. The next request for
  // one makes it anew. A provider registered with "unload: never" has to end (cleanup with
  // terminating); its library stays loaded and keeps its state. Any other provider is asked
  // (cleanup without terminating) and may stay; its library is unloaded with the last of its
  // providers. Returns the number of libraries unloaded.
  std::size_t end_idle();

 private:
  const InteropSpace* interop_of(const ObjectPath& path) const;
  void refuse_interop(const ObjectPath& path) const;

  std::shared_ptr<class Core> core_;
  std::unique_ptr<InteropSpace> interop_;        // null: there is none
  std::unique_ptr<class IdleWatch> idle_watch_;  // null: nobody looks
};

}  // namespace broker
