// The inventory as the framework and the dynamic loader see it.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include "inventory/machine.h"
#include "inventory/test_tree.h"
#include "model/KAVRO_ComputerSystem.h"
#include "model/KAVRO_DiskDrive.h"
#include "model/KAVRO_SysBusDevice.h"
#include "platform/framework/dispatch.h"

namespace ovk_cimple {
namespace {

using testing::ElementsAre;

struct Calls {
  std::vector<Ref<Instance>> delivered;
  std::vector<sint32> closed;
  static void record(Instance* instance, sint32 status, void* data) {
    auto& calls = *static_cast<Calls*>(data);
    if (instance)
      calls.delivered.push_back(Ref<Instance>::adopt(instance));
    else
      calls.closed.push_back(status);
  }
};

class InventoryModule : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    library = dlopen(HDDTEST_INVENTORY_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(library) << dlerror();
  }
  InventoryModule() { setenv("HVX_SYSFS_ROOT", tree_.root().c_str(), 1); }
  ~InventoryModule() override { unsetenv("HVX_SYSFS_ROOT"); }

  static const Registration* head() {
    return reinterpret_cast<const Registration* (*)()>(dlsym(library, "cimple_module"))();
  }
  static const Registration* record_of(const MetaClass& meta) {
    const Registration* record = head();
    while (record->meta_class != &meta) record = record->next;
    return record;
  }
  static sint32 call(const Registration* record, sint32 operation, void* a0 = nullptr,
                     void* a1 = nullptr, void* a2 = nullptr, void* a3 = nullptr, void* a4 = nullptr,
                     void* a5 = nullptr, void* a6 = nullptr) {
    return record->dispatch(record, operation, a0, a1, a2, a3, a4, a5, a6, nullptr);
  }
  struct Loaded {
    explicit Loaded(const Registration* registration) : record(registration) {
      EXPECT_EQ(call(record, CreateProvider, &provider), 0);
      EXPECT_EQ(call(record, LOAD, provider), 0);
    }
    ~Loaded() {
      EXPECT_EQ(call(record, UNLOAD, provider), 0);
      EXPECT_EQ(call(record, DestroyProvider, provider), 0);
    }
    const Registration* record;
    void* provider = nullptr;
  };

  template <class Class>
  std::vector<Ref<Class>> enumerate() {
    Loaded loaded(record_of(Class::static_meta_class));
    Calls calls;
    EXPECT_EQ(call(loaded.record, EnumInstances, loaded.provider, nullptr,
                   reinterpret_cast<void*>(&Calls::record), &calls),
              0);
    EXPECT_THAT(calls.closed, ElementsAre(0));
    std::vector<Ref<Class>> result;
    for (const auto& instance : calls.delivered) {
      EXPECT_EQ(instance->meta_class, &Class::static_meta_class);
      result.push_back(Ref<Class>::share(static_cast<Class*>(instance.get())));
    }
    return result;
  }
  template <class Class>
  sint32 get(const Class* keys, Ref<Class>& found) {
    Loaded loaded(record_of(Class::static_meta_class));
    Instance* instance = nullptr;
    const sint32 status =
        call(loaded.record, GetInstance, loaded.provider,
             const_cast<Instance*>(static_cast<const Instance*>(keys)), &instance);
    found = Ref<Class>::adopt(static_cast<Class*>(instance));
    return status;
  }
  template <class Class>
  sint32 get(const Class* keys) {
    Ref<Class> found;
    const sint32 status = get(keys, found);
    EXPECT_FALSE(found);
    return status;
  }

  inventory::TestTree tree_;
  static void* library;
};
void* InventoryModule::library;

// A machine with an onboard drive, a RAID drive, a USB drive and an optical drive.
void furnish(const inventory::TestTree& tree) {
  tree.ahci_disk(0, "sda");
  tree.scsi_host(1, "megaraid_sas");
  const auto raid = tree.scsi_device("pci0000:00/0000:00:04.0", "1:2:0:0", "EXAMPLE", "DISK");
  tree.block(raid, "sdb");
  tree.scsi_generic(raid, "sg1");
  tree.scsi_host(2, "usb-storage");
  const auto usb = tree.scsi_device("pci0000:00/usb2/2-1/2-1:1.0", "2:0:0:0", "QEMU", "Stick");
  tree.block(usb, "sdc");
  tree.scsi_host(3, "ahci");
  const auto optical = tree.scsi_device("pci0000:00/ata4", "3:0:0:0", "QEMU", "DVD", "5");
  tree.block(optical, "sr0");
  tree.file("/sys/class/dmi/id/product_name", "Example Server 1\n");
}

TEST_F(InventoryModule, ListHoldsTheThreeProvidersUnderOneName) {
  std::vector<std::pair<std::string, const MetaClass*>> list;
  for (const Registration* record = head(); record; record = record->next) {
    EXPECT_STREQ(record->module_name, "KAVRO_Inventory_Module");
    list.emplace_back(record->provider_name, record->meta_class);
  }
  EXPECT_THAT(
      list,
      testing::UnorderedElementsAre(
          std::pair<std::string, const MetaClass*>("KAVRO_Inventory_DiskDrive_Provider",
                                                   &KAVRO_DiskDrive::static_meta_class),
          std::pair<std::string, const MetaClass*>("KAVRO_Inventory_SysBusDevice_Provider",
                                                   &KAVRO_SysBusDevice::static_meta_class),
          std::pair<std::string, const MetaClass*>("KAVRO_Inventory_ComputerSystem_Provider",
                                                   &KAVRO_ComputerSystem::static_meta_class)));
}

TEST_F(InventoryModule, EnumeratesTheDrives) {
  furnish(tree_);
  std::vector<std::string> devices;
  for (const auto& drive : enumerate<KAVRO_DiskDrive>()) {
    devices.push_back(drive->DeviceID.value());
    EXPECT_EQ(drive->SystemName.value(), inventory::host_name());
  }
  EXPECT_THAT(devices, ElementsAre("/dev/sda", "/dev/sdb", "/dev/sdc"));
}

TEST_F(InventoryModule, EnumeratesTheBusDevicesWithTheAddressesOfThisMachine) {
  furnish(tree_);
  std::vector<std::string> texts;
  for (const auto& device : enumerate<KAVRO_SysBusDevice>())
    texts.push_back(
        device->DeviceID.value() + " " + device->Name.value() + " " +
        (device->OtherIdentifyingInfo.null() ? "none" : device->OtherIdentifyingInfo.value()[0]));
  EXPECT_THAT(texts,
              ElementsAre("/dev/sg0 /dev/sda Port:0 Target:0 Bus:0 Lun:0",
                          "/dev/sg1 /dev/sdb Port:1 Target:0 Bus:2 Lun:0", "/dev/sdc /dev/sdc none",
                          "/dev/sr0 /dev/sr0 Port:3 Target:0 Bus:0 Lun:0"));
}

TEST_F(InventoryModule, EnumeratesOneComputerSystemThatScopesTheDrives) {
  furnish(tree_);
  const auto systems = enumerate<KAVRO_ComputerSystem>();
  ASSERT_EQ(systems.size(), 1u);
  EXPECT_EQ(systems[0]->Caption.value(), "Example Server 1");
  const auto drive = enumerate<KAVRO_DiskDrive>().at(0);
  EXPECT_EQ(drive->SystemName.value(), systems[0]->Name.value());
  EXPECT_EQ(drive->SystemCreationClassName.value(), systems[0]->CreationClassName.value());
}

TEST_F(InventoryModule, ReadsAfreshAtEveryCall) {
  EXPECT_TRUE(enumerate<KAVRO_DiskDrive>().empty());
  furnish(tree_);
  EXPECT_EQ(enumerate<KAVRO_DiskDrive>().size(), 3u);
  tree_.remove("/sys/block/sda");
  EXPECT_EQ(enumerate<KAVRO_DiskDrive>().size(), 2u);
}

TEST_F(InventoryModule, AnswersEveryInstanceItEnumeratesByItsKeys) {
  furnish(tree_);
  const auto check = [&](const auto& instances, const auto& id) {
    for (const auto& instance : instances) {
      auto found = std::decay_t<decltype(instance)>();
      EXPECT_EQ(get(instance.get(), found), 0);
      ASSERT_TRUE(found);
      EXPECT_EQ(((*found).*id).value(), ((*instance).*id).value());
    }
  };
  check(enumerate<KAVRO_DiskDrive>(), &KAVRO_DiskDrive::DeviceID);
  check(enumerate<KAVRO_SysBusDevice>(), &KAVRO_SysBusDevice::DeviceID);
  check(enumerate<KAVRO_ComputerSystem>(), &KAVRO_ComputerSystem::Name);
}

TEST_F(InventoryModule, FindsNothingUnderOtherOrMissingKeys) {
  furnish(tree_);
  const auto original = enumerate<KAVRO_DiskDrive>().at(0);
  const auto with = [&](auto change) {
    const auto keys =
        Ref<KAVRO_DiskDrive>::adopt(static_cast<KAVRO_DiskDrive*>(clone(original.get())));
    change(*keys);
    return get(keys.get());
  };
  EXPECT_EQ(with([](auto& keys) { keys.DeviceID = "/dev/sdz"; }), 60);
  EXPECT_EQ(with([](auto& keys) { keys.DeviceID = "/dev/sd"; }), 60);
  EXPECT_EQ(with([](auto& keys) { keys.DeviceID.set_null(); }), 60);
  EXPECT_EQ(with([](auto& keys) { keys.SystemName = "elsewhere"; }), 60);
  EXPECT_EQ(with([](auto& keys) { keys.CreationClassName = "CIM_DiskDrive"; }), 60);
  EXPECT_EQ(with([](auto& keys) { keys.SystemCreationClassName = ""; }), 60);
  EXPECT_EQ(get<KAVRO_DiskDrive>(nullptr), 60);
}

class EveryInventoryProvider : public InventoryModule,
                               public testing::WithParamInterface<const MetaClass*> {};

TEST_P(EveryInventoryProvider, RefusesEverythingElse) {
  Loaded loaded(record_of(*GetParam()));
  const auto ask = [&](sint32 operation) {
    return call(loaded.record, operation, loaded.provider);
  };
  EXPECT_EQ(ask(CreateInstance), 81);
  EXPECT_EQ(ask(DeleteInstance), 91);
  EXPECT_EQ(ask(ModifyInstance), 101);
  EXPECT_EQ(ask(EnumAssociatorNames), -1);
  EXPECT_EQ(ask(EnumReferences), -1);
  EXPECT_EQ(ask(EnumAssociators), -1);
  ASSERT_FALSE(GetParam()->methods.empty());
  for (const MetaClass* method : GetParam()->methods) {
    const auto record = Ref<Instance>::adopt(create(*method));
    EXPECT_EQ(call(loaded.record, InvokeMethod, loaded.provider, nullptr, record.get()), 131)
        << method->name;
  }
}

TEST_P(EveryInventoryProvider, HasItsEntryPointsAndNoOther) {
  const std::string prefix = record_of(*GetParam())->provider_name + std::string("_Create_");
  for (const char* kind : {"Instance", "Method"}) {
    void* const entry = dlsym(library, (prefix + kind + "MI").c_str());
    ASSERT_TRUE(entry) << kind;
    // Without a broker there is nothing to adapt to.
    using Factory = void* (*)(const void* broker, const void* context);
    EXPECT_EQ(reinterpret_cast<Factory>(entry)(nullptr, nullptr), nullptr);
  }
  EXPECT_FALSE(dlsym(library, (prefix + "AssociationMI").c_str()));
}

INSTANTIATE_TEST_SUITE_P(, EveryInventoryProvider,
                         testing::Values(&KAVRO_DiskDrive::static_meta_class,
                                         &KAVRO_SysBusDevice::static_meta_class,
                                         &KAVRO_ComputerSystem::static_meta_class),
                         [](const auto& info) { return std::string(info.param->name); });

}  // namespace
}  // namespace ovk_cimple
