// Operations on instances.
#include <type_traits>
#include <utility>

#include "broker/cimxml/gather.h"
#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

AssociationFilter filter_of(const Task& task) {
  return {task.class_name("AssocClass"), task.class_name("ResultClass"), task.text("Role"),
          task.text("ResultRole")};
}

// Each operation has two forms: with the objects, or with their names alone.
struct Instances {
  static constexpr auto kEnumerate =
      static_cast<void (ObjectManager::*)(const ObjectPath&, const InstanceSink&, const Request&)>(
          &ObjectManager::enumerate_instances);
  static constexpr auto kAssociated = static_cast<void (ObjectManager::*)(
      const ObjectPath&, const AssociationFilter&, const InstanceSink&, const Request&)>(
      &ObjectManager::associators);
  static constexpr auto kReferring = static_cast<void (ObjectManager::*)(
      const ObjectPath&, const AssociationFilter&, const InstanceSink&, const Request&)>(
      &ObjectManager::references);
};

struct Paths {
  static constexpr auto kEnumerate =
      static_cast<void (ObjectManager::*)(const ObjectPath&, const PathSink&, const Request&)>(
          &ObjectManager::enumerate_instance_names);
  static constexpr auto kAssociated = static_cast<void (ObjectManager::*)(
      const ObjectPath&, const AssociationFilter&, const PathSink&, const Request&)>(
      &ObjectManager::associator_names);
  static constexpr auto kReferring = static_cast<void (ObjectManager::*)(
      const ObjectPath&, const AssociationFilter&, const PathSink&, const Request&)>(
      &ObjectManager::reference_names);
};

template <class Kind, class Sink>
void ask(const Task& task, ObjectSource source, std::string_view object, const Sink& sink) {
  const ObjectPath path = task.path(object);
  Request request = task.request();
  switch (source) {
    case ObjectSource::Class:
      request.deep_inheritance = task.boolean("DeepInheritance", true);
      (task.manager.*Kind::kEnumerate)(path, sink, request);
      break;
    case ObjectSource::Associated:
      (task.manager.*Kind::kAssociated)(path, filter_of(task), sink, request);
      break;
    case ObjectSource::Referring:
      (task.manager.*Kind::kReferring)(path, filter_of(task), sink, request);
      break;
  }
}

Writer writer_of(const Task& task) {
  return Writer(task.output.text(), task.manager.schema(),
                task.boolean("IncludeClassOrigin", false));
}

// Writes each object as it comes.
template <class Item>
void stream(const Task& task, ObjectSource source, std::string_view object,
            void (Writer::*write)(const Item&)) {
  Writer writer = writer_of(task);
  writer.text() << "<IRETURNVALUE>";
  gather(task, source, object, std::function<void(const Item&)>([&](const Item& item) {
           (writer.*write)(item);
           task.output.offer();
         }));
  writer.text() << "</IRETURNVALUE>";
}

// The object of an association operation may be a class, too.
template <class Item>
void follow(const Task& task, ObjectSource source, void (Writer::*write)(const Item&)) {
  if (task.find("ObjectName")->form == Form::ClassName) {
    class_associations(task, source == ObjectSource::Associated, std::is_same_v<Item, ObjectPath>);
  } else {
    stream(task, source, "ObjectName", write);
  }
}

}  // namespace

void gather(const Task& task, ObjectSource source, std::string_view object,
            const InstanceSink& sink) {
  ask<Instances>(task, source, object, sink);
}

void gather(const Task& task, ObjectSource source, std::string_view object, const PathSink& sink) {
  ask<Paths>(task, source, object, sink);
}

// LocalOnly and IncludeQualifiers are deprecated for instances: the answer is the same for both
// values, whole instances without qualifiers, as the standard recommends.

void enumerate_instances(const Task& task) {
  stream(task, ObjectSource::Class, "ClassName", &Writer::named_instance);
}

void enumerate_instance_names(const Task& task) {
  stream(task, ObjectSource::Class, "ClassName", &Writer::instance_name);
}

void associators(const Task& task) {
  follow(task, ObjectSource::Associated, &Writer::object_with_path);
}

void associator_names(const Task& task) {
  follow(task, ObjectSource::Associated, &Writer::object_path);
}

void references(const Task& task) {
  follow(task, ObjectSource::Referring, &Writer::object_with_path);
}

void reference_names(const Task& task) {
  follow(task, ObjectSource::Referring, &Writer::object_path);
}

void get_instance(const Task& task) {
  Writer writer = writer_of(task);
  const Instance found = task.manager.get_instance(task.path("InstanceName"), task.request());
  writer.text() << "<IRETURNVALUE>";
  writer.instance(found);
  writer.text() << "</IRETURNVALUE>";
}

void create_instance(const Task& task) {
  Instance made = task.find("NewInstance")->value.as_instance();
  made.path.name_space = task.asked.target.name_space;
  const ObjectPath path = task.manager.create_instance(made, task.caller);
  Writer writer = writer_of(task);
  writer.text() << "<IRETURNVALUE>";
  writer.instance_name(path);
  writer.text() << "</IRETURNVALUE>";
}

void modify_instance(const Task& task) {
  Instance modified = task.find("ModifiedInstance")->value.as_instance();
  modified.path.name_space = task.asked.target.name_space;
  task.manager.modify_instance(modified, task.request());
}

void delete_instance(const Task& task) {
  task.manager.delete_instance(task.path("InstanceName"), task.caller);
}

namespace {

const PropertyInfo& property_of(const Task& task, const ObjectPath& path) {
  const ClassInfo& info = task.manager.get_class(path);
  const std::string name = task.text("PropertyName");
  if (const PropertyInfo* property = info.find_property(name)) return *property;
  throw Error(Status::NoSuchProperty, "class " + info.name().str() + " has no property " + name);
}

}  // namespace

void get_property(const Task& task) {
  const ObjectPath path = task.path("InstanceName");
  const PropertyInfo& property = property_of(task, path);
  Request request = task.caller;
  request.properties = {property.name.str()};
  const Instance found = task.manager.get_instance(path, request);
  Writer writer = writer_of(task);
  writer.text() << "<IRETURNVALUE>";
  if (const Value* value = found.property(property.name)) writer.value(*value);
  writer.text() << "</IRETURNVALUE>";
}

void set_property(const Task& task) {
  Instance modified(task.path("InstanceName"));
  const PropertyInfo& property = property_of(task, modified.path);
  Value value = Value::null(property.type, property.array);
  if (const Parameter* given = task.find("NewValue")) {
    value = convert(given->value, property.type, property.array);
  }
  modified.set(property.name, std::move(value));
  Request request = task.caller;
  request.properties = {property.name.str()};
  task.manager.modify_instance(modified, request);
}

}  // namespace broker::cimxml
