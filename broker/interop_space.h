// The operations on the name space "interop" (interop.h), and what its associations add to those of
// root/cimv2.
//
// Instances are made anew for each operation, so that they say what holds at that moment. Providers
// are asked for those that conform to a profile, and only where the answer can depend on them, so
// that clients learn the rest also where a provider fails. Functions block for as long.
//
// Threads: any thread may call. Failure: every function throws Error as ObjectManager does.
#pragma once

#include <unordered_set>

#include "broker/held_instances.h"
#include "broker/interop.h"

namespace broker {

class Core;  // core.h

class InteropSpace {
 public:
  // The core must outlive this. Throws Error (InvalidClass) when its schema lacks a class.
  InteropSpace(Core& core, InteropFacts facts);

  // Throws Error (InvalidClass) for a class that the name space does not have.
  const ClassInfo& class_of(const ObjectPath& path) const;
  bool has(const ClassInfo& info) const { return classes_.contains(&info); }

  void enumerate_instances(const ObjectPath& path, const InstanceSink& sink,
                           const Request& request) const;
  void enumerate_instance_names(const ObjectPath& path, const PathSink& sink) const;
  Instance get_instance(const ObjectPath& path, const Request& request) const;

  // Of objects of either name space. What stands at the far end may be of the other one.
  void associators(const ObjectPath& path, const AssociationFilter& filter,
                   const InstanceSink& sink, const Request& request) const;
  void associator_names(const ObjectPath& path, const AssociationFilter& filter,
                        const PathSink& sink) const;
  void references(const ObjectPath& path, const AssociationFilter& filter, const InstanceSink& sink,
                  const Request& request) const;
  void reference_names(const ObjectPath& path, const AssociationFilter& filter,
                       const PathSink& sink) const;

 private:
  void add_class(const ClassInfo& info);
  enum class Conformance { Unasked, Asked };
  HeldInstances held(Conformance conformance) const;
  // For an enumeration of the class, or one instance of it.
  HeldInstances held_of(const ClassInfo& info) const;
  // For associations of the object.
  HeldInstances held_around(const ObjectPath& object) const;
  // The path of an object of "interop" as the held instances have it.
  ObjectPath typed_path(const ObjectPath& path, const ClassInfo& info) const;
  // The same for an object of either name space. Unset when no held instance can refer to an object
  // of its class.
  std::optional<ObjectPath> source(const ObjectPath& path) const;

  Core& core_;
  const InteropFacts facts_;
  std::unordered_set<const ClassInfo*> classes_;
};

}  // namespace broker
