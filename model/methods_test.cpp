// The signatures of the methods that providers implement.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/classes.h"

namespace ovk_cimple {
namespace {

struct Method {
  const char* name;
  std::vector<const char*> parameters;  // in their order, without the return value
};

struct MethodsOf {
  const char* class_name;
  std::vector<Method> methods;
};

// As the MOF would have them; in and out parameters with both words.
const std::vector<MethodsOf>& table() {
  const Method request_state_change = {
      "RequestStateChange",
      {"in uint16 RequestedState", "out CIM_ConcreteJob REF Job", "in datetime TimeoutPeriod"}};
  static const auto& rows = *new std::vector<MethodsOf>{
      {"KAVRO_DiskDrive",
       {request_state_change,
        {"SetPowerState", {"in uint16 PowerState", "in datetime Time"}},
        {"Reset", {}},
        {"EnableDevice", {"in boolean Enabled"}},
        {"OnlineDevice", {"in boolean Online"}},
        {"QuiesceDevice", {"in boolean Quiesce"}},
        {"SaveProperties", {}},
        {"RestoreProperties", {}},
        {"LockMedia", {"in boolean Lock"}}}},
      {"KAVRO_HDDTest_HelpService",
       {request_state_change,
        {"StartService", {}},
        {"StopService", {}},
        {"GetHelp",
         {"in string RequestedDocument", "in out uint16 Format", "in uint16 RequestedDelivery",
          "out string DocumentInfo"}}}},
      {"KAVRO_HDDTest_DiagnosticService",
       {request_state_change,
        {"StartService", {}},
        {"StopService", {}},
        {"RunDiagnostic",
         {"in CIM_ManagedElement REF ManagedElement", "in CIM_DiagnosticSetting REF DiagSetting",
          "in CIM_JobSettingData REF JobSettings", "out CIM_ConcreteJob REF Job"}}}},
      {"KAVRO_HDDTest_DiagnosticsLog", {request_state_change, {"ClearLog", {}}}},
      {"KAVRO_HDDTest_DiagnosticSetting",
       {{"VerifyOKToApplyToMSE",
         {"in CIM_ManagedSystemElement REF MSE", "in datetime TimeToApply",
          "in datetime MustBeCompletedBy"}},
        {"ApplyToMSE",
         {"in CIM_ManagedSystemElement REF MSE", "in datetime TimeToApply",
          "in datetime MustBeCompletedBy"}},
        {"VerifyOKToApplyToCollection",
         {"in CIM_CollectionOfMSEs REF Collection", "in datetime TimeToApply",
          "in datetime MustBeCompletedBy", "out string CanNotApply[]"}},
        {"ApplyToCollection",
         {"in CIM_CollectionOfMSEs REF Collection", "in datetime TimeToApply",
          "in boolean ContinueOnError", "in datetime MustBeCompletedBy",
          "out string CanNotApply[]"}},
        {"VerifyOKToApplyIncrementalChangeToMSE",
         {"in CIM_ManagedSystemElement REF MSE", "in datetime TimeToApply",
          "in datetime MustBeCompletedBy", "in string PropertiesToApply[]"}},
        {"ApplyIncrementalChangeToMSE",
         {"in CIM_ManagedSystemElement REF MSE", "in datetime TimeToApply",
          "in datetime MustBeCompletedBy", "in string PropertiesToApply[]"}},
        {"VerifyOKToApplyIncrementalChangeToCollection",
         {"in CIM_CollectionOfMSEs REF Collection", "in datetime TimeToApply",
          "in datetime MustBeCompletedBy", "in string PropertiesToApply[]",
          "out string CanNotApply[]"}},
        {"ApplyIncrementalChangeToCollection",
         {"in CIM_CollectionOfMSEs REF Collection", "in datetime TimeToApply",
          "in boolean ContinueOnError", "in datetime MustBeCompletedBy",
          "in string PropertiesToApply[]", "out string CanNotApply[]"}}}},
      {"KAVRO_HDDTest_ConcreteJob",
       {{"KillJob", {"in boolean DeleteOnKill"}},
        {"RequestStateChange", {"in uint16 RequestedState", "in datetime TimeoutPeriod"}}}},
  };
  return rows;
}

std::string type_of(const MetaProperty& parameter) {
  switch (parameter.type) {
    case Type::boolean:
      return "boolean";
    case Type::uint16:
      return "uint16";
    case Type::uint32:
      return "uint32";
    case Type::string:
      return "string";
    case Type::datetime:
      return "datetime";
    case Type::reference:
      return std::string(parameter.reference_class->name) + " REF";
    default:
      return "of a type that no method has";
  }
}

std::vector<std::string> parameters_of(const MetaClass& method) {
  std::vector<std::string> result;
  for (const MetaProperty& parameter : method.properties) {
    // Only a reference has a class.
    EXPECT_EQ(parameter.reference_class != nullptr, parameter.type == Type::reference);
    EXPECT_FALSE(parameter.key);
    result.push_back(std::string(parameter.in ? "in " : "") + (parameter.out ? "out " : "") +
                     type_of(parameter) + ' ' + parameter.name + (parameter.array ? "[]" : ""));
  }
  return result;
}

TEST(Methods, HoldTheirParametersInOrderAndTheReturnValueLast) {
  for (const auto& [class_name, methods] : table()) {
    const MetaClass* const meta = kavro_repository.find(class_name);
    ASSERT_TRUE(meta) << class_name;
    ASSERT_EQ(meta->methods.size(), methods.size()) << class_name;
    for (std::size_t i = 0; i < methods.size(); ++i) {
      SCOPED_TRACE(class_name + std::string(".") + methods[i].name);
      EXPECT_STREQ(meta->methods[i]->name, methods[i].name);
      std::vector<std::string> expected(methods[i].parameters.begin(), methods[i].parameters.end());
      expected.push_back("out uint32 return_value");
      EXPECT_EQ(parameters_of(*meta->methods[i]), expected);
    }
  }
}

TEST(Methods, EveryOneReturnsAnUnsignedNumber) {
  for (const MetaClass* meta : kavro_repository.classes)
    for (const MetaClass* method : meta->methods) {
      EXPECT_STREQ(method->properties.back().name, "return_value");
      EXPECT_EQ(method->properties.back().type, Type::uint32);
      EXPECT_EQ(method->superclass, nullptr);
    }
}

}  // namespace
}  // namespace ovk_cimple
