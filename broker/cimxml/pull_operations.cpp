// Enumerations that the client opens, and pulls in parts.
//
// Providers hand out all objects at once, so all of them are there when an enumeration is opened.
// They wait as text until they are pulled, or until nobody has pulled for the agreed time.
#include <algorithm>
#include <type_traits>
#include <utility>

#include "broker/cimxml/enumeration_status.h"
#include "broker/cimxml/gather.h"
#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

// context: empty at the end of the sequence, where it is written without a value.
void write_result(const Task& task, std::string_view objects, std::string_view context) {
  Text& text = task.output.text();
  text << "<IRETURNVALUE>" << objects
       << "</IRETURNVALUE><PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\">";
  if (!context.empty()) text << "<VALUE>" << context << "</VALUE>";
  text << "</PARAMVALUE><PARAMVALUE NAME=\"EndOfSequence\" PARAMTYPE=\"boolean\"><VALUE>"
       << (context.empty() ? "TRUE" : "FALSE") << "</VALUE></PARAMVALUE>";
}

std::size_t objects_at_a_time(const Task& task) {
  return std::min(task.number("MaxObjectCount").value_or(0), task.limits.maximum_pull);
}

// A timeout of zero would mean an enumeration that never ends.
unsigned agreed_seconds(const Task& task) {
  const unsigned seconds = task.number("OperationTimeout").value_or(task.limits.context_seconds);
  if (task.find("OperationTimeout") && (seconds == 0 || seconds > task.limits.context_seconds)) {
    throw Error(kInvalidOperationTimeout, "the timeout must be from 1 to " +
                                              std::to_string(task.limits.context_seconds) +
                                              " seconds");
  }
  return seconds;
}

template <class Item>
void open(const Task& task, ObjectSource source, void (Writer::*write)(const Item&)) {
  if (task.find("FilterQueryLanguage") || task.find("FilterQuery")) {
    throw Error(kFilteredEnumerationNotSupported, "filter queries are not supported");
  }
  if (task.boolean("ContinueOnError", false)) {
    throw Error(kContinuationOnErrorNotSupported, "continuation on error is not supported");
  }
  const unsigned seconds = agreed_seconds(task);
  const std::size_t count = objects_at_a_time(task);
  Room room = task.contexts.reserve(task.caller.principal);
  Batch batch;
  Writer writer(batch.text(), task.manager.schema(), task.boolean("IncludeClassOrigin", false));
  const std::string_view object = source == ObjectSource::Class ? "ClassName" : "InstanceName";
  gather(task, source, object, std::function<void(const Item&)>([&](const Item& item) {
           (writer.*write)(item);
           batch.end_object();
           room.grow_to(batch.bytes());
         }));
  const std::string first(batch.take(count));
  constexpr bool kPaths = std::is_same_v<Item, ObjectPath>;
  const std::string name =
      batch.count() == 0 ? std::string()
                         : task.contexts.open(std::move(batch), std::move(room), kPaths, seconds);
  write_result(task, first, name);
}

void pull(const Task& task, bool paths) {
  const std::string name = task.text("EnumerationContext");
  const Contexts::Pulled pulled =
      task.contexts.pull(name, paths, task.caller.principal, objects_at_a_time(task));
  write_result(task, pulled.objects, pulled.end ? std::string_view() : name);
}

}  // namespace

void open_enumerate_instances(const Task& task) {
  open(task, ObjectSource::Class, &Writer::instance_with_path);
}

void open_enumerate_instance_paths(const Task& task) {
  open(task, ObjectSource::Class, &Writer::instance_path);
}

void open_associator_instances(const Task& task) {
  open(task, ObjectSource::Associated, &Writer::instance_with_path);
}

void open_associator_instance_paths(const Task& task) {
  open(task, ObjectSource::Associated, &Writer::instance_path);
}

void open_reference_instances(const Task& task) {
  open(task, ObjectSource::Referring, &Writer::instance_with_path);
}

void open_reference_instance_paths(const Task& task) {
  open(task, ObjectSource::Referring, &Writer::instance_path);
}

void pull_instances_with_path(const Task& task) { pull(task, false); }
void pull_instance_paths(const Task& task) { pull(task, true); }

void close_enumeration(const Task& task) {
  task.contexts.close(task.text("EnumerationContext"), task.caller.principal);
}

}  // namespace broker::cimxml
