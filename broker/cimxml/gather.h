// Where operations get instances and paths from, whether they hand them out at once or by pulls.
#pragma once

#include "broker/cimxml/task.h"

namespace broker::cimxml {

enum class ObjectSource {
  Class,       // by ClassName
  Associated,  // by the object, AssocClass, ResultClass, Role, ResultRole
  Referring,   // by the object, ResultClass, Role
};

// object: the name of the parameter that names the class or the instance.
void gather(const Task& task, ObjectSource source, std::string_view object,
            const InstanceSink& sink);
void gather(const Task& task, ObjectSource source, std::string_view object, const PathSink& sink);

}  // namespace broker::cimxml
