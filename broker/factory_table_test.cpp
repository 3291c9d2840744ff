// Functions that make objects and ask about them, and the objects that are more than values.
#include <gtest/gtest.h>

#include <cstring>

#include "broker/tables_fixture.h"

namespace broker {
namespace {

TEST_F(TablesTest, DateTimesAreCheckedAndConverted) {
  EXPECT_EQ(mb->eft->newDateTimeFromChars(mb, "20240131", &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  CMPIDateTime* stamp = mb->eft->newDateTimeFromChars(mb, "20240131120000.000001+060", &rc);
  EXPECT_EQ(stamp->ft->getBinaryFormat(stamp, &rc), 1706698800000001u);
  EXPECT_EQ(stamp->ft->isInterval(stamp, &rc), 0);
  CMPIDateTime* interval = mb->eft->newDateTimeFromBinary(mb, 86400000005, 1, &rc);
  EXPECT_EQ(text(interval->ft->getStringFormat(interval, &rc)), "00000001000000.000005:000");
  EXPECT_EQ(interval->ft->isInterval(interval, &rc), 1);
  EXPECT_EQ(mb->eft->newDateTimeFromBinary(mb, ~0ull, 0, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(TablesTest, ClassQuestionsFollowTheInheritance) {
  EXPECT_EQ(mb->eft->classPathIsA(mb, path("TEST_Gadget"), "test_base", &rc), 1);
  EXPECT_EQ(mb->eft->classPathIsA(mb, path("TEST_Plain"), "TEST_Widget", &rc), 0);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(mb->eft->classPathIsA(mb, path("TEST_Plain"), "TEST_None", &rc), 0);
  EXPECT_EQ(mb->eft->classPathIsA(mb, path("TEST_Plain"), nullptr, &rc), 0);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(TablesTest, QualifiersAreTyped) {
  CMPIObjectPath* widget = path("TEST_Widget");
  EXPECT_EQ(text(widget->ft->getClassQualifier(widget, "Description", &rc).value.string),
            "What everything has.");
  EXPECT_EQ(widget->ft->getPropertyQualifier(widget, "Name", "Key", &rc).value.boolean, 1);
  EXPECT_EQ(widget->ft->getPropertyQualifier(widget, "Name", "MaxLen", &rc).value.uint32, 64u);
  EXPECT_EQ(widget->ft->getPropertyQualifier(widget, "U32", "ValueMap", &rc).type, CMPI_stringA);
  widget->ft->getPropertyQualifier(widget, "U32", "Key", &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
  widget->ft->getPropertyQualifier(widget, "None", "Key", &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(text(widget->ft->getParameterQualifier(widget, "Echo", "Inner", "EmbeddedInstance", &rc)
                     .value.string),
            "TEST_Widget");
  widget->ft->getMethodQualifier(widget, "Echo", "Static", &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(TablesTest, ObjectsTellTheirTypeAndText) {
  CMPIObjectPath* made = path("TEST_Widget");
  EXPECT_EQ(text(mb->eft->getType(mb, made, &rc)), "CMPIObjectPath");
  EXPECT_EQ(mb->eft->isOfType(mb, made, "CMPIObjectPath", &rc), 1);
  EXPECT_EQ(mb->eft->isOfType(mb, made, "CMPIInstance", &rc), 0);
  EXPECT_EQ(text(mb->eft->toString(mb, made, &rc)), "root/cimv2:TEST_Widget");
  EXPECT_EQ(text(mb->eft->toString(mb, string("x"), &rc)), "x");
  EXPECT_EQ(mb->eft->toString(mb, nullptr, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(TablesTest, MessagesAreTheirDefaultTextWithArguments) {
  EXPECT_EQ(text(mb->eft->getMessage(mb, "id", "$0 of $1: $2 $9 $", &rc, 3, int{CMPI_uint32}, 3u,
                                     int{CMPI_chars}, "four", int{CMPI_boolean}, 1)),
            "3 of four: true $9 $");
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(
      text(mb->eft->getMessage2(mb, "id", nullptr, "$0", &rc, 1, int{CMPI_string}, string("s"))),
      "s");
  EXPECT_EQ(mb->eft->getMessage(mb, "id", "$0", &rc, 1, int{CMPI_ref}, nullptr), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_TYPE_MISMATCH);
  CMPIMsgFileHandle file = &rc;
  EXPECT_EQ(mb->eft->openMessageFile(mb, "messages", &file).rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(file, nullptr);
  EXPECT_EQ(mb->eft->closeMessageFile(mb, nullptr).rc, CMPI_RC_OK);
  EXPECT_EQ(mb->eft->closeMessageFile(mb, &rc).rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(TablesTest, ErrorsKeepTheirAttributes) {
  CMPIError* error =
      mb->eft->newCMPIError(mb, "owner", "id", "message", ErrorSevHigh,
                            static_cast<CMPIErrorProbableCause>(86), CMPI_RC_ERR_FAILED, &rc);
  EXPECT_EQ(text(error->ft->getMessage(error, &rc)), "message");
  EXPECT_EQ(error->ft->getOtherErrorType(error, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(error->ft->getCIMStatusCode(error, &rc), CMPI_RC_ERR_FAILED);
  error->ft->setErrorSource(error, "source");
  EXPECT_EQ(text(error->ft->getErrorSource(error, &rc)), "source");
  error->ft->setErrorSource(error, nullptr);
  EXPECT_EQ(error->ft->getErrorSource(error, &rc), nullptr);
  EXPECT_EQ(error->ft->setMessageArguments(error, mb->eft->newArray(mb, 1, CMPI_uint8, &rc)).rc,
            CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(error->ft->setMessageArguments(error, mb->eft->newArray(mb, 1, CMPI_string, &rc)).rc,
            CMPI_RC_OK);
  CMPIArray* arguments = error->ft->getMessageArguments(error, &rc);
  EXPECT_EQ(arguments->ft->getSize(arguments, &rc), 1u);
}

TEST_F(TablesTest, CodePagesAreConverted) {
  CMPIString* made = string("a\xC3\xA4\xF0\x9F\x98\x80");
  char* wide = made->ft->newCharsCP(made, CMPI_CPID_UTF16, &rc);
  ASSERT_NE(wide, nullptr);
  const char16_t expected[] = u"a\u00E4\U0001F600";
  EXPECT_EQ(std::memcmp(wide, expected, sizeof expected), 0);
  EXPECT_EQ(text(mb->eft->newStringCP(mb, wide, CMPI_CPID_UTF16, &rc)), text(made));
  mb->mft->freeChars(mb, wide);
  EXPECT_EQ(made->ft->newCharsCP(made, CMPI_CPID_USASCII, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_IN_CODEPAGE);
  EXPECT_EQ(made->ft->newCharsCP(made, static_cast<CMPICodepageID>(99), &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(TablesTest, WhatIsNoUtf8IsInNoOtherCodePage) {
  for (const char* bytes :
       {"\xC0\xAF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
    CMPIString* made = string(bytes);
    EXPECT_EQ(made->ft->newCharsCP(made, CMPI_CPID_UTF16, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_IN_CODEPAGE);
  }
}

TEST_F(TablesTest, PropertyListsIgnoreCase) {
  const char* names[] = {"One", "Two", nullptr};
  CMPIPropertyList* list = mb->eft->newPropertyList(mb, names, &rc);
  CMPIPropertyList* copy = list->ft->clone(list, &rc);
  list->ft->release(list);
  EXPECT_EQ(copy->ft->isPropertyInList(copy, "tWO", &rc), 1);
  EXPECT_EQ(copy->ft->isPropertyInList(copy, "Three", &rc), 0);
  EXPECT_STREQ(copy->ft->getProperties(copy, &rc)[1], "Two");
  EXPECT_EQ(copy->ft->getProperties(copy, &rc)[2], nullptr);
  copy->ft->release(copy);
}

TEST_F(TablesTest, QueriesAndIndicationsAreNotSupported) {
  EXPECT_EQ(mb->eft->newSelectExp(mb, "SELECT * FROM TEST_Widget", "WQL", nullptr, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(mb->bft->execQuery(mb, operation->context(), path("TEST_Widget"), "q", "WQL", &rc),
            nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(
      mb->bft->deliverIndication(mb, operation->context(), "root/cimv2", instance("TEST_Widget"))
          .rc,
      CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(core->tables().select_expression.evaluate(nullptr, nullptr, &rc), 0);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(mb->eft->newEnumerationFilter(mb, "DMTF:FQL", "q", &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED);
  CMPIEnumerationFilter* all = mb->eft->newEnumerationFilter(mb, nullptr, nullptr, &rc);
  EXPECT_EQ(all->ft->match(all, instance("TEST_Widget"), &rc), 1);
}

}  // namespace
}  // namespace broker
