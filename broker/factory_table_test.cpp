// Functions that make objects and ask about them, and the objects that are more than values.
#include <gtest/gtest.h>

#include <cstring>

#include "broker/tables_fixture.h"

namespace broker {
namespace {

TEST_F(TablesTest, DateTimesAreCheckedAndConverted) {
  EXPECT_EQ(mb_->eft->newDateTimeFromChars(mb_, "20240131", &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  CMPIDateTime* stamp = mb_->eft->newDateTimeFromChars(mb_, "20240131120000.000001+060", &rc_);
  EXPECT_EQ(stamp->ft->getBinaryFormat(stamp, &rc_), 1706698800000001u);
  EXPECT_EQ(stamp->ft->isInterval(stamp, &rc_), 0);
  CMPIDateTime* interval = mb_->eft->newDateTimeFromBinary(mb_, 86400000005, 1, &rc_);
  EXPECT_EQ(text(interval->ft->getStringFormat(interval, &rc_)), "00000001000000.000005:000");
  EXPECT_EQ(interval->ft->isInterval(interval, &rc_), 1);
  EXPECT_EQ(mb_->eft->newDateTimeFromBinary(mb_, ~0ull, 0, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(TablesTest, ClassQuestionsFollowTheInheritance) {
  EXPECT_EQ(mb_->eft->classPathIsA(mb_, path("TEST_Gadget"), "test_base", &rc_), 1);
  EXPECT_EQ(mb_->eft->classPathIsA(mb_, path("TEST_Plain"), "TEST_Widget", &rc_), 0);
  EXPECT_EQ(rc_.rc, CMPI_RC_OK);
  EXPECT_EQ(mb_->eft->classPathIsA(mb_, path("TEST_Plain"), "TEST_None", &rc_), 0);
  EXPECT_EQ(mb_->eft->classPathIsA(mb_, path("TEST_Plain"), nullptr, &rc_), 0);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(TablesTest, QualifiersAreTyped) {
  CMPIObjectPath* widget = path("TEST_Widget");
  EXPECT_EQ(text(widget->ft->getClassQualifier(widget, "Description", &rc_).value.string),
            "What everything has.");
  EXPECT_EQ(widget->ft->getPropertyQualifier(widget, "Name", "Key", &rc_).value.boolean, 1);
  EXPECT_EQ(widget->ft->getPropertyQualifier(widget, "Name", "MaxLen", &rc_).value.uint32, 64u);
  EXPECT_EQ(widget->ft->getPropertyQualifier(widget, "U32", "ValueMap", &rc_).type, CMPI_stringA);
  widget->ft->getPropertyQualifier(widget, "U32", "Key", &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_FOUND);
  widget->ft->getPropertyQualifier(widget, "None", "Key", &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(
      text(widget->ft->getParameterQualifier(widget, "Echo", "Inner", "EmbeddedInstance", &rc_)
               .value.string),
      "TEST_Widget");
  widget->ft->getMethodQualifier(widget, "Echo", "Static", &rc_);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(TablesTest, ObjectsTellTheirTypeAndText) {
  CMPIObjectPath* made = path("TEST_Widget");
  EXPECT_EQ(text(mb_->eft->getType(mb_, made, &rc_)), "CMPIObjectPath");
  EXPECT_EQ(mb_->eft->isOfType(mb_, made, "CMPIObjectPath", &rc_), 1);
  EXPECT_EQ(mb_->eft->isOfType(mb_, made, "CMPIInstance", &rc_), 0);
  EXPECT_EQ(text(mb_->eft->toString(mb_, made, &rc_)), "root/cimv2:TEST_Widget");
  EXPECT_EQ(text(mb_->eft->toString(mb_, string("x"), &rc_)), "x");
  EXPECT_EQ(mb_->eft->toString(mb_, nullptr, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(TablesTest, MessagesAreTheirDefaultTextWithArguments) {
  EXPECT_EQ(text(mb_->eft->getMessage(mb_, "id", "$0 of $1: $2 $9 $", &rc_, 3, int{CMPI_uint32}, 3u,
                                      int{CMPI_chars}, "four", int{CMPI_boolean}, 1)),
            "3 of four: true $9 $");
  EXPECT_EQ(rc_.rc, CMPI_RC_OK);
  EXPECT_EQ(
      text(mb_->eft->getMessage2(mb_, "id", nullptr, "$0", &rc_, 1, int{CMPI_string}, string("s"))),
      "s");
  EXPECT_EQ(mb_->eft->getMessage(mb_, "id", "$0", &rc_, 1, int{CMPI_ref}, nullptr), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_TYPE_MISMATCH);
  CMPIMsgFileHandle file = &rc_;
  EXPECT_EQ(mb_->eft->openMessageFile(mb_, "messages", &file).rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(file, nullptr);
  EXPECT_EQ(mb_->eft->closeMessageFile(mb_, nullptr).rc, CMPI_RC_OK);
  EXPECT_EQ(mb_->eft->closeMessageFile(mb_, &rc_).rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(TablesTest, ErrorsKeepTheirAttributes) {
  CMPIError* error =
      mb_->eft->newCMPIError(mb_, "owner", "id", "message", ErrorSevHigh,
                             static_cast<CMPIErrorProbableCause>(86), CMPI_RC_ERR_FAILED, &rc_);
  EXPECT_EQ(text(error->ft->getMessage(error, &rc_)), "message");
  EXPECT_EQ(error->ft->getOtherErrorType(error, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_OK);
  EXPECT_EQ(error->ft->getCIMStatusCode(error, &rc_), CMPI_RC_ERR_FAILED);
  error->ft->setErrorSource(error, "source");
  EXPECT_EQ(text(error->ft->getErrorSource(error, &rc_)), "source");
  error->ft->setErrorSource(error, nullptr);
  EXPECT_EQ(error->ft->getErrorSource(error, &rc_), nullptr);
  EXPECT_EQ(error->ft->setMessageArguments(error, mb_->eft->newArray(mb_, 1, CMPI_uint8, &rc_)).rc,
            CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(error->ft->setMessageArguments(error, mb_->eft->newArray(mb_, 1, CMPI_string, &rc_)).rc,
            CMPI_RC_OK);
  CMPIArray* arguments = error->ft->getMessageArguments(error, &rc_);
  EXPECT_EQ(arguments->ft->getSize(arguments, &rc_), 1u);
}

TEST_F(TablesTest, CodePagesAreConverted) {
  CMPIString* made = string("a\xC3\xA4\xF0\x9F\x98\x80");
  char* wide = made->ft->newCharsCP(made, CMPI_CPID_UTF16, &rc_);
  ASSERT_NE(wide, nullptr);
  const char16_t expected[] = u"a\u00E4\U0001F600";
  EXPECT_EQ(std::memcmp(wide, expected, sizeof expected), 0);
  EXPECT_EQ(text(mb_->eft->newStringCP(mb_, wide, CMPI_CPID_UTF16, &rc_)), text(made));
  mb_->mft->freeChars(mb_, wide);
  EXPECT_EQ(made->ft->newCharsCP(made, CMPI_CPID_USASCII, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_IN_CODEPAGE);
  EXPECT_EQ(made->ft->newCharsCP(made, static_cast<CMPICodepageID>(99), &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(TablesTest, WhatIsNoUtf8IsInNoOtherCodePage) {
  for (const char* bytes :
       {"\xC0\xAF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
    CMPIString* made = string(bytes);
    EXPECT_EQ(made->ft->newCharsCP(made, CMPI_CPID_UTF16, &rc_), nullptr);
    EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_IN_CODEPAGE);
  }
}

TEST_F(TablesTest, PropertyListsIgnoreCase) {
  const char* names[] = {"One", "Two", nullptr};
  CMPIPropertyList* list = mb_->eft->newPropertyList(mb_, names, &rc_);
  CMPIPropertyList* copy = list->ft->clone(list, &rc_);
  list->ft->release(list);
  EXPECT_EQ(copy->ft->isPropertyInList(copy, "tWO", &rc_), 1);
  EXPECT_EQ(copy->ft->isPropertyInList(copy, "Three", &rc_), 0);
  EXPECT_STREQ(copy->ft->getProperties(copy, &rc_)[1], "Two");
  EXPECT_EQ(copy->ft->getProperties(copy, &rc_)[2], nullptr);
  copy->ft->release(copy);
}

TEST_F(TablesTest, QueriesAndIndicationsAreNotSupported) {
  EXPECT_EQ(mb_->eft->newSelectExp(mb_, "SELECT * FROM TEST_Widget", "WQL", nullptr, &rc_),
            nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(mb_->bft->execQuery(mb_, operation_->context(), path("TEST_Widget"), "q", "WQL", &rc_),
            nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(
      mb_->bft->deliverIndication(mb_, operation_->context(), "root/cimv2", instance("TEST_Widget"))
          .rc,
      CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(core_->tables().select_expression.evaluate(nullptr, nullptr, &rc_), 0);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(mb_->eft->newEnumerationFilter(mb_, "DMTF:FQL", "q", &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED);
  CMPIEnumerationFilter* all = mb_->eft->newEnumerationFilter(mb_, nullptr, nullptr, &rc_);
  EXPECT_EQ(all->ft->match(all, instance("TEST_Widget"), &rc_), 1);
}

}  // namespace
}  // namespace broker
