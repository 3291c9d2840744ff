#include "platform/framework/instance.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/framework/test_class.h"

namespace ovk_cimple {
namespace {

TEST(Property, IsNullUntilAssignedAndAssignmentClearsTheFlag) {
  Property<String> name;
  EXPECT_TRUE(name.null());
  EXPECT_EQ(name.value(), "");
  name = "";
  EXPECT_FALSE(name.null());
  name.set_null();
  EXPECT_TRUE(name.null());
  name = "sda";
  EXPECT_FALSE(name.null());
  EXPECT_EQ(name.value(), "sda");
}

TEST(Property, ArrayOfOneElementIsNotAnArrayOfThatSize) {
  Property<Array<uint16>> states;
  states = {2};
  EXPECT_EQ(states.value(), Array<uint16>({2}));
}

TEST(Names, CompareWithoutRegardToCase) {
  EXPECT_TRUE(same_name("RunDiagnostic", "rundiagnostic"));
  EXPECT_FALSE(same_name("RunDiagnostic", "RunDiagnostics"));
  EXPECT_FALSE(same_name("a", nullptr));
  EXPECT_TRUE(same_name(nullptr, nullptr));
  EXPECT_FALSE(same_name("[", "{"));  // differ by the same bit as letters do
}

TEST(Instance, IsCreatedWithEveryPropertyNull) {
  const Ref<Drive> drive = make<Drive>();
  for (const MetaProperty& property : Drive::static_meta_class.properties)
    EXPECT_TRUE(visit(drive.get(), property, [](auto& p) { return p.null(); })) << property.name;
}

TEST(Instance, EndsWithItsLastReference) {
  const int before = Drive::alive;
  Instance* drive = create(Drive::static_meta_class);
  ref(drive);
  unref(drive);
  EXPECT_EQ(Drive::alive, before + 1);
  destroy(drive);
  EXPECT_EQ(Drive::alive, before);
  unref(nullptr);
  ref(nullptr);
}

TEST(Instance, CloneHasValuesOfItsOwnAndSharesWhatItRefersTo) {
  const int before = Drive::alive;
  {
    Ref<Drive> drive = make<Drive>();
    drive->Name = "sda";
    drive->name_space = "root/cimv2";
    drive->Owner = Ref<Instance>(make<Drive>());
    const auto copy = Ref<Instance>::adopt(clone(drive.get()));
    drive->Name = "sdb";
    EXPECT_EQ(cast<Drive>(copy.get())->Name.value(), "sda");
    EXPECT_EQ(cast<Drive>(copy.get())->Owner.value().get(), drive->Owner.value().get());
    EXPECT_EQ(copy->name_space, "root/cimv2");
    EXPECT_EQ(Drive::alive, before + 3);
  }
  EXPECT_EQ(Drive::alive, before);
  EXPECT_EQ(clone(nullptr), nullptr);
}

TEST(Instance, CastFollowsTheClass) {
  const Ref<Drive> drive = make<Drive>();
  const Ref<Device> device = make<Device>();
  Instance* const as_instance = drive.get();
  EXPECT_EQ(cast<Device>(as_instance), drive.get());
  EXPECT_EQ(cast<Drive>(as_instance), drive.get());
  EXPECT_EQ(cast<Drive>(static_cast<Instance*>(device.get())), nullptr);
  EXPECT_EQ(cast<Drive>(static_cast<Instance*>(nullptr)), nullptr);
  EXPECT_TRUE(is_subclass(Device::static_meta_class, Drive::static_meta_class));
  EXPECT_FALSE(is_subclass(Drive::static_meta_class, Device::static_meta_class));
}

TEST(Meta, FindsByNameWithoutRegardToCase) {
  EXPECT_EQ(kDeviceRepository.find("dRIVE"), &Drive::static_meta_class);
  EXPECT_EQ(kDeviceRepository.find("Drives"), nullptr);
  EXPECT_EQ(kDeviceRepository.find(nullptr), nullptr);
  EXPECT_STREQ(find_property(Drive::static_meta_class, "size")->name, "Size");
  EXPECT_EQ(find_property(Device::static_meta_class, "size"), nullptr);
  EXPECT_EQ(find_method(Drive::static_meta_class, "RESET"),
            &Device_Reset_method::static_meta_class);
}

TEST(Meta, VisitReachesThePropertyOfTheDeclaredType) {
  const Ref<Drive> drive = make<Drive>();
  const MetaProperty* size = find_property(Drive::static_meta_class, "Size");
  visit(drive.get(), *size, [](auto& property) {
    using T = typename std::decay_t<decltype(property)>::Value;
    if constexpr (std::is_same_v<T, uint64>) property = 42;
  });
  EXPECT_EQ(drive->Size.value(), 42u);
}

TEST(Instance, ReferencesMayBeTakenAndDroppedByManyThreads) {
  const int before = Drive::alive;
  {
    const Ref<Drive> drive = make<Drive>();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
      threads.emplace_back([&] {
        for (int n = 0; n < 10000; ++n)
          Ref<Drive> mine = drive;  // NOLINT(performance-unnecessary-copy-initialization)
      });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Drive::alive, before + 1);
  }
  EXPECT_EQ(Drive::alive, before);
}

}  // namespace
}  // namespace ovk_cimple
