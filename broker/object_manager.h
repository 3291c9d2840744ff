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
// provider is still at work, so that an error may follow after items; the forms that return a
// vector drop them then. What a sink throws ends the operation and reaches the caller.
//
// One name space is served, served_name_space; a path without one means that one.
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
#include "broker/instance.h"
#include "broker/object_path.h"
#include "broker/registration.h"
#include "broker/schema.h"
#include "broker/value.h"

namespace broker {

struct Tables;  // tables.h

// A method of which one call runs at a time (turns.h): calls that come from outside wait for their
// turn before the provider is asked, first come, first served. A call that waits is dropped when
// its client has gone (Request::client_has_gone).
struct OneAtATime {
  std::string class_name;
  std::string method;
  std::string argument;  // says what a call works on

  // What a call works on, by its name. Empty: nothing, so that it need not wait. Keys and values
  // have their declared types; the argument is null when it is not given.
  std::function<std::string(const ObjectPath& target, const Value* argument)> subject;

  std::size_t most_waiting = 4;  // of those with the same subject one; further calls are refused
};

struct Options {
  std::vector<RegistrationEntry> registration;         // read_registration() makes it from a file
  std::vector<std::filesystem::path> library_folders;  // searched in order for lib<location>.so

  // Receives what providers write with logMessage and trace.
  // May be called by several threads at once; must not throw. Severity: 0 error, 1 warning,
  // 2 information, 3 trace.
  std::function<void(int severity, const std::string& text)> log;

  // A provider that had no call for the idle time, or was made the longest life ago, is ended when
  // it is not at work: what providers gather while they live is bounded by that. Somebody must
  // look: a thread does, this often, or with zero whoever calls end_idle().
  std::chrono::milliseconds idle_time = std::chrono::minutes(5);
  std::chrono::milliseconds longest_life = std::chrono::hours(1);
  std::chrono::milliseconds look_for_idle{0};

  std::vector<OneAtATime> one_at_a_time;

  // Called once, before any provider is loaded, with the function tables that every provider of
  // this manager will see. A test puts older versions, missing members or functions of its own
  // into them, to show a provider an object manager with other habits.
  std::function<void(Tables&)> adjust_tables;
};

// How an operation is asked for. Everything may be left away.
struct Request {
  std::optional<std::vector<std::string>> properties;  // unset: all; empty: none
  bool deep_inheritance = true;  // enumerate_instances: false leaves out what subclasses add
  std::string principal;         // the authenticated user
  std::string role;
  std::string accept_language;
  // Whether nobody waits for the answer any more; unset: somebody does. Asked from any thread as
  // long as the operation runs, now and then; must not block.
  std::function<bool()> client_has_gone;
};

// Empty: no filter. associators and associator_names use all four, references and
// reference_names the result class (that of the association) and the role.
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
  // Loads nothing yet: providers are loaded with the first request that needs them. schema must
  // outlive the manager. Throws Error (InvalidClass) when the registration names an unknown class.
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

  // The path must be that of an instance. Every association provider is asked whose class passes
  // the filter and can refer to the path's class.
  void associators(const ObjectPath& path, const AssociationFilter& filter,
                   const InstanceSink& sink, const Request& request = {});
  void associator_names(const ObjectPath& path, const AssociationFilter& filter,
                        const PathSink& sink, const Request& request = {});
  void references(const ObjectPath& path, const AssociationFilter& filter, const InstanceSink& sink,
                  const Request& request = {});
  void reference_names(const ObjectPath& path, const AssociationFilter& filter,
                       const PathSink& sink, const Request& request = {});

  // path is an instance's or, for a static method, a class's. Arguments get their declared types
  // (convert); one that the method does not have is refused (InvalidParameter).
  MethodResult invoke_method(const ObjectPath& path, std::string_view method,
                             const std::vector<Argument>& in = {}, const Request& request = {});

  // Classes. Without a class name those of the whole schema; deep: all levels below, else direct
  // subclasses (root classes without a name).
  const ClassInfo& get_class(const ObjectPath& class_path) const;
  std::vector<const ClassInfo*> enumerate_classes(const ObjectPath& class_path, bool deep) const;
  std::vector<Name> enumerate_class_names(const ObjectPath& class_path, bool deep) const;

  // The same, collected.
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

  // Refuses the calls that wait for their turn (Options::one_at_a_time) and those to come, before
  // the manager ends; what has begun goes on.
  void end_turns();

  // Ends the providers that are due by Options::idle_time and longest_life; the next request for
  // one makes it anew. Where the registration lets the library go, the provider is asked (cleanup
  // without terminating) and may stay, and the library is unloaded with the last of its providers.
  // Where it does not (unload: never) the provider is told (cleanup with terminating), and what
  // the library keeps for the life of the process it keeps. Returns the number of libraries
  // unloaded.
  std::size_t end_idle();

 private:
  std::shared_ptr<class Core> core_;
  std::unique_ptr<class IdleWatch> idle_watch_;  // null: nobody looks
};

}  // namespace broker
