// Which properties an instance takes once a filter was set on it.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "broker/tables_fixture.h"

namespace broker {
namespace {

// An instance of TEST_Widget and the properties that are set on it.
class PropertyFilter : public TablesTest {
 protected:
  CMPIrc filter(std::initializer_list<const char*> names, const char** keys = nullptr) {
    std::vector<const char*> list(names);
    list.push_back(nullptr);
    return made_->ft->setPropertyFilter(made_, list.data(), keys).rc;
  }
  void set(std::initializer_list<const char*> names) {
    for (const char* name : names) {
      ++value_.uint8;
      const CMPIType type = *name == 'U' ? CMPI_uint8 : CMPI_sint8;
      EXPECT_EQ(made_->ft->setProperty(made_, name, &value_, type).rc, CMPI_RC_OK) << name;
    }
  }
  // In the order of the instance, each with its value.
  std::string present() {
    std::string all;
    for (CMPICount i = 0; i < made_->ft->getPropertyCount(made_, nullptr); ++i) {
      CMPIString* name = nullptr;
      const CMPIData data = made_->ft->getPropertyAt(made_, i, &name, nullptr);
      const CMPIData same = made_->ft->getProperty(made_, text(name).c_str(), nullptr);
      EXPECT_EQ(same.value.uint8, data.value.uint8) << text(name);
      all += (all.empty() ? "" : " ") + text(name) + "=" + std::to_string(data.value.uint8);
    }
    return all;
  }

  CMPIInstance* const made_ = instance("TEST_Widget");
  CMPIValue value_{};
};

TEST_F(PropertyFilter, NullAcceptsEverythingAgain) {
  EXPECT_EQ(filter({"U8"}), CMPI_RC_OK);
  set({"U8", "S8"});
  EXPECT_EQ(present(), "U8=1");
  EXPECT_EQ(made_->ft->setPropertyFilter(made_, nullptr, nullptr).rc, CMPI_RC_OK);
  EXPECT_EQ(present(), "U8=1") << "nothing comes back";
  set({"S8"});
  EXPECT_EQ(present(), "U8=1 S8=3");
}

TEST_F(PropertyFilter, AnEmptyListAcceptsNothing) {
  set({"U8", "S8"});
  EXPECT_EQ(filter({}), CMPI_RC_OK);
  EXPECT_EQ(present(), "");
  set({"U8", "S8"});
  EXPECT_EQ(present(), "");
}

TEST_F(PropertyFilter, ASecondListReplacesTheFirst) {
  EXPECT_EQ(filter({"U8"}), CMPI_RC_OK);
  set({"U8", "S8"});
  EXPECT_EQ(filter({"s8", "NoSuch"}), CMPI_RC_OK);
  EXPECT_EQ(present(), "");
  set({"U8", "S8"});
  EXPECT_EQ(present(), "S8=4");
}

// Of the first, the last and the only one, in the class's order and against it.
TEST_F(PropertyFilter, AnErasedPropertyCanBeSetAgain) {
  set({"U8", "S8"});
  EXPECT_EQ(filter({"U8"}), CMPI_RC_OK);
  EXPECT_EQ(made_->ft->setPropertyFilter(made_, nullptr, nullptr).rc, CMPI_RC_OK);
  set({"S8", "S8"});
  EXPECT_EQ(present(), "U8=1 S8=4");
  EXPECT_EQ(filter({"S8"}), CMPI_RC_OK);
  EXPECT_EQ(made_->ft->setPropertyFilter(made_, nullptr, nullptr).rc, CMPI_RC_OK);
  set({"U8", "U8"});
  EXPECT_EQ(present(), "S8=4 U8=6");
  EXPECT_EQ(filter({}), CMPI_RC_OK);
  EXPECT_EQ(made_->ft->setPropertyFilter(made_, nullptr, nullptr).rc, CMPI_RC_OK);
  set({"S8", "U8", "S8"});
  EXPECT_EQ(present(), "S8=9 U8=8");
}

// The class says which properties are keys.
TEST_F(PropertyFilter, AListOfKeysIsIgnored) {
  const char* keys[] = {"S8", "Caption", nullptr};
  set({"U8", "S8"});
  EXPECT_EQ(filter({"U8"}, keys), CMPI_RC_OK);
  EXPECT_EQ(present(), "U8=1");
  made_->ft->setProperty(made_, "Name", reinterpret_cast<const CMPIValue*>("w"), CMPI_chars);
  EXPECT_EQ(present(), "U8=1");
  CMPIObjectPath* const made_path = made_->ft->getObjectPath(made_, nullptr);
  EXPECT_EQ(text(made_path->ft->toString(made_path, nullptr)), "root/cimv2:TEST_Widget.Name=\"w\"");
}

}  // namespace
}  // namespace broker
