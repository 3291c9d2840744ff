#include "broker/tables.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <thread>

#include "broker/tables_fixture.h"

namespace broker {
namespace {

// Every table is a version and pointers after it; that of the operations begins with two numbers.
template <class Table>
void expect_no_null(const Table& table, const char* name) {
  const auto* bytes = reinterpret_cast<const char*>(&table);
  for (std::size_t at = 8; at < sizeof table; at += sizeof(void*)) {
    void* member = nullptr;
    std::memcpy(&member, bytes + at, sizeof member);
    EXPECT_NE(member, nullptr) << name << " at offset " << at;
  }
}

TEST(Tables, HaveNoNullMemberAndAreOfVersion210) {
  const Tables tables;
  expect_no_null(tables.broker, "broker");  // the first 8 bytes are the handle
  expect_no_null(tables.operations, "operations");
  EXPECT_EQ(tables.operations.brokerVersion, 210);
  const auto check = [](const auto& table, const char* name) {
    expect_no_null(table, name);
    EXPECT_EQ(table.ftVersion, 210) << name;
  };
  check(tables.factories, "factories");
  check(tables.system, "system");
  check(tables.memory, "memory");
  check(tables.context, "context");
  check(tables.result, "result");
  check(tables.string, "string");
  check(tables.array, "array");
  check(tables.enumeration, "enumeration");
  check(tables.instance, "instance");
  check(tables.object_path, "object_path");
  check(tables.args, "args");
  check(tables.date_time, "date_time");
  check(tables.error, "error");
  check(tables.property_list, "property_list");
  check(tables.enumeration_filter, "enumeration_filter");
  check(tables.select_expression, "select_expression");
  check(tables.select_condition, "select_condition");
  check(tables.sub_condition, "sub_condition");
  check(tables.predicate, "predicate");
}

TEST_F(TablesTest, WrongHandlesAreRefused) {
  const auto& string_table = core_->tables().string;
  EXPECT_EQ(string_table.getCharPtr(nullptr, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_HANDLE);
  const CMPIString foreign{&rc_, &string_table};
  EXPECT_EQ(string_table.getCharPtr(&foreign, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(string_table.getCharPtr(reinterpret_cast<CMPIString*>(path("TEST_Widget")), &rc_),
            nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(mb_->eft->newString(nullptr, "x", &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(mb_->bft->enumerateInstances(mb_, nullptr, path("TEST_Widget"), nullptr, &rc_),
            nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(string_table.getCharPtr(nullptr, nullptr), nullptr);  // a null status is fine
}

TEST_F(TablesTest, PathsNeedAServedNameSpaceAndAKnownClass) {
  EXPECT_EQ(mb_->eft->newObjectPath(mb_, "root/other", "TEST_Widget", &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_NAMESPACE);
  EXPECT_EQ(path("TEST_None"), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_FOUND);
  CMPIObjectPath* made = path("test_widget");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(text(made->ft->getClassName(made, &rc_)), "test_widget");
  EXPECT_EQ(text(made->ft->getNameSpace(made, &rc_)), "root/cimv2");
  EXPECT_EQ(text(made->ft->getHostname(made, &rc_)), "");
}

TEST_F(TablesTest, KeysAreCheckedAgainstTheClass) {
  CMPIObjectPath* made = path("TEST_Faulty");
  CMPIValue value{};
  value.uint32 = 5;
  EXPECT_EQ(made->ft->addKey(made, "Other", &value, CMPI_uint32).rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(made->ft->addKey(made, "Id", &value, CMPI_uint16).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(made->ft->addKey(made, "Id", nullptr, CMPI_uint32).rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(made->ft->addKey(made, "Id", &value, CMPI_args).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(made->ft->getKeyCount(made, &rc_), 0u);
  EXPECT_EQ(made->ft->addKey(made, "ID", &value, CMPI_uint32).rc, CMPI_RC_OK);
  CMPIString* name = nullptr;
  const CMPIData data = made->ft->getKeyAt(made, 0, &name, &rc_);
  EXPECT_EQ(text(name), "Id");
  EXPECT_EQ(data.type, CMPI_uint32);
  EXPECT_EQ(data.state, CMPI_keyValue);
  EXPECT_EQ(data.value.uint32, 5u);
  const CMPIData missing = made->ft->getKey(made, "Other", &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(missing.state, CMPI_notFound | CMPI_nullValue);
  made->ft->getKeyAt(made, 1, nullptr, &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(text(made->ft->toString(made, &rc_)), "root/cimv2:TEST_Faulty.Id=5");
}

TEST_F(TablesTest, PropertiesAreCheckedAgainstTheClass) {
  CMPIInstance* made = instance("TEST_Widget");
  CMPIValue value{};
  EXPECT_EQ(made->ft->setProperty(made, "Other", &value, CMPI_uint8).rc,
            CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(made->ft->setProperty(made, "U8", &value, CMPI_uint16).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(made->ft->setProperty(made, "U8", &value, CMPI_uint8A).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(made->ft->setProperty(made, "U8", nullptr, CMPI_string).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(made->ft->setProperty(made, "When", &value, CMPI_string).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(made->ft->setProperty(made, nullptr, &value, CMPI_uint8).rc,
            CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(
      made->ft->setPropertyWithOrigin(made, "Caption", nullptr, CMPI_string, "TEST_Widget").rc,
      CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(made->ft->getPropertyCount(made, &rc_), 0u);
  EXPECT_EQ(made->ft->setPropertyWithOrigin(made, "Caption", nullptr, CMPI_string, "TEST_Base").rc,
            CMPI_RC_OK);
  EXPECT_EQ(made->ft->getProperty(made, "caption", &rc_).state, CMPI_nullValue);
  EXPECT_EQ(rc_.rc, CMPI_RC_OK);
  made->ft->getProperty(made, "U8", &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_NE(text(rc_.msg).find("U8"), std::string::npos);
}

TEST_F(TablesTest, PropertiesMayBeSetInAnyOrderAndAgain) {
  CMPIInstance* const made = instance("TEST_Widget");
  CMPIValue value{};
  const std::map<std::string, CMPIType> types = {
      {"U8", CMPI_uint8}, {"S8", CMPI_sint8}, {"Flag", CMPI_boolean}};
  for (const char* name : {"U8", "S8", "U8", "Flag", "S8", "Flag"}) {
    ++value.uint8;
    const CMPIType type = types.at(name);
    EXPECT_EQ(made->ft->setProperty(made, name, &value, type).rc, CMPI_RC_OK) << name;
  }
  EXPECT_EQ(made->ft->getPropertyCount(made, nullptr), 3u);
  EXPECT_EQ(made->ft->getProperty(made, "U8", nullptr).value.uint8, 3);
  EXPECT_EQ(made->ft->getProperty(made, "S8", nullptr).value.sint8, 5);
}

TEST_F(TablesTest, OnlyTheBytesOfATypeAreRead) {
  CMPIInstance* made = instance("TEST_Widget");
  // The variables are as narrow as their types, so that the address sanitizer finds a wider read.
  auto number = std::make_unique<CMPIUint8>(CMPIUint8{200});
  EXPECT_EQ(
      made->ft->setProperty(made, "U8", reinterpret_cast<CMPIValue*>(number.get()), CMPI_uint8).rc,
      CMPI_RC_OK);
  EXPECT_EQ(made->ft->getProperty(made, "U8", &rc_).value.uint8, 200);
  const CMPISint16 negative = -2;
  made->ft->setProperty(made, "S16", reinterpret_cast<const CMPIValue*>(&negative), CMPI_sint16);
  EXPECT_EQ(made->ft->getProperty(made, "S16", &rc_).value.sint16, -2);
}

TEST_F(TablesTest, CharsAreTheStringItself) {
  CMPIInstance* made = instance("TEST_Widget");
  const auto* chars = reinterpret_cast<const CMPIValue*>("text");
  EXPECT_EQ(made->ft->setProperty(made, "Caption", chars, CMPI_chars).rc, CMPI_RC_OK);
  const CMPIData data = made->ft->getProperty(made, "Caption", &rc_);
  EXPECT_EQ(data.type, CMPI_string);
  EXPECT_EQ(text(data.value.string), "text");
}

TEST_F(TablesTest, KeyPropertiesReachThePath) {
  CMPIInstance* made = instance("TEST_Widget");
  made->ft->setProperty(made, "Name", reinterpret_cast<const CMPIValue*>("w"), CMPI_chars);
  CMPIObjectPath* made_path = made->ft->getObjectPath(made, &rc_);
  EXPECT_EQ(text(made_path->ft->toString(made_path, &rc_)), "root/cimv2:TEST_Widget.Name=\"w\"");
  EXPECT_EQ(made->ft->getProperty(made, "Name", &rc_).state, CMPI_keyValue);
}

TEST_F(TablesTest, APropertyFilterDropsPropertiesButNoKeysOfThePath) {
  CMPIInstance* made = instance("TEST_Widget");
  const char* wanted[] = {"u8", nullptr};
  CMPIValue value{};
  made->ft->setProperty(made, "U16", &value, CMPI_uint16);
  EXPECT_EQ(made->ft->setPropertyFilter(made, wanted, nullptr).rc, CMPI_RC_OK);
  EXPECT_EQ(made->ft->setProperty(made, "U8", &value, CMPI_uint8).rc, CMPI_RC_OK);
  EXPECT_EQ(made->ft->setProperty(made, "U32", &value, CMPI_uint32).rc, CMPI_RC_OK);
  made->ft->setProperty(made, "Name", reinterpret_cast<const CMPIValue*>("w"), CMPI_chars);
  EXPECT_EQ(made->ft->getPropertyCount(made, &rc_), 1u);
  CMPIObjectPath* made_path = made->ft->getObjectPath(made, &rc_);
  EXPECT_EQ(made_path->ft->getKeyCount(made_path, &rc_), 1u);
}

TEST_F(TablesTest, SetObjectPathWantsTheSameClassAndAllKeys) {
  CMPIInstance* made = instance("TEST_Widget");
  CMPIObjectPath* other = path("TEST_Widget");
  EXPECT_EQ(made->ft->setObjectPath(made, other).rc, CMPI_RC_ERR_INVALID_PARAMETER);
  other->ft->addKey(other, "Name", reinterpret_cast<const CMPIValue*>("w"), CMPI_chars);
  EXPECT_EQ(made->ft->setObjectPath(made, other).rc, CMPI_RC_OK);
  EXPECT_EQ(made->ft->setObjectPath(made, path("TEST_Plain")).rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(TablesTest, ArraysTakeTheirElementTypeOnly) {
  CMPIArray* made = mb_->eft->newArray(mb_, 2, CMPI_uint16, &rc_);
  CMPIValue value{};
  value.uint16 = 9;
  EXPECT_EQ(made->ft->setElementAt(made, 0, &value, CMPI_uint8).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(made->ft->setElementAt(made, 2, &value, CMPI_uint16).rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(made->ft->setElementAt(made, 1, &value, CMPI_uint16).rc, CMPI_RC_OK);
  EXPECT_EQ(made->ft->getElementAt(made, 0, &rc_).state, CMPI_nullValue);
  EXPECT_EQ(made->ft->getElementAt(made, 1, &rc_).value.uint16, 9);
  made->ft->getElementAt(made, 2, &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(made->ft->setElementAt(made, 1, nullptr, CMPI_uint16).rc, CMPI_RC_OK);
  EXPECT_EQ(made->ft->getElementAt(made, 1, &rc_).state, CMPI_nullValue);
  EXPECT_EQ(made->ft->getSimpleType(made, &rc_), CMPI_uint16);
  EXPECT_EQ(mb_->eft->newArray(mb_, 1, CMPI_uint16A, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(mb_->eft->newArray(mb_, 1, CMPI_args, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  CMPIInstance* owner = instance("TEST_Widget");
  value.array = made;
  EXPECT_EQ(owner->ft->setProperty(owner, "Texts", &value, CMPI_stringA).rc,
            CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(owner->ft->setProperty(owner, "Numbers", &value, CMPI_uint16A).rc, CMPI_RC_OK);
  const CMPIData read = owner->ft->getProperty(owner, "Numbers", &rc_);
  EXPECT_EQ(read.type, CMPI_uint16A);
  EXPECT_EQ(read.value.array->ft->getSize(read.value.array, &rc_), 2u);
}

TEST_F(TablesTest, ArraysOfCharsTakeCharsAndGiveStrings) {
  CMPIArray* made = mb_->eft->newArray(mb_, 1, CMPI_chars, &rc_);
  CMPIValue value{};
  value.string = string("x");
  EXPECT_EQ(made->ft->setElementAt(made, 0, &value, CMPI_string).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(made->ft->setElementAt(made, 0, reinterpret_cast<const CMPIValue*>("a"), CMPI_chars).rc,
            CMPI_RC_OK);
  const CMPIData data = made->ft->getElementAt(made, 0, &rc_);
  EXPECT_EQ(data.type, CMPI_string);
  EXPECT_EQ(text(data.value.string), "a");
}

TEST_F(TablesTest, EmbeddedInstancesAndReferencesAreCopied) {
  CMPIInstance* inner = instance("TEST_Widget");
  CMPIValue number{};
  number.uint8 = 1;
  inner->ft->setProperty(inner, "U8", &number, CMPI_uint8);
  CMPIInstance* outer = instance("TEST_Widget");
  CMPIValue value{};
  value.inst = inner;
  EXPECT_EQ(outer->ft->setProperty(outer, "Inner", &value, CMPI_instance).rc, CMPI_RC_OK);
  number.uint8 = 2;
  inner->ft->setProperty(inner, "U8", &number, CMPI_uint8);
  inner->ft->release(inner);
  CMPIInstance* read = outer->ft->getProperty(outer, "Inner", &rc_).value.inst;
  EXPECT_EQ(read->ft->getProperty(read, "U8", &rc_).value.uint8, 1);
  value.inst = nullptr;
  EXPECT_EQ(outer->ft->setProperty(outer, "Inner", &value, CMPI_instance).rc, CMPI_RC_OK);
  EXPECT_EQ(outer->ft->getProperty(outer, "Inner", &rc_).state, CMPI_nullValue);
  EXPECT_EQ(
      outer->ft->setProperty(outer, "Inner", reinterpret_cast<const CMPIValue*>("x"), CMPI_chars)
          .rc,
      CMPI_RC_ERR_TYPE_MISMATCH);
}

TEST_F(TablesTest, ArgumentsAreReplacedAndFoundByNameWithoutCase) {
  CMPIArgs* args = mb_->eft->newArgs(mb_, &rc_);
  CMPIValue value{};
  value.uint32 = 1;
  args->ft->addArg(args, "A", &value, CMPI_uint32);
  value.uint32 = 2;
  args->ft->addArg(args, "a", &value, CMPI_uint32);
  EXPECT_EQ(args->ft->addArg(args, "B", nullptr, CMPI_ref).rc, CMPI_RC_OK);
  EXPECT_EQ(args->ft->addArg(args, "C", &value, CMPI_enumeration).rc,
            CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(args->ft->getArgCount(args, &rc_), 2u);
  EXPECT_EQ(args->ft->getArg(args, "A", &rc_).value.uint32, 2u);
  EXPECT_EQ(args->ft->getArg(args, "B", &rc_).state, CMPI_nullValue);
  args->ft->getArg(args, "C", &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  args->ft->getArgAt(args, 2, nullptr, &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
}

TEST_F(TablesTest, TheContextHasAllStandardEntries) {
  const CMPIContext* context = operation_->context();
  for (const char* name :
       {CMPIInitNameSpace, CMPIPrincipal, CMPIRole, CMPIAcceptLanguage, CMPIContentLanguage}) {
    const CMPIData data = context->ft->getEntry(context, name, &rc_);
    EXPECT_EQ(rc_.rc, CMPI_RC_OK) << name;
    EXPECT_EQ(data.type, CMPI_string) << name;
  }
  EXPECT_EQ(context->ft->getEntry(context, CMPIInvocationFlags, &rc_).type, CMPI_uint32);
  EXPECT_EQ(text(context->ft->getEntry(context, CMPIInitNameSpace, &rc_).value.string),
            "root/cimv2");
  context->ft->getEntry(context, "Other", &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(
      context->ft->addEntry(context, "Other", reinterpret_cast<const CMPIValue*>("v"), CMPI_chars)
          .rc,
      CMPI_RC_OK);
  EXPECT_EQ(context->ft->getEntryCount(context, &rc_), 7u);
  CMPIString* name = nullptr;
  EXPECT_EQ(text(context->ft->getEntryAt(context, 6, &name, &rc_).value.string), "v");
  EXPECT_EQ(text(name), "Other");
}

TEST_F(TablesTest, AContextOfAnotherThreadIsRefused) {
  const auto find = [this](const CMPIContext* context) {
    mb_->bft->enumerateInstances(mb_, context, path("TEST_Widget"), nullptr, &rc_);
    return rc_.rc;
  };
  EXPECT_EQ(find(operation_->context()), CMPI_RC_OK);
  CMPIContext* clone = operation_->context()->ft->clone(operation_->context(), nullptr);
  EXPECT_EQ(find(clone), CMPI_RC_OK);
  clone->ft->release(clone);
  CMPIContext* prepared = mb_->bft->prepareAttachThread(mb_, operation_->context());
  EXPECT_EQ(find(prepared), CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(prepared->ft->release(prepared).rc, CMPI_RC_OK);
  std::thread([&, outer = operation_->context()] {
    const Operation other(*core_, Request{}, 0);
    CMPIStatus status{CMPI_RC_OK, nullptr};
    CMPIObjectPath* widget = mb_->eft->newObjectPath(mb_, "root/cimv2", "TEST_Widget", nullptr);
    mb_->bft->enumerateInstances(mb_, outer, widget, nullptr, &status);
    EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_HANDLE);
  }).join();
}

}  // namespace
}  // namespace broker
