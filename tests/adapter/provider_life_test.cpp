// How long the provider object lives. The tests play the object manager, whose tables are empty:
// every function that the adapter could call is missing.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>

#include "tests/adapter/test_module.h"

namespace ovk_cimple {
namespace {

template <class MI>
CMPIrc end(MI* interface, bool terminating = true) {
  return interface ? interface->ft->cleanup(interface, nullptr, terminating).rc : CMPI_RC_OK;
}
CMPIrc enumerate(CMPIInstanceMI* interface) {
  return interface->ft->enumerateInstances(interface, nullptr, nullptr, nullptr, nullptr).rc;
}

class Life : public testing::Test {
 protected:
  Life() { clear_hooks(); }
  ~Life() override {
    end(instance_);
    end(method_);
    EXPECT_EQ(hooks<TEST_Device>().alive - left_, 0);
    clear_hooks();
  }

  void* open(char kind, const CMPIBroker* broker = nullptr) {
    void* result = nullptr;
    code_ = ovk_cimple_cmpi_adapter(67, &data_, &device_registration(), broker ? broker : &broker_,
                                    nullptr, "TEST_Device_Provider", kind, &result);
    if (kind == 'I') instance_ = static_cast<CMPIInstanceMI*>(result);
    if (kind == 'M') method_ = static_cast<CMPIMethodMI*>(result);
    return result;
  }

  CmpiStaticData data_{};
  CMPIBroker broker_{}, other_broker_{};
  CMPIInstanceMI* instance_ = nullptr;
  CMPIMethodMI* method_ = nullptr;
  int code_ = 0;
  int left_ = hooks<TEST_Device>().alive;  // what earlier tests left behind on purpose
};

TEST_F(Life, TheInterfacesShareOneProvider) {
  ASSERT_TRUE(open('I'));
  EXPECT_EQ(hooks<TEST_Device>().alive, left_ + 1);
  EXPECT_EQ(hooks<TEST_Device>().loaded, left_ + 1);
  ASSERT_TRUE(open('M'));
  EXPECT_EQ(hooks<TEST_Device>().alive, left_ + 1);
}

TEST_F(Life, RepeatedFactoriesGiveTheSameInterface) {
  void* const first = open('I');
  EXPECT_EQ(open('I'), first);
  // Each object manager gets an interface of its own, so that the provider's up-calls reach the
  // object manager that called it.
  void* const other = open('I', &other_broker_);
  EXPECT_NE(other, first);
  EXPECT_EQ(hooks<TEST_Device>().alive, left_ + 1);
  EXPECT_EQ(end(static_cast<CMPIInstanceMI*>(first)), CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Device>().alive, left_ + 1);
}

// The provider of an association has every kind of interface.
class AssociationLife : public testing::Test {
 protected:
  AssociationLife() { clear_hooks(); }
  ~AssociationLife() override {
    for (const char kind : {'I', 'A', 'M'}) end(kind);
    EXPECT_EQ(hooks<TEST_Link>().alive, 0);
    clear_hooks();
  }

  void open(char kind) {
    EXPECT_EQ(ovk_cimple_cmpi_adapter(67, &data_, &link_registration(), &broker_, nullptr,
                                      "TEST_Link_Provider", kind, &interfaces_[kind]),
              CMPI_RC_OK)
        << kind;
  }
  CMPIrc end(char kind, bool terminating = true) {
    void* const interface = interfaces_[kind];
    if (kind == 'I') return ovk_cimple::end(static_cast<CMPIInstanceMI*>(interface), terminating);
    if (kind == 'A')
      return ovk_cimple::end(static_cast<CMPIAssociationMI*>(interface), terminating);
    return ovk_cimple::end(static_cast<CMPIMethodMI*>(interface), terminating);
  }

  CmpiStaticData data_{};
  CMPIBroker broker_{};
  std::map<char, void*> interfaces_;
};

TEST_F(AssociationLife, ItEndsWithTheLastInterfaceInEveryOrder) {
  int orders = 0;
  std::string opened = "AIM";
  do {
    std::string ended = "AIM";
    do {
      SCOPED_TRACE(opened + " " + ended);
      data_ = {};  // each order gets a new provider
      for (const char kind : opened) {
        open(kind);
        EXPECT_EQ(hooks<TEST_Link>().alive, 1);
      }
      for (const char kind : ended) {
        EXPECT_EQ(hooks<TEST_Link>().loaded, 1);
        EXPECT_EQ(end(kind), CMPI_RC_OK);
      }
      EXPECT_EQ(hooks<TEST_Link>().alive, 0);
      EXPECT_EQ(hooks<TEST_Link>().loaded, 0);
      EXPECT_EQ(end(ended[0]), CMPI_RC_OK) << "again";
      ++orders;
    } while (std::ranges::next_permutation(ended).found);
  } while (std::ranges::next_permutation(opened).found);
  EXPECT_EQ(orders, 36);
}

TEST_F(AssociationLife, IdleUnloadingIsRefusedByEveryInterface) {
  for (const char kind : {'I', 'A', 'M'}) open(kind);
  for (const char kind : {'I', 'A', 'M'}) {
    EXPECT_EQ(end(kind, false), CMPI_RC_DO_NOT_UNLOAD) << kind;
    EXPECT_EQ(hooks<TEST_Link>().loaded, 1);
  }
  auto* const instance = static_cast<CMPIInstanceMI*>(interfaces_['I']);
  EXPECT_EQ(enumerate(instance), CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Link>().enumerations, 1);
}

TEST_F(Life, ACallAfterTheEndFailsAndAFactoryBeginsAnew) {
  open('I');
  end(instance_);
  EXPECT_EQ(enumerate(instance_), CMPI_RC_ERR_FAILED);
  open('I');
  EXPECT_EQ(enumerate(instance_), CMPI_RC_OK);
}

TEST_F(Life, ACallInFlightKeepsTheProvider) {
  open('I');
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>*) {
    EXPECT_EQ(end(instance_), CMPI_RC_OK);
    EXPECT_EQ(hooks<TEST_Device>().loaded, left_ + 1);
    return OK;
  };
  EXPECT_EQ(enumerate(instance_), CMPI_RC_OK);
  // It stays until the process ends.
  EXPECT_EQ(hooks<TEST_Device>().alive, left_ + 1);
  ++left_;
}

// Some object managers clean up one provider for a whole library.
TEST_F(Life, AnEndLeavesOtherProvidersOfTheLibraryAlone) {
  CmpiStaticData other_data{};
  void* other = nullptr;
  ASSERT_EQ(ovk_cimple_cmpi_adapter(67, &other_data, &link_registration(), &broker_, nullptr,
                                    "TEST_Link_Provider", 'I', &other),
            CMPI_RC_OK);
  open('I');
  EXPECT_EQ(end(instance_), CMPI_RC_OK);
  auto* const interface = static_cast<CMPIInstanceMI*>(other);
  EXPECT_EQ(enumerate(interface), CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Link>().enumerations, 1);
  EXPECT_EQ(end(interface), CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Link>().alive, 0);
}

// Factories run once for each registered class, cleanup once for the library.
TEST_F(Life, OneEndIsEnoughForSeveralFactoryCalls) {
  for (int i = 0; i < 3; ++i) open('I');
  EXPECT_EQ(end(instance_), CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Device>().alive, left_);
  EXPECT_EQ(end(instance_), CMPI_RC_OK) << "again";
}

TEST_F(Life, FailuresOfUnloadingAreContained) {
  open('I');
  hooks<TEST_Device>().unload = []() -> sint32 { throw std::runtime_error("unload"); };
  EXPECT_EQ(end(instance_), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(hooks<TEST_Device>().alive, left_);
}

TEST_F(Life, FactoriesThatCannotAnswer) {
  EXPECT_EQ(open('A'), nullptr);  // the class is no association
  EXPECT_EQ(code_, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(open('X'), nullptr);
  EXPECT_EQ(code_, CMPI_RC_ERR_NOT_SUPPORTED);
  hooks<TEST_Device>().load = [] { return sint32{9}; };
  EXPECT_EQ(open('I'), nullptr);
  EXPECT_EQ(code_, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(hooks<TEST_Device>().alive, left_);
  void* untouched = this;
  EXPECT_EQ(ovk_cimple_cmpi_adapter(66, &data_, &device_registration(), &broker_, nullptr,
                                    "TEST_Device_Provider", 'I', &untouched),
            CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(untouched, this);
}

TEST_F(Life, EveryMemberOfTheTablesAnswers) {
  open('I');
  open('M');
  const CMPIInstanceMIFT& instance = *instance_->ft;
  EXPECT_EQ(instance.execQuery(instance_, nullptr, nullptr, nullptr, "q", "WQL").rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(instance
                .enumerateInstancesFiltered(instance_, nullptr, nullptr, nullptr, nullptr, "WQL",
                                            "q", nullptr)
                .rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(instance.getInstance(instance_, nullptr, nullptr, nullptr, nullptr).rc,
            CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(instance.enumerateInstanceNames(instance_, nullptr, nullptr, nullptr).rc, CMPI_RC_OK);
  EXPECT_EQ(instance.createInstance(instance_, nullptr, nullptr, nullptr, nullptr).rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(instance.modifyInstance(instance_, nullptr, nullptr, nullptr, nullptr, nullptr).rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(instance.deleteInstance(instance_, nullptr, nullptr, nullptr).rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(
      method_->ft->invokeMethod(method_, nullptr, nullptr, nullptr, "Nothing", nullptr, nullptr).rc,
      CMPI_RC_ERR_METHOD_NOT_FOUND);
  EXPECT_EQ(
      method_->ft->invokeMethod(method_, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr).rc,
      CMPI_RC_ERR_METHOD_NOT_FOUND);
}

// A path without a class stands for the association itself, which cannot be one of its own ends.
TEST_F(AssociationLife, ItAsksForNothingThatCannotMatch) {
  open('A');
  auto* const association = static_cast<CMPIAssociationMI*>(interfaces_['A']);
  const CMPIAssociationMIFT& functions = *association->ft;
  EXPECT_EQ(functions
                .associators(association, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr)
                .rc,
            CMPI_RC_OK);
  EXPECT_EQ(functions
                .associatorNames(association, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr)
                .rc,
            CMPI_RC_OK);
  EXPECT_EQ(
      functions.references(association, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr).rc,
      CMPI_RC_OK);
  EXPECT_EQ(functions.referenceNames(association, nullptr, nullptr, nullptr, nullptr, nullptr).rc,
            CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Link>().enumerations, 0);
  EXPECT_EQ(functions
                .associatorsFiltered(association, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, 0)
                .rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(functions
                .referencesFiltered(association, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, 0)
                .rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
}

}  // namespace
}  // namespace ovk_cimple
