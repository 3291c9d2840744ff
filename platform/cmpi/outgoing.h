// Makes objects of the object manager from the framework's values, instances and paths.
#pragma once

#include <optional>
#include <variant>
#include <vector>

#include "platform/cmpi/broker.h"
#include "platform/framework/meta.h"

namespace ovk_cimple {

// A value with the object that was made for it.
class OutgoingValue {
 public:
  explicit OutgoingValue(CMPIType type) : type_(type) {}

  CMPIType type() const { return type_; }
  // Null if the CIM value is null.
  const CMPIValue* value() const { return value_ ? &*value_ : nullptr; }

  template <class Member, class Value>
  void set(Member CMPIValue::*member, Value value) {
    value_.emplace().*member = value;
  }
  template <class Object>
  void own(Object* CMPIValue::*member, Made<Object> object) {
    set(member, object.get());
    made_ = std::move(object);
  }
  // Leaves the object to the object manager, which frees it with the operation.
  void keep() {
    std::visit(
        [](auto& made) {
          if constexpr (requires { made.release(); }) (void)made.release();
        },
        made_);
  }

 private:
  CMPIType type_;
  std::optional<CMPIValue> value_;
  std::variant<std::monostate, Made<CMPIString>, Made<CMPIDateTime>, Made<CMPIObjectPath>,
               Made<CMPIArray>>
      made_;
};

// The properties that a client asked for, class by class. They always include the keys, since a
// client that does not ask for the keys still needs to know which instance it sees.
class Selection {
 public:
  // A null list selects everything; it must outlive the selection.
  explicit Selection(const char** names) : names_(names) {}

  bool everything() const { return !names_; }
  // Valid until asked for another class.
  const std::vector<const MetaProperty*>& of(const MetaClass& meta);
  // The names of those, and of the keys among them, each list with a null behind the last, as
  // property filters take them.
  const char** names() { return selected_names_.data(); }
  const char** keys() { return keys_.data(); }
  // Room for the values of the keys of an instance, kept from one to the next.
  std::vector<OutgoingValue>& key_values() { return key_values_; }

 private:
  const char** names_;
  const MetaClass* meta_ = nullptr;
  std::vector<const MetaProperty*> selected_;
  std::vector<const char*> selected_names_, keys_;
  std::vector<OutgoingValue> key_values_;
};

// Makes the objects. Each is released when its handle is destroyed, since the object manager copies
// what is handed over.
class Translator {
 public:
  // Instances without a name space of their own are published in this one.
  Translator(const CMPIBroker* broker, String name_space)
      : broker_(broker), name_space_(std::move(name_space)) {}

  const CMPIBroker* broker() const { return broker_; }
  const String& name_space() const { return name_space_; }

  OutgoingValue value(const Instance& holder, const MetaProperty& property, int depth = 0) const;
  // Keys that are null are left out, because a path cannot hold them.
  Made<CMPIObjectPath> path(const Instance& instance, int depth = 0) const;
  Made<CMPIObjectPath> class_path(const char* name_space, const char* class_name) const;
  Made<CMPIInstance> instance(const Instance& instance, Selection& selection) const;

 private:
  void put(OutgoingValue& result, const String& text) const;
  void put(OutgoingValue& result, const Datetime& time) const;
  void put(OutgoingValue& result, const Ref<Instance>& reference, int depth) const;
  template <class T>
  void put_element(OutgoingValue& result, const T& value, int depth) const;

  const CMPIBroker* const broker_;
  const String name_space_;
};

}  // namespace ovk_cimple
