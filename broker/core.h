// The object manager behind ObjectManager's interface: registrations, providers, tables, and
// the operations, which up-calls of providers enter too.
//
// It is a class of its own for two reasons. Clones and attached threads of a provider may outlive
// the ObjectManager: they share ownership of its core, which holds their function tables and
// refuses what they still ask. And users of ObjectManager see nothing of CMPI.
#pragma once

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "broker/delivery.h"
#include "broker/error.h"
#include "broker/object_manager.h"
#include "broker/operation.h"
#include "broker/provider_lease.h"
#include "broker/tables.h"
#include "broker/turns.h"

namespace broker {

// A class with its provider.
struct Registered {
  const ClassInfo* info;
  Provider* provider;
  bool instance, association, method;
};

class Core : public std::enable_shared_from_this<Core> {
 public:
  Core(const Schema& schema, Options options);
  ~Core();

  const Schema& schema() const { return schema_; }
  const Tables& tables() const { return tables_; }
  const std::vector<std::filesystem::path>& library_folders() const {
    return options_.library_folders;
  }
  std::chrono::milliseconds look_for_idle() const { return options_.look_for_idle; }
  void log(int severity, const std::string& text) const;

  // Refuses operations from outside, waits for those in flight, ends the providers.
  void end();
  std::size_t end_idle();
  void end_turns();

  // The operations of ObjectManager (object_manager.h).
  void enumerate_instances(const ObjectPath& class_path, const InstanceSink& sink,
                           const Request& request);
  void enumerate_instance_names(const ObjectPath& class_path, const PathSink& sink,
                                const Request& request);
  Instance get_instance(const ObjectPath& path, const Request& request);
  ObjectPath create_instance(const Instance& instance, const Request& request);
  void modify_instance(const Instance& instance, const Request& request);
  void delete_instance(const ObjectPath& path, const Request& request);
  void associators(const ObjectPath& path, const AssociationFilter& filter,
                   const InstanceSink& sink, const Request& request);
  void associator_names(const ObjectPath& path, const AssociationFilter& filter,
                        const PathSink& sink, const Request& request);
  void references(const ObjectPath& path, const AssociationFilter& filter, const InstanceSink& sink,
                  const Request& request);
  void reference_names(const ObjectPath& path, const AssociationFilter& filter,
                       const PathSink& sink, const Request& request);
  MethodResult invoke_method(const ObjectPath& path, std::string_view method,
                             const std::vector<Argument>& in, const Request& request);

  // The class of a path in the served name space; throws Error (InvalidNamespace, InvalidClass).
  const ClassInfo& class_of(const ObjectPath& path) const;
  // The same for an object whose associations are asked for. There the standard calls an unknown
  // class an invalid parameter (InvalidNamespace, InvalidParameter).
  const ClassInfo& source_class(const ObjectPath& path) const;
  void check_name_space(const ObjectPath& path) const;
  // The path of an instance, its keys typed; it must have some, if the class has any.
  ObjectPath instance_path(const ObjectPath& path, const ClassInfo& info) const;

  class Flight;  // flight.h

  // Adds to the number of threads that have a prepared context or are attached.
  void thread_attached(int change);

 private:
  // Who serves the class's instances or methods; null when nobody does.
  const Registered* find_instances(const ClassInfo& info) const;
  const Registered* find_methods(const ClassInfo& info) const;
  // The providers of instances of the class and of its subclasses.
  std::vector<const Registered*> below(const ClassInfo& info) const;

  // Runs a function of a provider (invocation.h). Returns the error that the provider answered
  // with.
  template <class MI, class Invoke>
  std::optional<Error> run(Provider& provider, Delivery& delivery, const Request& request,
                           CMPIFlags flags, Invoke invoke);
  // The same for a function of the interface's table that takes the path of an object, of class
  // info, and the arguments after it.
  template <class Table, class Function, class... Arguments>
  std::optional<Error> ask(Provider& provider, Delivery& delivery, const Request& request,
                           CMPIFlags flags, Function Table::*function, const ObjectPath& path,
                           const ClassInfo& info, Arguments... arguments);

  // Waits until the call may begin. The turn is empty for methods that may run at the same time.
  Turns::Turn turn_of(const ObjectPath& target, const Name& method, const std::vector<Argument>& in,
                      const Request& request);

  // What the four operations that follow associations have in common. far_end: the objects at the
  // other end are wanted, not the associations.
  template <class Sink, class Function, class... Arguments>
  void follow(const ObjectPath& path, const AssociationFilter& query, bool far_end,
              const Sink& sink, const Request& request, Function CMPIAssociationMIFT::*function,
              Arguments... arguments);

  void end_if_due(Provider& provider);

  // Give keys, references and embedded instances the types that their classes declare
  // (typing.cpp).
  Value typed(const Value& value, Type type, bool array, const std::string& what) const;
  ObjectPath typed_path(const ObjectPath& path, const ClassInfo& info) const;
  Instance typed_instance(const Instance& instance, const ClassInfo& info, Status unknown) const;

  const Schema& schema_;
  Options options_;
  Tables tables_;
  std::unordered_map<std::string, std::unique_ptr<Library>> libraries_;
  std::unordered_map<std::string, std::unique_ptr<Provider>> providers_;
  std::vector<Provider*> provider_order_;
  std::unordered_set<const Library*> never_unload_;
  std::vector<Registered> registered_;
  std::unordered_map<const ClassInfo*, const Registered*> instances_;
  std::unordered_map<const ClassInfo*, const Registered*> methods_;

  std::list<Turns> turns_;

  std::mutex mutex_;
  std::condition_variable landed_;
  std::size_t in_flight_ = 0;
  std::size_t attached_ = 0;
  bool closing_ = false;
};

}  // namespace broker
