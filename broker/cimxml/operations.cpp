// The intrinsic operations of the standard with their parameters.
#include <algorithm>
#include <array>

#include "broker/cimxml/task.h"

namespace broker::cimxml {
namespace {

// A parameter of one name has the same form in every operation.
struct ParameterForm {
  std::string_view name;
  unsigned forms;  // bits
};

constexpr unsigned bit(Form form) { return 1u << static_cast<unsigned>(form); }

constexpr std::array kForms{
    ParameterForm{"ClassName", bit(Form::ClassName)},
    ParameterForm{"AssocClass", bit(Form::ClassName)},
    ParameterForm{"ResultClass", bit(Form::ClassName)},
    ParameterForm{"InstanceName", bit(Form::InstanceName)},
    ParameterForm{"ObjectName", bit(Form::ClassName) | bit(Form::InstanceName)},
    ParameterForm{"NewInstance", bit(Form::Instance)},
    ParameterForm{"ModifiedInstance", bit(Form::NamedInstance)},
    ParameterForm{"PropertyList", bit(Form::Texts)},
    ParameterForm{"NewValue", bit(Form::Text) | bit(Form::Texts) | bit(Form::Reference) |
                                  bit(Form::References)},
};
constexpr std::string_view kBooleans =
    "LocalOnly DeepInheritance IncludeQualifiers IncludeClassOrigin ContinueOnError";

constexpr std::array kOperations{
    IntrinsicOperation{"EnumerateInstances", enumerate_instances, "ClassName",
                       "LocalOnly DeepInheritance IncludeQualifiers IncludeClassOrigin "
                       "PropertyList"},
    IntrinsicOperation{"EnumerateInstanceNames", enumerate_instance_names, "ClassName", ""},
    IntrinsicOperation{"GetInstance", get_instance, "InstanceName",
                       "LocalOnly IncludeQualifiers IncludeClassOrigin PropertyList"},
    IntrinsicOperation{"CreateInstance", create_instance, "NewInstance", ""},
    IntrinsicOperation{"ModifyInstance", modify_instance, "ModifiedInstance",
                       "IncludeQualifiers PropertyList"},
    IntrinsicOperation{"DeleteInstance", delete_instance, "InstanceName", ""},
    IntrinsicOperation{"GetProperty", get_property, "InstanceName PropertyName", ""},
    IntrinsicOperation{"SetProperty", set_property, "InstanceName PropertyName", "NewValue"},
    IntrinsicOperation{"Associators", associators, "ObjectName",
                       "AssocClass ResultClass Role ResultRole IncludeQualifiers "
                       "IncludeClassOrigin PropertyList"},
    IntrinsicOperation{"AssociatorNames", associator_names, "ObjectName",
                       "AssocClass ResultClass Role ResultRole"},
    IntrinsicOperation{"References", references, "ObjectName",
                       "ResultClass Role IncludeQualifiers IncludeClassOrigin PropertyList"},
    IntrinsicOperation{"ReferenceNames", reference_names, "ObjectName", "ResultClass Role"},
    IntrinsicOperation{"GetClass", get_class, "ClassName",
                       "LocalOnly IncludeQualifiers IncludeClassOrigin PropertyList"},
    IntrinsicOperation{"EnumerateClasses", enumerate_classes, "",
                       "ClassName DeepInheritance LocalOnly IncludeQualifiers IncludeClassOrigin"},
    IntrinsicOperation{"EnumerateClassNames", enumerate_class_names, "",
                       "ClassName DeepInheritance"},
    IntrinsicOperation{"EnumerateQualifiers", enumerate_qualifiers, "", ""},
    IntrinsicOperation{"GetQualifier", get_qualifier, "QualifierName", ""},
    IntrinsicOperation{"OpenEnumerateInstances", open_enumerate_instances, "ClassName",
                       "DeepInheritance IncludeClassOrigin PropertyList FilterQueryLanguage "
                       "FilterQuery OperationTimeout ContinueOnError MaxObjectCount"},
    IntrinsicOperation{"OpenEnumerateInstancePaths", open_enumerate_instance_paths, "ClassName",
                       "FilterQueryLanguage FilterQuery OperationTimeout ContinueOnError "
                       "MaxObjectCount"},
    IntrinsicOperation{"OpenAssociatorInstances", open_associator_instances, "InstanceName",
                       "AssocClass ResultClass Role ResultRole IncludeClassOrigin PropertyList "
                       "FilterQueryLanguage FilterQuery OperationTimeout ContinueOnError "
                       "MaxObjectCount"},
    IntrinsicOperation{"OpenAssociatorInstancePaths", open_associator_instance_paths,
                       "InstanceName",
                       "AssocClass ResultClass Role ResultRole FilterQueryLanguage FilterQuery "
                       "OperationTimeout ContinueOnError MaxObjectCount"},
    IntrinsicOperation{"OpenReferenceInstances", open_reference_instances, "InstanceName",
                       "ResultClass Role IncludeClassOrigin PropertyList FilterQueryLanguage "
                       "FilterQuery OperationTimeout ContinueOnError MaxObjectCount"},
    IntrinsicOperation{"OpenReferenceInstancePaths", open_reference_instance_paths, "InstanceName",
                       "ResultClass Role FilterQueryLanguage FilterQuery OperationTimeout "
                       "ContinueOnError MaxObjectCount"},
    IntrinsicOperation{"PullInstancesWithPath", pull_instances_with_path,
                       "EnumerationContext MaxObjectCount", ""},
    IntrinsicOperation{"PullInstancePaths", pull_instance_paths,
                       "EnumerationContext MaxObjectCount", ""},
    IntrinsicOperation{"CloseEnumeration", close_enumeration, "EnumerationContext", ""},
};

// Calls each with every word of the list until one call returns true.
template <class Each>
bool any_word(std::string_view list, Each each) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(' '), list.size());
    if (each(list.substr(0, end))) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

bool is_boolean(const Value& value) {
  try {
    return !convert(value, Type::Boolean, false).is_null();
  } catch (const Error&) {
    return false;
  }
}

bool has_form(const Parameter& parameter) {
  const auto same = [&](std::string_view name) { return same_name(name, parameter.name); };
  const auto* const found = std::find_if(kForms.begin(), kForms.end(),
                                         [&](const ParameterForm& row) { return same(row.name); });
  const unsigned forms = found == kForms.end() ? bit(Form::Text) : found->forms;
  if ((forms & bit(parameter.form)) == 0) return false;
  return !any_word(kBooleans, same) || is_boolean(parameter.value);
}

[[noreturn]] void refuse(const IntrinsicOperation& operation, std::string_view parameter,
                         const char* reason) {
  throw Error(Status::InvalidParameter, "parameter " + std::string(parameter) + " of " +
                                            std::string(operation.name) + " " + reason);
}

}  // namespace

const IntrinsicOperation* find_operation(std::string_view name) {
  const auto* const found =
      std::find_if(kOperations.begin(), kOperations.end(),
                   [&](const IntrinsicOperation& row) { return same_name(row.name, name); });
  return found == kOperations.end() ? nullptr : found;
}

void check_parameters(const SimpleRequest& asked, const IntrinsicOperation& operation) {
  std::vector<std::string_view> seen;
  for (const Parameter& parameter : asked.parameters) {
    const auto same = [&](std::string_view name) { return same_name(name, parameter.name); };
    if (!any_word(operation.required, same) && !any_word(operation.optional, same)) {
      refuse(operation, parameter.name, "is unknown");
    }
    if (std::any_of(seen.begin(), seen.end(), same)) {
      refuse(operation, parameter.name, "is given twice");
    }
    seen.push_back(parameter.name);
    if (parameter.form != Form::Null && !has_form(parameter)) {
      refuse(operation, parameter.name, "does not have the form of its kind");
    }
  }
  any_word(operation.required, [&](std::string_view name) {
    const bool given = std::any_of(
        asked.parameters.begin(), asked.parameters.end(),
        [&](const Parameter& p) { return p.form != Form::Null && same_name(p.name, name); });
    if (!given) refuse(operation, name, "is missing");
    return false;
  });
}

}  // namespace broker::cimxml
