#include "platform/cmpi/matching.h"

#include <gtest/gtest.h>

#include "platform/framework/test_class.h"

namespace ovk_cimple {
namespace {

struct Link : Instance {
  static const MetaClass static_meta_class;
  explicit Link(const MetaClass& meta = static_meta_class) : Instance(meta) {}
  Property<Ref<Instance>> DriveEnd;
  Property<Ref<Instance>> Peer;
};

struct StrongLink : Link {
  static const MetaClass static_meta_class;
  explicit StrongLink(const MetaClass& meta = static_meta_class) : Link(meta) {}
};

constexpr MetaProperty kLinkProperties[] = {
    {"Drive", Type::reference, false, true, false, false, offsetof(Link, DriveEnd),
     &Drive::static_meta_class},
    {"Peer", Type::reference, false, true, false, false, offsetof(Link, Peer),
     &Device::static_meta_class},
};
extern const MetaRepository kLinkRepository;
const MetaClass Link::static_meta_class = {"Link",
                                           nullptr,
                                           kLinkProperties,
                                           {},
                                           &kLinkRepository,
                                           true,
                                           false,
                                           construct_instance<Link>,
                                           copy_instance<Link>,
                                           destruct_instance<Link>};
const MetaClass StrongLink::static_meta_class = {"StrongLink",
                                                 &Link::static_meta_class,
                                                 kLinkProperties,
                                                 {},
                                                 &kLinkRepository,
                                                 true,
                                                 false,
                                                 construct_instance<StrongLink>,
                                                 copy_instance<StrongLink>,
                                                 destruct_instance<StrongLink>};
constexpr const MetaClass* kLinkClasses[] = {&Device::static_meta_class, &Drive::static_meta_class,
                                             &Link::static_meta_class,
                                             &StrongLink::static_meta_class};
const MetaRepository kLinkRepository = {kLinkClasses};

Ref<Drive> drive(const char* name) {
  auto result = make<Drive>();
  result->Name = name;
  return result;
}
Ref<Device> device(const char* name) {
  auto result = make<Device>();
  result->Name = name;
  return result;
}
template <class T = Link>
Ref<Instance> link(Ref<Instance> from, Ref<Instance> to) {
  auto result = make<T>();
  if (from) result->DriveEnd = from;
  if (to) result->Peer = to;
  return result;
}

TEST(SameKeys, ComparesTheKeysAlone) {
  auto one = drive("sda"), other = drive("sda");
  one->Size = 1;
  EXPECT_TRUE(same_keys(*one, *other));
  EXPECT_FALSE(same_keys(*one, *drive("sdb")));
  EXPECT_FALSE(same_keys(*one, *make<Drive>()));
  EXPECT_TRUE(same_keys(*make<Drive>(), *make<Drive>()));
}

TEST(SameKeys, FindsAKeyThatLeftCleaned) {
  EXPECT_TRUE(same_keys(*drive("a\x01"), *drive("a\xEF\xBF\xBD")));
}

TEST(SameKeys, ComparesReferencesByTheirKeys) {
  EXPECT_TRUE(same_keys(*link(drive("a"), device("b")), *link(drive("a"), device("b"))));
  EXPECT_FALSE(same_keys(*link(drive("a"), device("b")), *link(drive("a"), drive("b"))));
  EXPECT_FALSE(same_keys(*link(drive("a"), device("b")), *link(drive("a"), {})));
}

TEST(SameKeys, AReferenceToNothingEqualsAnotherOne) {
  auto nothing = make<Link>();
  nothing->DriveEnd = Ref<Instance>();
  nothing->Peer = device("b");
  const auto something = link(drive("a"), device("b"));
  EXPECT_TRUE(same_keys(*nothing, *nothing));
  EXPECT_FALSE(same_keys(*nothing, *something));
  EXPECT_FALSE(same_keys(*something, *nothing));
}

TEST(SameKeys, EndsInACircle) {
  auto one = make<Link>(), other = make<Link>();
  one->Peer = Ref<Instance>(one);
  other->Peer = Ref<Instance>(other);
  EXPECT_FALSE(same_keys(*one, *other));
  one->Peer.set_null();
  other->Peer.set_null();
}

TEST(SamePath, LooksAtClassAndNameSpace) {
  auto one = drive("a"), other = drive("a");
  EXPECT_TRUE(same_path(*one, *other, "root/cimv2"));
  one->name_space = "ROOT/cimv2";
  EXPECT_TRUE(same_path(*one, *other, "root/cimv2"));
  EXPECT_FALSE(same_path(*one, *other, "root/interop"));
  EXPECT_FALSE(same_path(*other, *device("a"), "root/cimv2"));
}

TEST(HoldsMoreThanKeys, IsTrueOfAnyOtherValue) {
  auto one = drive("a");
  EXPECT_FALSE(holds_more_than_keys(*one));
  one->Size = 0;
  EXPECT_TRUE(holds_more_than_keys(*one));
}

struct Possible {
  const char* what;
  const MetaClass* source;
  AssociationQuery query;
  bool possible;
};

TEST(AssociationFilter, KnowsWhatCannotMatchBeforeEnumerating) {
  const MetaClass* const from_drive = &Drive::static_meta_class;
  const MetaClass* const from_device = &Device::static_meta_class;
  const Possible cases[] = {
      {"no filter", from_drive, {nullptr, nullptr, true, nullptr, nullptr}, true},
      {"empty filters", from_drive, {"", "", true, "", ""}, true},
      {"unknown source", nullptr, {nullptr, nullptr, true, nullptr, nullptr}, false},
      {"source of neither end", &Link::static_meta_class, {nullptr, nullptr, false}, false},
      {"a superclass fits one end", from_device, {nullptr, nullptr, false}, true},
      {"but not the other", from_device, {nullptr, "Drive", false}, false},
      {"association class", from_drive, {"LINK", nullptr, false}, true},
      {"association subclass", from_drive, {"StrongLink", nullptr, false}, true},
      {"another class", from_drive, {"Device", nullptr, false}, false},
      {"unknown class", from_drive, {"Nothing", nullptr, false}, false},
      {"role", from_drive, {nullptr, "peer", false}, true},
      {"unknown role", from_drive, {nullptr, "Owner", false}, false},
      {"result role", from_drive, {nullptr, "Drive", true, nullptr, "PEER"}, true},
      {"the same role twice", from_drive, {nullptr, "Drive", true, nullptr, "Drive"}, false},
      {"result class", from_drive, {nullptr, "Drive", true, "Drive", nullptr}, true},
      {"unknown result class", from_drive, {nullptr, nullptr, true, "Nothing", nullptr}, false},
      {"result of no end", from_drive, {nullptr, nullptr, true, "Link", nullptr}, false},
  };
  for (const Possible& entry : cases) {
    const AssociationMatcher filter(Link::static_meta_class, entry.source, entry.query);
    EXPECT_EQ(filter.possible(), entry.possible) << entry.what;
  }
}

std::vector<Ref<Instance>> results(const Ref<Instance>& association, const Instance& source,
                                   const AssociationQuery& query) {
  const AssociationMatcher filter(Link::static_meta_class, source.meta_class, query);
  return filter.results(association, source, "root/cimv2");
}

TEST(AssociationFilter, DeliversTheOtherEnd) {
  const auto association = link(drive("a"), device("b"));
  const auto found = results(association, *drive("a"), {nullptr, nullptr, true});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(static_cast<Device&>(*found[0]).Name.value(), "b");
  EXPECT_TRUE(results(association, *drive("b"), {nullptr, nullptr, true}).empty());
  EXPECT_EQ(results(association, *device("b"), {nullptr, nullptr, true}).size(), 1u);
}

TEST(AssociationFilter, DeliversTheAssociationOnce) {
  const auto to_itself = link(drive("a"), drive("a"));
  EXPECT_EQ(results(to_itself, *drive("a"), {nullptr, nullptr, false}).size(), 1u);
  EXPECT_EQ(results(to_itself, *drive("a"), {nullptr, nullptr, true}).size(), 2u);
}

TEST(AssociationFilter, LooksAtTheRealClasses) {
  const auto weak = link(drive("a"), device("b"));
  const auto strong = link<StrongLink>(drive("a"), drive("c"));
  EXPECT_TRUE(results(weak, *drive("a"), {"StrongLink", nullptr, false}).empty());
  EXPECT_EQ(results(strong, *drive("a"), {"StrongLink", nullptr, false}).size(), 1u);
  EXPECT_TRUE(results(weak, *drive("a"), {nullptr, nullptr, true, "Drive", nullptr}).empty());
  EXPECT_EQ(results(strong, *drive("a"), {nullptr, nullptr, true, "Drive", nullptr}).size(), 1u);
  EXPECT_EQ(results(strong, *drive("a"), {nullptr, nullptr, true, "Device", nullptr}).size(), 1u);
}

TEST(AssociationFilter, PassesOverMissingEnds) {
  EXPECT_TRUE(results(link({}, device("b")), *drive("a"), {nullptr, nullptr, true}).empty());
  EXPECT_TRUE(results(link(drive("a"), {}), *drive("a"), {nullptr, nullptr, true}).empty());
  EXPECT_EQ(results(link(drive("a"), {}), *drive("a"), {nullptr, nullptr, false}).size(), 1u);
}

}  // namespace
}  // namespace ovk_cimple
