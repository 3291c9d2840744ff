// Operations on classes, and associations followed from class to class.
#include <algorithm>

#include "broker/cimxml/class_writer.h"
#include "broker/cimxml/task.h"
#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

ClassChoice choice_of(const Task& task, bool local_only, bool qualifiers) {
  return {task.boolean("LocalOnly", local_only), task.boolean("IncludeQualifiers", qualifiers),
          task.boolean("IncludeClassOrigin", false), task.request().properties};
}

std::vector<const ClassInfo*> classes_below(const Task& task) {
  return task.manager.enumerate_classes(task.path("ClassName"),
                                        task.boolean("DeepInheritance", false));
}

// The class that a parameter names. unknown: the operation's error where there is no such class.
const ClassInfo& class_of(const Task& task, std::string_view parameter, Status unknown) {
  try {
    return task.manager.get_class(task.path(parameter));
  } catch (const Error& error) {
    if (error.status() != Status::InvalidClass) throw;
    throw Error(unknown, error.description());
  }
}

// The class to filter by; null where there is no filter.
const ClassInfo* filter_class(const Task& task, std::string_view parameter) {
  const std::string name = task.class_name(parameter);
  if (name.empty()) return nullptr;
  if (const ClassInfo* info = task.manager.schema().find(name)) return info;
  throw Error(Status::InvalidParameter, "there is no class " + name + " to filter by");
}

struct Role {
  const std::string name;  // empty: any

  bool fits(const PropertyInfo& property) const {
    return property.type == Type::Reference && (name.empty() || property.name == name);
  }
};

}  // namespace

void get_class(const Task& task) {
  const ClassInfo& info = class_of(task, "ClassName", Status::NotFound);
  Text& text = task.output.text();
  text << "<IRETURNVALUE>";
  write_class(text, info, choice_of(task, true, true));
  text << "</IRETURNVALUE>";
}

void enumerate_classes(const Task& task) {
  const ClassChoice choice = choice_of(task, true, true);
  Text& text = task.output.text();
  text << "<IRETURNVALUE>";
  for (const ClassInfo* info : classes_below(task)) {
    write_class(text, *info, choice);
    task.output.offer();
  }
  text << "</IRETURNVALUE>";
}

void enumerate_class_names(const Task& task) {
  Writer writer(task.output.text(), task.manager.schema());
  writer.text() << "<IRETURNVALUE>";
  for (const ClassInfo* info : classes_below(task)) writer.class_name(info->name());
  writer.text() << "</IRETURNVALUE>";
}

void enumerate_qualifiers(const Task& task) {
  Text& text = task.output.text();
  text << "<IRETURNVALUE>";
  for (const QualifierDeclaration& declared : task.manager.schema().qualifiers())
    write_qualifier_declaration(text, declared);
  text << "</IRETURNVALUE>";
}

void get_qualifier(const Task& task) {
  const std::string name = task.text("QualifierName");
  const auto all = task.manager.schema().qualifiers();
  const auto found = std::find_if(all.begin(), all.end(), [&](const QualifierDeclaration& one) {
    return same_name(one.name, name);
  });
  if (found == all.end()) throw Error(Status::NotFound, "there is no qualifier " + name);
  Text& text = task.output.text();
  text << "<IRETURNVALUE>";
  write_qualifier_declaration(text, *found);
  text << "</IRETURNVALUE>";
}

void class_associations(const Task& task, bool far_end, bool names) {
  const ClassInfo& source = class_of(task, "ObjectName", Status::InvalidParameter);
  const ClassInfo* result = filter_class(task, "ResultClass");
  const ClassInfo* filter = far_end ? filter_class(task, "AssocClass") : result;
  const Role role{task.text("Role")}, result_role{task.text("ResultRole")};
  const Schema& schema = task.manager.schema();
  std::vector<const ClassInfo*> found;
  const auto add = [&](const ClassInfo* info) {
    if (!info || (result && !info->is_a(*result))) return;
    if (std::find(found.begin(), found.end(), info) == found.end()) found.push_back(info);
  };
  const ObjectPath everything(task.asked.target.name_space, "");
  for (const ClassInfo* association : task.manager.enumerate_classes(everything, true)) {
    if (!association->association() || (filter && !association->is_a(*filter))) continue;
    for (const PropertyInfo& near : association->properties()) {
      if (!role.fits(near)) continue;
      const ClassInfo* end = schema.find(near.feature->reference_class);
      if (!end || !source.is_a(*end)) continue;
      if (!far_end) add(association);
      for (const PropertyInfo& far : association->properties()) {
        if (!far_end || &far == &near || !result_role.fits(far)) continue;
        add(schema.find(far.feature->reference_class));
      }
    }
  }
  const ClassChoice choice = choice_of(task, false, false);
  const Name name_space =
      Name::borrowed(is_interop(everything.name_space) ? kInteropNameSpace : kServedNameSpace);
  Writer writer(task.output.text(), schema);
  Text& text = writer.text();
  text << "<IRETURNVALUE>";
  for (const ClassInfo* info : found) {
    text << (names ? "<OBJECTPATH>" : "<VALUE.OBJECTWITHPATH>");
    writer.class_path(ObjectPath(name_space, info->name()));
    if (!names) write_class(text, *info, choice);
    text << (names ? "</OBJECTPATH>" : "</VALUE.OBJECTWITHPATH>");
    task.output.offer();
  }
  text << "</IRETURNVALUE>";
}

}  // namespace broker::cimxml
