#include "broker/arena.h"

#include <gtest/gtest.h>

#include "broker/tables_fixture.h"

namespace broker {
namespace {

using ArenaTest = TablesTest;

// The tests count objects. That their memory is freed too is checked by the leak sanitizer.

TEST_F(ArenaTest, ObjectsGoWithTheOperationAndReleasedOnesAtOnce) {
  const std::size_t before = operation->arena().size();
  CMPIString* kept = string("kept");
  CMPIString* released = string("released");
  EXPECT_EQ(operation->arena().size(), before + 2);
  EXPECT_EQ(released->ft->release(released).rc, CMPI_RC_OK);
  EXPECT_EQ(operation->arena().size(), before + 1);
  EXPECT_EQ(text(kept), "kept");
}

TEST_F(ArenaTest, LentObjectsStayWhenReleased) {
  auto* context = const_cast<CMPIContext*>(operation->context());
  const std::size_t before = operation->arena().size();
  EXPECT_EQ(context->ft->release(context).rc, CMPI_RC_OK);
  EXPECT_EQ(operation->arena().size(), before);
  EXPECT_EQ(context->ft->getEntryCount(context, &rc), 6u);
}

TEST_F(ArenaTest, ClonesOutliveTheOperationAndTheManager) {
  CMPIInstance* original = instance("TEST_Widget");
  const CMPIUint8 number = 7;
  original->ft->setProperty(original, "U8", reinterpret_cast<const CMPIValue*>(&number),
                            CMPI_uint8);
  CMPIInstance* copy = original->ft->clone(original, &rc);
  ASSERT_NE(copy, nullptr);
  CMPIInstance* second = copy->ft->clone(copy, nullptr);
  CMPIString* title = string("text");
  CMPIString* text_copy = title->ft->clone(title, nullptr);
  operation.reset();
  core.reset();
  EXPECT_EQ(copy->ft->getPropertyCount(copy, &rc), 1u);
  EXPECT_EQ(copy->ft->getProperty(copy, "U8", &rc).value.uint8, 7);
  EXPECT_EQ(text(text_copy), "text");
  EXPECT_EQ(copy->ft->release(copy).rc, CMPI_RC_OK);
  EXPECT_EQ(second->ft->release(second).rc, CMPI_RC_OK);
  EXPECT_EQ(text_copy->ft->release(text_copy).rc, CMPI_RC_OK);
}

TEST_F(ArenaTest, AMarkEndsWhatWasMadeSince) {
  CMPIString* before = string("before");
  const std::size_t size = operation->arena().size();
  CMPIGcStat* outer = mb->mft->mark(mb, &rc);
  ASSERT_NE(outer, nullptr);
  string("a");
  CMPIGcStat* inner = mb->mft->mark(mb, &rc);
  CMPIString* b = string("b");
  CMPIString* clone = b->ft->clone(b, nullptr);
  EXPECT_EQ(mb->mft->release(mb, inner).rc, CMPI_RC_OK);
  EXPECT_EQ(operation->arena().size(), size + 1);
  EXPECT_EQ(mb->mft->release(mb, inner).rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(mb->mft->release(mb, outer).rc, CMPI_RC_OK);
  EXPECT_EQ(operation->arena().size(), size);
  EXPECT_EQ(text(before), "before");
  EXPECT_EQ(text(clone), "b");
  clone->ft->release(clone);
}

TEST_F(ArenaTest, AMarkSurvivesTheReleaseOfTheObjectBeforeIt) {
  string("first");
  const std::size_t size = operation->arena().size();
  CMPIString* last = string("last");
  CMPIGcStat* mark = mb->mft->mark(mb, &rc);
  last->ft->release(last);
  string("after");
  EXPECT_EQ(mb->mft->release(mb, mark).rc, CMPI_RC_OK);
  EXPECT_EQ(operation->arena().size(), size);
}

TEST_F(ArenaTest, NestedOperationsHaveArenasOfTheirOwn) {
  const std::size_t outer = operation->arena().size();
  {
    Operation nested(*core, Request{}, 0);
    string("nested");
    EXPECT_EQ(Operation::current(), &nested);
  }
  EXPECT_EQ(Operation::current(), operation.get());
  EXPECT_EQ(operation->arena().size(), outer);
}

TEST_F(ArenaTest, OutsideAnyOperationNothingCanBeMade) {
  operation.reset();
  EXPECT_EQ(string("x"), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(rc.msg, nullptr);
}

// Memory of released objects is used for the next ones of their kind.
TEST_F(ArenaTest, ANewObjectShowsNothingOfAReleasedOne) {
  const char* kept[] = {"Name", nullptr};
  for (int i = 0; i < 20; ++i) {
    CMPIInstance* made = instance("TEST_Widget");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->ft->getPropertyCount(made, &rc), 0u);
    const CMPIUint8 number = 7;
    EXPECT_EQ(
        made->ft->setProperty(made, "U8", reinterpret_cast<const CMPIValue*>(&number), CMPI_uint8)
            .rc,
        CMPI_RC_OK);
    EXPECT_EQ(made->ft->getPropertyCount(made, &rc), 1u);
    EXPECT_EQ(made->ft->setPropertyFilter(made, kept, nullptr).rc, CMPI_RC_OK);
    EXPECT_EQ(made->ft->getPropertyCount(made, &rc), 0u);
    made->ft->release(made);

    CMPIObjectPath* path = mb->eft->newObjectPath(mb, "root/cimv2", "TEST_Widget", &rc);
    EXPECT_EQ(path->ft->getKeyCount(path, &rc), 0u);
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
    CMPIObjectPath* next = mb->eft->newObjectPath(mb, "root/cimv2", "TEST_Widget", &rc);
    EXPECT_EQ(text(next->ft->getNameSpace(next, &rc)), "root/cimv2");
    CMPIString* host = next->ft->getHostname(next, &rc);
    EXPECT_EQ(host ? text(host) : "", "");
  }
}

TEST_F(ArenaTest, AReleasedObjectIsNoneAnyMore) {
  CMPIString* released = string("released");
  released->ft->release(released);
  EXPECT_EQ(core->tables().string.getCharPtr(released, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(ArenaTest, MemoryFunctionsGiveZeroedResizableBlocks) {
  auto* block = static_cast<char*>(mb->mft->cmpiCalloc(mb, 4, 8));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[31], 0);
  block = static_cast<char*>(mb->mft->cmpiRealloc(mb, block, 64));
  ASSERT_NE(block, nullptr);
  mb->mft->cmpiFree(mb, block);
  EXPECT_EQ(mb->mft->cmpiCalloc(mb, ~std::size_t{0}, 2), nullptr);
  char* copy = mb->mft->cmpiStrDup(mb, "text");
  EXPECT_STREQ(copy, "text");
  mb->mft->cmpiFree(mb, copy);
  mb->mft->cmpiFree(mb, nullptr);
  // This block is never freed by the provider, but when the providers end.
  EXPECT_NE(mb->mft->cmpiMalloc(mb, 100), nullptr);
  core->end();
}

TEST_F(ArenaTest, EarlyFreeFunctionsEndTheirObjects) {
  const std::size_t before = operation->arena().size();
  mb->mft->freeString(mb, string("x"));
  CMPIObjectPath* made = path("TEST_Widget");
  mb->mft->freeInstance(mb, mb->eft->newInstance(mb, made, &rc));
  mb->mft->freeObjectPath(mb, made);
  mb->mft->freeArgs(mb, mb->eft->newArgs(mb, &rc));
  mb->mft->freeArray(mb, mb->eft->newArray(mb, 3, CMPI_string, &rc));
  mb->mft->freeDateTime(mb, mb->eft->newDateTime(mb, &rc));
  EXPECT_EQ(operation->arena().size(), before);
}

}  // namespace
}  // namespace broker
