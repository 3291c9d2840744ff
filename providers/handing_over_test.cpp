// What an enumeration holds of the object manager's instances, and when it hands over its own.
#include <functional>

#include "platform/framework/meta.h"
#include "providers/discovery_test.h"

namespace ovk_cimple {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

using Offer = KAVRO_HDDTest_AvailableDiagnosticService;
using OfferProvider = KAVRO_HDDTest_AvailableDiagnosticService_Provider;

class HandingOver : public DiscoveryTest {};

// Bus devices that count their ends.
int ended = 0;
Ref<Instance> counted_bus_device() {
  static const MetaClass meta = [] {
    MetaClass counting = KAVRO_SysBusDevice::static_meta_class;
    counting.superclass = &KAVRO_SysBusDevice::static_meta_class;
    counting.destruct = [](const Instance* instance) {
      ++ended;
      KAVRO_SysBusDevice::static_meta_class.destruct(instance);
    };
    return counting;
  }();
  return Ref<Instance>::adopt(create(meta));
}

TEST_F(HandingOver, EachElementHoldsOneReferenceWhichEndsWithTheProvider) {
  ended = 0;
  auto owner = std::make_unique<OfferProvider>();
  cimom_.bus_devices = {counted_bus_device(), counted_bus_device()};
  cimom_.drives = {drive_instance("/dev/sda")};
  {
    const CimomScope scope(cimom_);
    for (int i = 0; i < 2; ++i) enumerate<Offer>(*owner);
  }
  cimom_.bus_devices.clear();
  ASSERT_EQ(owner->fRefInst.size(), 4u);
  // The second and the fourth are one device.
  owner->fRefInst.pop_back();
  EXPECT_EQ(ended, 0);
  owner->fRefInst.erase(owner->fRefInst.begin() + 1);
  EXPECT_EQ(ended, 1);
  owner.reset();
  EXPECT_EQ(ended, 2);
}

// Notes what was logged before each offer, and enumerates again while an offer is handed over.
struct AskingHandler {
  static void take(Instance* offer, sint32, void* data) {
    auto& self = *static_cast<AskingHandler*>(data);
    const auto owned = Ref<Instance>::adopt(offer);
    self.before.push_back(self.take_log());
    // If a lock were still held, this would never return.
    self.offered_within.push_back(enumerate<Offer>(self.provider).size());
    self.within.push_back(self.take_log());
  }
  OfferProvider& provider;
  std::function<Lines()> take_log;
  std::vector<Lines> before, within;
  std::vector<std::size_t> offered_within;
};

TEST_F(HandingOver, ComesAfterTheLastDecisionAndBeforeTheExitLineAndHoldsNoLock) {
  cimom_.drives = {drive_instance("/dev/sda"), drive_instance("/dev/sdb"),
                   drive_instance("/dev/sdc")};
  write_reports("/dev/sda /dev/sdb", "");
  const std::string exit_line = "3 Exiting " + operation("enum_instances");
  AskingHandler asking{provider_, [this] { return take_log(); }, {}, {}, {}};
  EnumHandler<Offer> handler(&AskingHandler::take, &asking);
  const CimomScope scope(cimom_);
  take_log();
  EXPECT_EQ(provider_.enum_instances(nullptr, &handler), 0);
  EXPECT_THAT(take_log(), ElementsAre(exit_line));
  EXPECT_THAT(asking.offered_within, ElementsAre(2u, 2u));
  ASSERT_EQ(asking.before.size(), 2u);
  EXPECT_THAT(asking.before[0], Not(Contains(exit_line)));
  EXPECT_THAT(asking.before[0], Contains("3 Initializing HDD instance for /dev/sda"));
  EXPECT_THAT(asking.before[0], Contains("3 Initializing HDD instance for /dev/sdb"));
  EXPECT_EQ(asking.before[0].back(),
            "3 Device /dev/sdc is NOT a disk device, omitting from HDD Test");
  EXPECT_THAT(asking.before[1], ElementsAre());
  for (const Lines& lines : asking.within) EXPECT_EQ(lines.back(), exit_line);
}

}  // namespace
}  // namespace ovk_cimple
