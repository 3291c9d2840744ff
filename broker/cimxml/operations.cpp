// The intrinsic operations of the standard with their parameters.
#include <algorithm>
#include <array>

#include "broker/cimxml/task.h"
#include "platform/words.h"

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
    IntrinsicOperation{.name = "EnumerateInstances",
                       .carry_out = enumerate_instances,
                       .required = "ClassName",
                       .optional = "LocalOnly DeepInheritance IncludeQualifiers IncludeClassOrigin "
                                   "PropertyList"},
    IntrinsicOperation{.name = "EnumerateInstanceNames",
                       .carry_out = enumerate_instance_names,
                       .required = "ClassName",
                       .optional = ""},
    IntrinsicOperation{.name = "GetInstance",
                       .carry_out = get_instance,
                       .required = "InstanceName",
                       .optional = "LocalOnly IncludeQualifiers IncludeClassOrigin PropertyList"},
    IntrinsicOperation{.name = "CreateInstance",
                       .carry_out = create_instance,
                       .required = "NewInstance",
                       .optional = ""},
    IntrinsicOperation{.name = "ModifyInstance",
                       .carry_out = modify_instance,
                       .required = "ModifiedInstance",
                       .optional = "IncludeQualifiers PropertyList"},
    IntrinsicOperation{.name = "DeleteInstance",
                       .carry_out = delete_instance,
                       .required = "InstanceName",
                       .optional = ""},
    IntrinsicOperation{.name = "GetProperty",
                       .carry_out = get_property,
                       .required = "InstanceName PropertyName",
                       .optional = ""},
    IntrinsicOperation{.name = "SetProperty",
                       .carry_out = set_property,
                       .required = "InstanceName PropertyName",
                       .optional = "NewValue"},
    IntrinsicOperation{.name = "Associators",
                       .carry_out = associators,
                       .required = "ObjectName",
                       .optional = "AssocClass ResultClass Role ResultRole IncludeQualifiers "
                                   "IncludeClassOrigin PropertyList"},
    IntrinsicOperation{.name = "AssociatorNames",
                       .carry_out = associator_names,
                       .required = "ObjectName",
                       .optional = "AssocClass ResultClass Role ResultRole"},
    IntrinsicOperation{
        .name = "References",
        .carry_out = references,
        .required = "ObjectName",
        .optional = "ResultClass Role IncludeQualifiers IncludeClassOrigin PropertyList"},
    IntrinsicOperation{.name = "ReferenceNames",
                       .carry_out = reference_names,
                       .required = "ObjectName",
                       .optional = "ResultClass Role"},
    IntrinsicOperation{.name = "GetClass",
                       .carry_out = get_class,
                       .required = "ClassName",
                       .optional = "LocalOnly IncludeQualifiers IncludeClassOrigin PropertyList"},
    IntrinsicOperation{
        .name = "EnumerateClasses",
        .carry_out = enumerate_classes,
        .required = "",
        .optional = "ClassName DeepInheritance LocalOnly IncludeQualifiers IncludeClassOrigin"},
    IntrinsicOperation{.name = "EnumerateClassNames",
                       .carry_out = enumerate_class_names,
                       .required = "",
                       .optional = "ClassName DeepInheritance"},
    IntrinsicOperation{.name = "EnumerateQualifiers",
                       .carry_out = enumerate_qualifiers,
                       .required = "",
                       .optional = ""},
    IntrinsicOperation{.name = "GetQualifier",
                       .carry_out = get_qualifier,
                       .required = "QualifierName",
                       .optional = ""},
    IntrinsicOperation{.name = "OpenEnumerateInstances",
                       .carry_out = open_enumerate_instances,
                       .required = "ClassName",
                       .optional =
                           "DeepInheritance IncludeClassOrigin PropertyList FilterQueryLanguage "
                           "FilterQuery OperationTimeout ContinueOnError MaxObjectCount"},
    IntrinsicOperation{.name = "OpenEnumerateInstancePaths",
                       .carry_out = open_enumerate_instance_paths,
                       .required = "ClassName",
                       .optional =
                           "FilterQueryLanguage FilterQuery OperationTimeout ContinueOnError "
                           "MaxObjectCount"},
    IntrinsicOperation{.name = "OpenAssociatorInstances",
                       .carry_out = open_associator_instances,
                       .required = "InstanceName",
                       .optional =
                           "AssocClass ResultClass Role ResultRole IncludeClassOrigin PropertyList "
                           "FilterQueryLanguage FilterQuery OperationTimeout ContinueOnError "
                           "MaxObjectCount"},
    IntrinsicOperation{.name = "OpenAssociatorInstancePaths",
                       .carry_out = open_associator_instance_paths,
                       .required = "InstanceName",
                       .optional =
                           "AssocClass ResultClass Role ResultRole FilterQueryLanguage FilterQuery "
                           "OperationTimeout ContinueOnError MaxObjectCount"},
    IntrinsicOperation{.name = "OpenReferenceInstances",
                       .carry_out = open_reference_instances,
                       .required = "InstanceName",
                       .optional =
                           "ResultClass Role IncludeClassOrigin PropertyList FilterQueryLanguage "
                           "FilterQuery OperationTimeout ContinueOnError MaxObjectCount"},
    IntrinsicOperation{.name = "OpenReferenceInstancePaths",
                       .carry_out = open_reference_instance_paths,
                       .required = "InstanceName",
                       .optional =
                           "ResultClass Role FilterQueryLanguage FilterQuery OperationTimeout "
                           "ContinueOnError MaxObjectCount"},
    IntrinsicOperation{.name = "PullInstancesWithPath",
                       .carry_out = pull_instances_with_path,
                       .required = "EnumerationContext MaxObjectCount",
                       .optional = ""},
    IntrinsicOperation{.name = "PullInstancePaths",
                       .carry_out = pull_instance_paths,
                       .required = "EnumerationContext MaxObjectCount",
                       .optional = ""},
    IntrinsicOperation{.name = "CloseEnumeration",
                       .carry_out = close_enumeration,
                       .required = "EnumerationContext",
                       .optional = ""},
};

// Calls each with every word of the list until one call returns true.
template <class Each>
bool any_word(std::string_view list, Each each) {
  while (!list.empty())
    if (each(platform::take_to(list, ' '))) return true;
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

std::span<const IntrinsicOperation> intrinsic_operations() { return kOperations; }

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
