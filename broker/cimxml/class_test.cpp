// Operations on classes, on the classes of the tests and on those of the product.
#include <initializer_list>

#include "broker/cimxml/service_fixture.h"
#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Classes = ServiceTest;

std::string returned(std::string_view text) {
  return "<IRETURNVALUE>" + std::string(text) + "</IRETURNVALUE>";
}

constexpr std::string_view kBase =
    "<CLASS NAME=\"TEST_Base\"><QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>What "
    "everything has.</VALUE></QUALIFIER><QUALIFIER NAME=\"Abstract\" TYPE=\"boolean\" "
    "TOSUBCLASS=\"false\"><VALUE>true</VALUE></QUALIFIER><PROPERTY NAME=\"Name\" TYPE=\"string\">"
    "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\" OVERRIDABLE=\"false\"><VALUE>true</VALUE></QUALIFIER>"
    "<QUALIFIER NAME=\"MaxLen\" TYPE=\"uint32\"><VALUE>64</VALUE></QUALIFIER></PROPERTY><PROPERTY "
    "NAME=\"Caption\" TYPE=\"string\"></PROPERTY></CLASS>";

TEST_F(Classes, AClassWithItsQualifiers) {
  EXPECT_EQ(ask("GetClass", class_parameter("ClassName", "test_base")), returned(kBase));
}

TEST_F(Classes, QualifiersMayBeLeftOut) {
  EXPECT_EQ(ask("GetClass", class_parameter("ClassName", "TEST_Base") +
                                value_parameter("IncludeQualifiers", "false")),
            returned("<CLASS NAME=\"TEST_Base\"><PROPERTY NAME=\"Name\" TYPE=\"string\">"
                     "</PROPERTY><PROPERTY NAME=\"Caption\" TYPE=\"string\"></PROPERTY></CLASS>"));
}

TEST_F(Classes, OnlyLocalFeaturesUnlessAskedForAll) {
  const std::string name = class_parameter("ClassName", "TEST_Plain");
  EXPECT_EQ(ask("GetClass", name),
            returned("<CLASS NAME=\"TEST_Plain\" SUPERCLASS=\"TEST_Base\"></CLASS>"));
  EXPECT_EQ(
      ask("GetClass", name + value_parameter("LocalOnly", "false") +
                          value_parameter("IncludeClassOrigin", "true")),
      returned("<CLASS NAME=\"TEST_Plain\" SUPERCLASS=\"TEST_Base\"><QUALIFIER "
               "NAME=\"Description\" TYPE=\"string\" PROPAGATED=\"true\"><VALUE>What everything "
               "has.</VALUE></QUALIFIER><PROPERTY NAME=\"Name\" TYPE=\"string\" "
               "CLASSORIGIN=\"TEST_Base\" PROPAGATED=\"true\"><QUALIFIER NAME=\"Key\" "
               "TYPE=\"boolean\" PROPAGATED=\"true\" OVERRIDABLE=\"false\"><VALUE>true</VALUE>"
               "</QUALIFIER><QUALIFIER NAME=\"MaxLen\" TYPE=\"uint32\" PROPAGATED=\"true\"><VALUE>"
               "64</VALUE></QUALIFIER></PROPERTY><PROPERTY NAME=\"Caption\" TYPE=\"string\" "
               "CLASSORIGIN=\"TEST_Base\" PROPAGATED=\"true\"></PROPERTY></CLASS>"));
}

TEST_F(Classes, PropertyListsChooseProperties) {
  const std::string text =
      ask("GetClass", class_parameter("ClassName", "TEST_Widget") +
                          "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>FRIEND</VALUE>"
                          "<VALUE>texts</VALUE></VALUE.ARRAY></IPARAMVALUE>");
  EXPECT_THAT(text, AllOf(HasSubstr("<PROPERTY.ARRAY NAME=\"Texts\" TYPE=\"string\">"
                                    "</PROPERTY.ARRAY><PROPERTY.REFERENCE NAME=\"Friend\" "
                                    "REFERENCECLASS=\"TEST_Base\"></PROPERTY.REFERENCE>"),
                          Not(HasSubstr("U8"))));
}

TEST_F(Classes, MethodsWithTheirParameters) {
  EXPECT_THAT(
      ask("GetClass", class_parameter("ClassName", "TEST_Widget")),
      AllOf(HasSubstr("<METHOD NAME=\"Echo\" TYPE=\"uint32\"><PARAMETER NAME=\"What\" "
                      "TYPE=\"string\"></PARAMETER><PARAMETER.ARRAY NAME=\"List\" TYPE=\"uint16\">"
                      "</PARAMETER.ARRAY><PARAMETER.REFERENCE NAME=\"Target\" "
                      "REFERENCECLASS=\"TEST_Base\"></PARAMETER.REFERENCE><PARAMETER "
                      "NAME=\"Inner\" TYPE=\"string\"><QUALIFIER NAME=\"EmbeddedInstance\""),
            HasSubstr("<PROPERTY NAME=\"Inner\" TYPE=\"string\" EmbeddedObject=\"instance\">"),
            HasSubstr("<QUALIFIER NAME=\"ValueMap\" TYPE=\"string\"><VALUE.ARRAY><VALUE>0</VALUE>"
                      "<VALUE>1</VALUE></VALUE.ARRAY></QUALIFIER>")));
}

TEST_F(Classes, Enumerations) {
  const auto names = [](std::initializer_list<const char*> names) {
    std::string text;
    for (const char* name : names) text += "<CLASSNAME NAME=\"" + std::string(name) + "\"/>";
    return returned(text);
  };
  EXPECT_EQ(ask("EnumerateClassNames", ""),
            names({"TEST_Base", "TEST_Link", "TEST_OtherLink", "TEST_Faulty"}));
  EXPECT_EQ(ask("EnumerateClassNames", class_parameter("ClassName", "TEST_Base")),
            names({"TEST_Widget", "TEST_Plain"}));
  EXPECT_EQ(ask("EnumerateClassNames", class_parameter("ClassName", "TEST_Base") +
                                           value_parameter("DeepInheritance", "true")),
            names({"TEST_Widget", "TEST_Gadget", "TEST_Plain"}));
  const std::string all = ask("EnumerateClasses", value_parameter("DeepInheritance", "true"));
  EXPECT_EQ(count(all, "<CLASS NAME="), 7u);
  EXPECT_THAT(all, StartsWith("<IRETURNVALUE>" + std::string(kBase)));
}

TEST_F(Classes, AssociationsOfAClass) {
  const auto path = [](std::string_view name) {
    return "<CLASSPATH><NAMESPACEPATH><HOST>" + host_name() + "</HOST>" +
           std::string(kLocalNameSpace) + "</NAMESPACEPATH><CLASSNAME NAME=\"" + std::string(name) +
           "\"/></CLASSPATH>";
  };
  const std::string object = class_parameter("ObjectName", "TEST_Gadget");
  EXPECT_EQ(ask("ReferenceNames", object),
            returned("<OBJECTPATH>" + path("TEST_Link") + "</OBJECTPATH>"));
  EXPECT_EQ(ask("AssociatorNames", object + value_parameter("Role", "Second")),
            returned("<OBJECTPATH>" + path("TEST_Widget") + "</OBJECTPATH>"));
  EXPECT_EQ(ask("AssociatorNames", object),
            returned("<OBJECTPATH>" + path("TEST_Base") + "</OBJECTPATH><OBJECTPATH>" +
                     path("TEST_Widget") + "</OBJECTPATH>"));
  EXPECT_EQ(ask("AssociatorNames", object + class_parameter("ResultClass", "TEST_Plain")),
            returned(""));
  EXPECT_THAT(ask("References", object),
              StartsWith("<IRETURNVALUE><VALUE.OBJECTWITHPATH>" + path("TEST_Link") +
                         "<CLASS NAME=\"TEST_Link\">"));
  for (const char* operation : {"Associators", "AssociatorNames", "References", "ReferenceNames"})
    expect_error(4, operation, class_parameter("ObjectName", "TEST_None"));
}

constexpr std::string_view kKeyDeclaration =
    "<QUALIFIER.DECLARATION NAME=\"Key\" TYPE=\"boolean\" ISARRAY=\"false\" "
    "OVERRIDABLE=\"false\"><SCOPE REFERENCE=\"true\" PROPERTY=\"true\"/><VALUE>false</VALUE>"
    "</QUALIFIER.DECLARATION>";

TEST_F(Classes, QualifiersAreDeclared) {
  EXPECT_EQ(
      ask("EnumerateQualifiers", ""),
      returned(std::string(kKeyDeclaration) +
               "<QUALIFIER.DECLARATION NAME=\"MaxLen\" TYPE=\"uint32\" ISARRAY=\"false\"><SCOPE "
               "PARAMETER=\"true\"/></QUALIFIER.DECLARATION><QUALIFIER.DECLARATION NAME=\"Values\" "
               "TYPE=\"string\" ISARRAY=\"true\" TOSUBCLASS=\"false\" TRANSLATABLE=\"true\"><SCOPE "
               "CLASS=\"true\" ASSOCIATION=\"true\" REFERENCE=\"true\" PROPERTY=\"true\" "
               "METHOD=\"true\" PARAMETER=\"true\" INDICATION=\"true\"/><VALUE.ARRAY><VALUE>"
               "&lt;first&gt;</VALUE><VALUE>second</VALUE></VALUE.ARRAY></QUALIFIER.DECLARATION>"));
}

TEST_F(Classes, OneQualifierByItsName) {
  EXPECT_EQ(ask("GetQualifier", value_parameter("QualifierName", "kEY")),
            returned(kKeyDeclaration));
  expect_error(6, "GetQualifier", value_parameter("QualifierName", "Keys"));
  expect_error(6, "GetQualifier", value_parameter("QualifierName", ""));
  expect_error(4, "GetQualifier", "");
  expect_error(4, "EnumerateQualifiers", value_parameter("QualifierName", "Key"));
}

// The classes that the product serves.
TEST(GeneratedClasses, AreAllWritten) {
  ObjectManager manager(generated_schema(), {});
  Service service(manager);
  const std::string body =
      message(simple_intrinsic("EnumerateClasses", value_parameter("DeepInheritance", "true") +
                                                       value_parameter("LocalOnly", "false")));
  Call call;
  call.body = body;
  call.operation = "MethodCall";
  call.method = "EnumerateClasses";
  call.object = "root/cimv2";
  Recorder reply;
  service.answer(call, reply);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(count(reply.body, "<CLASS NAME="), generated_schema().classes().size());
  EXPECT_THAT(reply.body, testing::EndsWith("</CIM>\n"));
  EXPECT_GE(reply.writes, 2u);
}

}  // namespace
}  // namespace broker::cimxml
