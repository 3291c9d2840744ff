#include "platform/cmpi/matching.h"

#include <gtest/gtest.h>

#include "platform/framework/test_class.h"

namespace ovk_cimple {
namespace {

struct Link : Instance {
  static const Meta_Class static_meta_class;
  explicit Link(const Meta_Class& meta = static_meta_class) : Instance(meta) {}
  Property<Ref<Instance>> Drive_;
  Property<Ref<Instance>> Peer;
};

struct Strong_Link : Link {
  static const Meta_Class static_meta_class;
  explicit Strong_Link(const Meta_Class& meta = static_meta_class) : Link(meta) {}
};

constexpr Meta_Property link_properties[] = {
    {"Drive", Type::reference, false, true, false, false, offsetof(Link, Drive_),
     &Drive::static_meta_class},
    {"Peer", Type::reference, false, true, false, false, offsetof(Link, Peer),
     &Device::static_meta_class},
};
extern const Meta_Repository link_repository;
const Meta_Class Link::static_meta_class = {"Link",
                                            nullptr,
                                            link_properties,
                                            {},
                                            &link_repository,
                                            true,
                                            false,
                                            construct_instance<Link>,
                                            copy_instance<Link>,
                                            destruct_instance<Link>};
const Meta_Class Strong_Link::static_meta_class = {"Strong_Link",
                                                   &Link::static_meta_class,
                                                   link_properties,
                                                   {},
                                                   &link_repository,
                                                   true,
                                                   false,
                                                   construct_instance<Strong_Link>,
                                                   copy_instance<Strong_Link>,
                                                   destruct_instance<Strong_Link>};
constexpr const Meta_Class* link_classes[] = {&Device::static_meta_class, &Drive::static_meta_class,
                                              &Link::static_meta_class,
                                              &Strong_Link::static_meta_class};
const Meta_Repository link_repository = {link_classes};

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
  if (from) result->Drive_ = from;
  if (to) result->Peer = to;
  return result;
}

TEST(SameKeys, comparesTheKeysAlone) {
  auto one = drive("sda"), other = drive("sda");
  one->Size = 1;
  EXPECT_TRUE(same_keys(*one, *other));
  EXPECT_FALSE(same_keys(*one, *drive("sdb")));
  EXPECT_FALSE(same_keys(*one, *make<Drive>()));
  EXPECT_TRUE(same_keys(*make<Drive>(), *make<Drive>()));
}

TEST(SameKeys, findsAKeyThatLeftCleaned) {
  EXPECT_TRUE(same_keys(*drive("a\x01"), *drive("a\xEF\xBF\xBD")));
}

TEST(SameKeys, comparesReferencesByTheirKeys) {
  EXPECT_TRUE(same_keys(*link(drive("a"), device("b")), *link(drive("a"), device("b"))));
  EXPECT_FALSE(same_keys(*link(drive("a"), device("b")), *link(drive("a"), drive("b"))));
  EXPECT_FALSE(same_keys(*link(drive("a"), device("b")), *link(drive("a"), {})));
}

TEST(SameKeys, aReferenceToNothingEqualsAnotherOne) {
  auto nothing = make<Link>();
  nothing->Drive_ = Ref<Instance>();
  nothing->Peer = device("b");
  const auto something = link(drive("a"), device("b"));
  EXPECT_TRUE(same_keys(*nothing, *nothing));
  EXPECT_FALSE(same_keys(*nothing, *something));
  EXPECT_FALSE(same_keys(*something, *nothing));
}

TEST(SameKeys, endsInACircle) {
  auto one = make<Link>(), other = make<Link>();
  one->Peer = Ref<Instance>(one);
  other->Peer = Ref<Instance>(other);
  EXPECT_FALSE(same_keys(*one, *other));
  one->Peer.set_null();
  other->Peer.set_null();
}

TEST(SamePath, looksAtClassAndNameSpace) {
  auto one = drive("a"), other = drive("a");
  EXPECT_TRUE(same_path(*one, *other, "root/cimv2"));
  one->name_space = "ROOT/cimv2";
  EXPECT_TRUE(same_path(*one, *other, "root/cimv2"));
  EXPECT_FALSE(same_path(*one, *other, "root/interop"));
  EXPECT_FALSE(same_path(*other, *device("a"), "root/cimv2"));
}

TEST(HoldsMoreThanKeys, isTrueOfAnyOtherValue) {
  auto one = drive("a");
  EXPECT_FALSE(holds_more_than_keys(*one));
  one->Size = 0;
  EXPECT_TRUE(holds_more_than_keys(*one));
}

struct Possible {
  const char* what;
  const Meta_Class* source;
  Association_Query query;
  bool possible;
};

TEST(AssociationFilter, knowsWhatCannotMatchBeforeEnumerating) {
  const Meta_Class* const from_drive = &Drive::static_meta_class;
  const Meta_Class* const from_device = &Device::static_meta_class;
  const Possible cases[] = {
      {"no filter", from_drive, {nullptr, nullptr, true, nullptr, nullptr}, true},
      {"empty filters", from_drive, {"", "", true, "", ""}, true},
      {"unknown source", nullptr, {nullptr, nullptr, true, nullptr, nullptr}, false},
      {"source of neither end", &Link::static_meta_class, {nullptr, nullptr, false}, false},
      {"a superclass fits one end", from_device, {nullptr, nullptr, false}, true},
      {"but not the other", from_device, {nullptr, "Drive", false}, false},
      {"association class", from_drive, {"LINK", nullptr, false}, true},
      {"association subclass", from_drive, {"Strong_Link", nullptr, false}, true},
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
    const Association_Filter filter(Link::static_meta_class, entry.source, entry.query);
    EXPECT_EQ(filter.possible(), entry.possible) << entry.what;
  }
}

std::vector<Ref<Instance>> results(const Ref<Instance>& association, const Instance& source,
                                   const Association_Query& query) {
  const Association_Filter filter(Link::static_meta_class, source.meta_class, query);
  return filter.results(association, source, "root/cimv2");
}

TEST(AssociationFilter, deliversTheOtherEnd) {
  const auto association = link(drive("a"), device("b"));
  const auto found = results(association, *drive("a"), {nullptr, nullptr, true});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(static_cast<Device&>(*found[0]).Name.value(), "b");
  EXPECT_TRUE(results(association, *drive("b"), {nullptr, nullptr, true}).empty());
  EXPECT_EQ(results(association, *device("b"), {nullptr, nullptr, true}).size(), 1u);
}

TEST(AssociationFilter, deliversTheAssociationOnce) {
  const auto to_itself = link(drive("a"), drive("a"));
  EXPECT_EQ(results(to_itself, *drive("a"), {nullptr, nullptr, false}).size(), 1u);
  EXPECT_EQ(results(to_itself, *drive("a"), {nullptr, nullptr, true}).size(), 2u);
}

TEST(AssociationFilter, looksAtTheRealClasses) {
  const auto weak = link(drive("a"), device("b"));
  const auto strong = link<Strong_Link>(drive("a"), drive("c"));
  EXPECT_TRUE(results(weak, *drive("a"), {"Strong_Link", nullptr, false}).empty());
  EXPECT_EQ(results(strong, *drive("a"), {"Strong_Link", nullptr, false}).size(), 1u);
  EXPECT_TRUE(results(weak, *drive("a"), {nullptr, nullptr, true, "Drive", nullptr}).empty());
  EXPECT_EQ(results(strong, *drive("a"), {nullptr, nullptr, true, "Drive", nullptr}).size(), 1u);
  EXPECT_EQ(results(strong, *drive("a"), {nullptr, nullptr, true, "Device", nullptr}).size(), 1u);
}

TEST(AssociationFilter, passesOverMissingEnds) {
  EXPECT_TRUE(results(link({}, device("b")), *drive("a"), {nullptr, nullptr, true}).empty());
  EXPECT_TRUE(results(link(drive("a"), {}), *drive("a"), {nullptr, nullptr, true}).empty());
  EXPECT_EQ(results(link(drive("a"), {}), *drive("a"), {nullptr, nullptr, false}).size(), 1u);
}

}  // namespace
}  // namespace ovk_cimple
