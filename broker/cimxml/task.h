// One request of a message while it is carried out: what was asked, and where the answer goes.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "broker/cimxml/contexts.h"
#include "broker/cimxml/message.h"
#include "broker/cimxml/reply_stream.h"
#include "broker/object_manager.h"

namespace broker::cimxml {

struct Task {
  ObjectManager& manager;
  Contexts& contexts;
  const Limits& limits;
  Allowance& allowance;  // what is left of it
  ReplyStream& output;
  const SimpleRequest& asked;
  const Request& caller;  // its principal and languages

  // Parameters of intrinsic operations, which are known to have their form. Each may be missing
  // or null; then the standard's default counts. Throw Error (InvalidParameter) for text that is
  // no such value.
  const Parameter* find(std::string_view name) const;
  bool boolean(std::string_view name, bool otherwise) const;
  std::optional<std::uint32_t> number(std::string_view name) const;
  std::string text(std::string_view name) const;        // empty when missing
  ObjectPath path(std::string_view name) const;         // in the name space of the request
  std::string class_name(std::string_view name) const;  // of a CLASSNAME; empty when missing
  // With the parameter PropertyList.
  Request request() const;
};

// Write the content of the response element, or throw Error.
using CarryOut = void (*)(const Task&);

struct IntrinsicOperation {
  std::string_view name;
  CarryOut carry_out;
  std::string_view required;  // names of parameters, with blanks between them
  std::string_view optional;
};
// All that are served.
std::span<const IntrinsicOperation> intrinsic_operations();
// Null for a name that is not served.
const IntrinsicOperation* find_operation(std::string_view name);
// Throws Error (InvalidParameter): unknown, repeated, missing, or of another form.
void check_parameters(const SimpleRequest& asked, const IntrinsicOperation& operation);

// instance_operations.cpp
void enumerate_instances(const Task& task);
void enumerate_instance_names(const Task& task);
void get_instance(const Task& task);
void create_instance(const Task& task);
void modify_instance(const Task& task);
void delete_instance(const Task& task);
void get_property(const Task& task);
void set_property(const Task& task);
void associators(const Task& task);
void associator_names(const Task& task);
void references(const Task& task);
void reference_names(const Task& task);
// pull_operations.cpp
void open_enumerate_instances(const Task& task);
void open_enumerate_instance_paths(const Task& task);
void open_associator_instances(const Task& task);
void open_associator_instance_paths(const Task& task);
void open_reference_instances(const Task& task);
void open_reference_instance_paths(const Task& task);
void pull_instances_with_path(const Task& task);
void pull_instance_paths(const Task& task);
void close_enumeration(const Task& task);
// class_operations.cpp
void get_class(const Task& task);
void enumerate_classes(const Task& task);
void enumerate_class_names(const Task& task);
void enumerate_qualifiers(const Task& task);
void get_qualifier(const Task& task);
// Of a class: what its declaration leads to.
void class_associations(const Task& task, bool far_end, bool names);
// method_operation.cpp
void call_method(const Task& task);

}  // namespace broker::cimxml
