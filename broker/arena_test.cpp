#include "broker/arena.h"

#include <gtest/gtest.h>

#include "broker/tables_fixture.h"

namespace broker {
namespace {

using ArenaTest = TablesTest;

// The tests count objects. That their memory is freed too is checked by the leak sanitizer.

TEST_F(ArenaTest, ObjectsGoWithTheOperationAndReleasedOnesAtOnce) {
  const std::size_t before = operation_->arena().size();
  CMPIString* kept = string("kept");
  CMPIString* released = string("released");
  EXPECT_EQ(operation_->arena().size(), before + 2);
  EXPECT_EQ(released->ft->release(released).rc, CMPI_RC_OK);
  EXPECT_EQ(operation_->arena().size(), before + 1);
  EXPECT_EQ(text(kept), "kept");
}

TEST_F(ArenaTest, LentObjectsStayWhenReleased) {
  auto* context = const_cast<CMPIContext*>(operation_->context());
  const std::size_t before = operation_->arena().size();
  EXPECT_EQ(context->ft->release(context).rc, CMPI_RC_OK);
  EXPECT_EQ(operation_->arena().size(), before);
  EXPECT_EQ(context->ft->getEntryCount(context, &rc_), 6u);
}

TEST_F(ArenaTest, ClonesOutliveTheOperationAndTheManager) {
  CMPIInstance* original = instance("TEST_Widget");
  const CMPIUint8 number = 7;
  original->ft->setProperty(original, "U8", reinterpret_cast<const CMPIValue*>(&number),
                            CMPI_uint8);
  CMPIInstance* copy = original->ft->clone(original, &rc_);
  ASSERT_NE(copy, nullptr);
  CMPIInstance* second = copy->ft->clone(copy, nullptr);
  CMPIString* title = string("text");
  CMPIString* text_copy = title->ft->clone(title, nullptr);
  operation_.reset();
  core_.reset();
  EXPECT_EQ(copy->ft->getPropertyCount(copy, &rc_), 1u);
  EXPECT_EQ(copy->ft->getProperty(copy, "U8", &rc_).value.uint8, 7);
  EXPECT_EQ(text(text_copy), "text");
  EXPECT_EQ(copy->ft->release(copy).rc, CMPI_RC_OK);
  EXPECT_EQ(second->ft->release(second).rc, CMPI_RC_OK);
  EXPECT_EQ(text_copy->ft->release(text_copy).rc, CMPI_RC_OK);
}

TEST_F(ArenaTest, AMarkEndsWhatWasMadeSince) {
  CMPIString* before = string("before");
  const std::size_t size = operation_->arena().size();
  CMPIGcStat* outer = mb_->mft->mark(mb_, &rc_);
  ASSERT_NE(outer, nullptr);
  string("a");
  CMPIGcStat* inner = mb_->mft->mark(mb_, &rc_);
  CMPIString* b = string("b");
  CMPIString* clone = b->ft->clone(b, nullptr);
  EXPECT_EQ(mb_->mft->release(mb_, inner).rc, CMPI_RC_OK);
  EXPECT_EQ(operation_->arena().size(), size + 1);
  EXPECT_EQ(mb_->mft->release(mb_, inner).rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(mb_->mft->release(mb_, outer).rc, CMPI_RC_OK);
  EXPECT_EQ(operation_->arena().size(), size);
  EXPECT_EQ(text(before), "before");
  EXPECT_EQ(text(clone), "b");
  clone->ft->release(clone);
}

TEST_F(ArenaTest, AMarkSurvivesTheReleaseOfTheObjectBeforeIt) {
  string("first");
  const std::size_t size = operation_->arena().size();
  CMPIString* last = string("last");
  CMPIGcStat* mark = mb_->mft->mark(mb_, &rc_);
  last->ft->release(last);
  string("after");
  EXPECT_EQ(mb_->mft->release(mb_, mark).rc, CMPI_RC_OK);
  EXPECT_EQ(operation_->arena().size(), size);
}

TEST_F(ArenaTest, NestedOperationsHaveArenasOfTheirOwn) {
  const std::size_t outer = operation_->arena().size();
  {
    Operation nested(*core_, Request{}, 0);
    string("nested");
    EXPECT_EQ(Operation::current(), &nested);
  }
  EXPECT_EQ(Operation::current(), operation_.get());
  EXPECT_EQ(operation_->arena().size(), outer);
}

TEST_F(ArenaTest, OutsideAnyOperationNothingCanBeMade) {
  operation_.reset();
  EXPECT_EQ(string("x"), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(rc_.msg, nullptr);
}

// Memory of released objects is used for the next ones of their kind.
TEST_F(ArenaTest, ANewObjectShowsNothingOfAReleasedOne) {
  const char* kept[] = {"Name", nullptr};
  for (int i = 0; i < 20; ++i) {
    CMPIInstance* made = instance("TEST_Widget");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->ft->getPropertyCount(made, &rc_), 0u);
    const CMPIUint8 number = 7;
    EXPECT_EQ(
        made->ft->setProperty(made, "U8", reinterpret_cast<const CMPIValue*>(&number), CMPI_uint8)
            .rc,
        CMPI_RC_OK);
    EXPECT_EQ(made->ft->getPropertyCount(made, &rc_), 1u);
    EXPECT_EQ(made->ft->setPropertyFilter(made, kept, nullptr).rc, CMPI_RC_OK);
    EXPECT_EQ(made->ft->getPropertyCount(made, &rc_), 0u);
    made->ft->release(made);

    CMPIObjectPath* path = mb_->eft->newObjectPath(mb_, "root/cimv2", "TEST_Widget", &rc_);
    EXPECT_EQ(path->ft->getKeyCount(path, &rc_), 0u);
    CMPIString* name = string("a name that needs memory of its own");
    CMPIValue value;
    value.string = name;
    EXPECT_EQ(path->ft->addKey(path, "Name", &value, CMPI_string).rc, CMPI_RC_OK);
    path->ft->setNameSpace(path, "elsewhere");
    path->ft->setHostname(path, "other");
    path->ft->release(path);
    name->ft->release(name);
    CMPIString* shorter = string("short");
    EXPECT_EQ(text(shorter), "short");
    CMPIObjectPath* next = mb_->eft->newObjectPath(mb_, "root/cimv2", "TEST_Widget", &rc_);
    EXPECT_EQ(text(next->ft->getNameSpace(next, &rc_)), "root/cimv2");
    CMPIString* host = next->ft->getHostname(next, &rc_);
    EXPECT_EQ(host ? text(host) : "", "");
  }
}

TEST_F(ArenaTest, AReleasedObjectIsNoneAnyMore) {
  CMPIString* released = string("released");
  released->ft->release(released);
  EXPECT_EQ(core_->tables().string.getCharPtr(released, &rc_), nullptr);
  EXPECT_EQ(rc_.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(ArenaTest, MemoryFunctionsGiveZeroedResizableBlocks) {
  auto* block = static_cast<char*>(mb_->mft->cmpiCalloc(mb_, 4, 8));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[31], 0);
  block = static_cast<char*>(mb_->mft->cmpiRealloc(mb_, block, 64));
  ASSERT_NE(block, nullptr);
  mb_->mft->cmpiFree(mb_, block);
  EXPECT_EQ(mb_->mft->cmpiCalloc(mb_, ~std::size_t{0}, 2), nullptr);
  char* copy = mb_->mft->cmpiStrDup(mb_, "text");
  EXPECT_STREQ(copy, "text");
  mb_->mft->cmpiFree(mb_, copy);
  mb_->mft->cmpiFree(mb_, nullptr);
  // This block is never freed by the provider, but when the providers end.
  EXPECT_NE(mb_->mft->cmpiMalloc(mb_, 100), nullptr);
  core_->end();
}

TEST_F(ArenaTest, EarlyFreeFunctionsEndTheirObjects) {
  const std::size_t before = operation_->arena().size();
  mb_->mft->freeString(mb_, string("x"));
  CMPIObjectPath* made = path("TEST_Widget");
  mb_->mft->freeInstance(mb_, mb_->eft->newInstance(mb_, made, &rc_));
  mb_->mft->freeObjectPath(mb_, made);
  mb_->mft->freeArgs(mb_, mb_->eft->newArgs(mb_, &rc_));
  mb_->mft->freeArray(mb_, mb_->eft->newArray(mb_, 3, CMPI_string, &rc_));
  mb_->mft->freeDateTime(mb_, mb_->eft->newDateTime(mb_, &rc_));
  EXPECT_EQ(operation_->arena().size(), before);
}

}  // namespace
}  // namespace broker
