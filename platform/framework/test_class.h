// Small classes for the framework's own tests, written by hand as the generator would write them
// for MOF classes.
#pragma once

#include <cstddef>

#include "platform/framework/meta.h"
#include "platform/framework/provider_status.h"

#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace ovk_cimple {

struct Device : Instance {
  static const MetaClass static_meta_class;
  explicit Device(const MetaClass& meta = static_meta_class) : Instance(meta) {}
  Property<String> Name;
  Property<Array<uint16>> States;
};

struct Device_Reset_method : Instance {
  static const MetaClass static_meta_class;
  explicit Device_Reset_method(const MetaClass& meta = static_meta_class) : Instance(meta) {}
  Property<boolean> Hard;
  Property<boolean> Quiet;
  Property<uint32> return_value;
};

struct Drive : Device {
  static const MetaClass static_meta_class;
  explicit Drive(const MetaClass& meta = static_meta_class) : Device(meta) { ++alive; }
  Drive(const Drive& other) : Device(other), Size(other.Size), Owner(other.Owner) { ++alive; }
  ~Drive() { --alive; }
  Property<uint64> Size;
  Property<Ref<Instance>> Owner;

  template <class Provider>
  static sint32 invoke(Provider& provider, const Drive* self, Instance* record) {
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
    if (same_name(record->meta_class->name, "Reset")) {
      auto& call = *static_cast<Device_Reset_method*>(record);
      return provider.Reset(self, call.Hard, call.Quiet, call.return_value);
    }
    return UnknownOperation;
  }

  static inline std::atomic<int> alive = 0;
};

inline constexpr MetaProperty kDeviceProperties[] = {
    {"Name", Type::string, false, true, false, false, offsetof(Device, Name), nullptr},
    {"States", Type::uint16, true, false, false, false, offsetof(Device, States), nullptr},
};
inline constexpr MetaProperty kResetParameters[] = {
    {"Hard", Type::boolean, false, false, true, false, offsetof(Device_Reset_method, Hard),
     nullptr},
    {"Quiet", Type::boolean, false, false, true, false, offsetof(Device_Reset_method, Quiet),
     nullptr},
    {"return_value", Type::uint32, false, false, false, true,
     offsetof(Device_Reset_method, return_value), nullptr},
};
extern const MetaRepository kDeviceRepository;
inline const MetaClass Device_Reset_method::static_meta_class = {
    .name = "Reset",
    .superclass = nullptr,
    .properties = kResetParameters,
    .methods = {},
    .repository = &kDeviceRepository,
    .association = false,
    .abstract = false,
    .construct = construct_instance<Device_Reset_method>,
    .copy = copy_instance<Device_Reset_method>,
    .destruct = destruct_instance<Device_Reset_method>,
};
inline constexpr const MetaClass* kDeviceMethods[] = {&Device_Reset_method::static_meta_class};
inline const MetaClass Device::static_meta_class = {
    .name = "Device",
    .superclass = nullptr,
    .properties = kDeviceProperties,
    .methods = kDeviceMethods,
    .repository = &kDeviceRepository,
    .association = false,
    .abstract = true,
    .construct = construct_instance<Device>,
    .copy = copy_instance<Device>,
    .destruct = destruct_instance<Device>,
};
inline constexpr MetaProperty kDriveProperties[] = {
    kDeviceProperties[0],
    kDeviceProperties[1],
    {"Size", Type::uint64, false, false, false, false, offsetof(Drive, Size), nullptr},
    {"Owner", Type::reference, false, false, false, false, offsetof(Drive, Owner),
     &Device::static_meta_class},
};
inline const MetaClass Drive::static_meta_class = {
    .name = "Drive",
    .superclass = &Device::static_meta_class,
    .properties = kDriveProperties,
    .methods = kDeviceMethods,
    .repository = &kDeviceRepository,
    .association = false,
    .abstract = false,
    .construct = construct_instance<Drive>,
    .copy = copy_instance<Drive>,
    .destruct = destruct_instance<Drive>,
};
inline constexpr const MetaClass* kDeviceClasses[] = {&Device::static_meta_class,
                                                      &Drive::static_meta_class};
inline const MetaRepository kDeviceRepository = {kDeviceClasses};

}  // namespace ovk_cimple
