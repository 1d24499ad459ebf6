#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Owned.h"
#include "platform/RvRegistry.h"
#include "tests/contract/registered_entries.h"

namespace {

using contract::RegisteredEntries;
using platform::OwnedEntry;
using platform::OwnedValue;

constexpr std::uint64_t kId = 0xC0DE0001;
constexpr RvRegistryEntry kUntouched = 0xABCDEF;

contract::RegistryPort &registry() { return contract::port().registry(); }

std::string name_of(RvRegistryEntry entry) {
    char name[kRvRegistryNameSize];
    EXPECT_EQ(RvRegistryEntryGetName(entry, name), 0u);
    return name;
}

TEST(RegistryContract, ServiceIsFoundByItsRegistryID) {
    RegisteredEntries entries;
    entries.add(kId, "one");
    entries.add(kId + 1, "two");

    const OwnedEntry found(RvRegistryCopyServiceMatchingID(kId + 1));

    EXPECT_EQ(name_of(found.get()), "two");
}

TEST(RegistryContract, RegistryIDZeroIsLookedUpLikeAnyOther) {
    RegisteredEntries entries;
    entries.add(0, "zero");

    const OwnedEntry found(RvRegistryCopyServiceMatchingID(0));

    EXPECT_EQ(name_of(found.get()), "zero");
}

TEST(RegistryContract, ServiceIsFoundByItsClass) {
    RegisteredEntries entries;
    entries.add({kId, "one", "FirstClass", {}});
    entries.add({kId + 1, "two", "SecondClass", {}});

    const OwnedEntry found(RvRegistryCopyServiceMatchingClass("SecondClass"));

    EXPECT_EQ(name_of(found.get()), "two");
}

TEST(RegistryContract, FirstOfSeveralWithOneNameIsFound) {
    RegisteredEntries entries;
    const RvRegistryEntry first = entries.add(kId, "same");
    entries.add(kId + 1, "same");

    const OwnedEntry found(RvRegistryCopyServiceMatchingName("same"));

    EXPECT_EQ(registry().references(first), 1u);
}

TEST(RegistryContract, FirstOfSeveralWithOneClassIsFound) {
    RegisteredEntries entries;
    entries.add({kId, "one", "SameClass", {}});
    entries.add({kId + 1, "two", "SameClass", {}});

    const OwnedEntry found(RvRegistryCopyServiceMatchingClass("SameClass"));

    EXPECT_EQ(name_of(found.get()), "one");
}

TEST(RegistryContract, LookUpsWithoutAMatchGiveNoHandle) {
    EXPECT_EQ(RvRegistryCopyServiceMatchingID(0xFFFFFFFFFFFFFFF0), 0u);
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("no such class"), 0u);
    EXPECT_EQ(RvRegistryCopyServiceMatchingName("no such name"), 0u);
}

TEST(RegistryContract, LookUpsByANullNameGiveNoHandle) {
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass(nullptr), 0u);
    EXPECT_EQ(RvRegistryCopyServiceMatchingName(nullptr), 0u);
}

TEST(RegistryContract, EveryLookUpGivesAReferenceOfItsOwn) {
    RegisteredEntries entries;
    const RvRegistryEntry entry = entries.add(kId, "counted");

    const RvRegistryEntry by_id = RvRegistryCopyServiceMatchingID(kId);
    const RvRegistryEntry by_name = RvRegistryCopyServiceMatchingName("counted");

    EXPECT_EQ(registry().references(entry), 2u);
    RvRegistryEntryRelease(by_id);
    EXPECT_EQ(registry().references(entry), 1u);
    RvRegistryEntryRelease(by_name);
    EXPECT_EQ(registry().references(entry), 0u);
}

TEST(RegistryContract, ReleaseOfNoHandleDoesNothing) { RvRegistryEntryRelease(0); }

TEST(RegistryContract, ParentIsGivenWithAReference) {
    RegisteredEntries entries;
    const RvRegistryEntry parent = entries.add(kId, "parent");
    const RvRegistryEntry child = entries.add(kId + 1, "child", parent);

    RvRegistryEntry found = kUntouched;
    const RvStatus status = RvRegistryEntryCopyParent(child, kRvServicePlane, &found);

    EXPECT_EQ(status, 0u);
    EXPECT_EQ(name_of(found), "parent");
    EXPECT_EQ(registry().references(parent), 1u);
    RvRegistryEntryRelease(found);
}

TEST(RegistryContract, FirstChildIsGivenWithAReference) {
    RegisteredEntries entries;
    const RvRegistryEntry parent = entries.add(kId, "parent");
    const RvRegistryEntry first = entries.add(kId + 1, "first", parent);
    entries.add(kId + 2, "second", parent);

    RvRegistryEntry found = kUntouched;
    const RvStatus status = RvRegistryEntryCopyChild(parent, kRvServicePlane, &found);

    EXPECT_EQ(status, 0u);
    EXPECT_EQ(name_of(found), "first");
    EXPECT_EQ(registry().references(first), 1u);
    RvRegistryEntryRelease(found);
}

TEST(RegistryContract, EntryWithoutAParentIsASuccessThatStoresNoHandle) {
    RegisteredEntries entries;
    const RvRegistryEntry root = entries.add(kId, "root");

    RvRegistryEntry found = kUntouched;

    EXPECT_EQ(RvRegistryEntryCopyParent(root, kRvServicePlane, &found), 0u);
    EXPECT_EQ(found, 0u);
}

TEST(RegistryContract, EntryWithoutAChildIsASuccessThatStoresNoHandle) {
    RegisteredEntries entries;
    const RvRegistryEntry leaf = entries.add(kId, "leaf");

    RvRegistryEntry found = kUntouched;

    EXPECT_EQ(RvRegistryEntryCopyChild(leaf, kRvServicePlane, &found), 0u);
    EXPECT_EQ(found, 0u);
}

TEST(RegistryContract, PlanesAreKeptApart) {
    RegisteredEntries entries;
    const RvRegistryEntry one = entries.add(kId, "one");
    const RvRegistryEntry other = entries.add(kId + 1, "other");
    const RvRegistryEntry child = entries.add({kId + 2, "child", "", {{kRvServicePlane, one}, {"Power", other}}});

    RvRegistryEntry in_services = kUntouched;
    RvRegistryEntry in_power = kUntouched;
    ASSERT_EQ(RvRegistryEntryCopyParent(child, kRvServicePlane, &in_services), 0u);
    ASSERT_EQ(RvRegistryEntryCopyParent(child, "Power", &in_power), 0u);

    EXPECT_EQ(name_of(in_services), "one");
    EXPECT_EQ(name_of(in_power), "other");
    RvRegistryEntryRelease(in_services);
    RvRegistryEntryRelease(in_power);
}

TEST(RegistryContract, NullHandlePlaneAndOutputAreBadArguments) {
    RegisteredEntries entries;
    const RvRegistryEntry entry = entries.add(kId, "entry");
    RvRegistryEntry found = kUntouched;

    EXPECT_EQ(RvRegistryEntryCopyParent(0, kRvServicePlane, &found), kRvStatusBadArgument);
    EXPECT_EQ(RvRegistryEntryCopyParent(entry, nullptr, &found), kRvStatusBadArgument);
    EXPECT_EQ(RvRegistryEntryCopyParent(entry, kRvServicePlane, nullptr), kRvStatusBadArgument);
    EXPECT_EQ(RvRegistryEntryCopyChild(0, kRvServicePlane, &found), kRvStatusBadArgument);
    EXPECT_EQ(RvRegistryEntryCopyChild(entry, nullptr, &found), kRvStatusBadArgument);
    EXPECT_EQ(RvRegistryEntryCopyChild(entry, kRvServicePlane, nullptr), kRvStatusBadArgument);
    EXPECT_EQ(found, kUntouched);
}

TEST(RegistryContract, NameIsCutTo127BytesAndTerminated) {
    RegisteredEntries entries;
    const RvRegistryEntry entry = entries.add(kId, std::string(200, 'n'));

    EXPECT_EQ(name_of(entry), std::string(127, 'n'));
}

TEST(RegistryContract, NameOfNoEntryFailsAndLeavesTheBufferAlone) {
    char name[kRvRegistryNameSize] = "untouched";

    EXPECT_NE(RvRegistryEntryGetName(0, name), 0u);
    EXPECT_STREQ(name, "untouched");
}

TEST(RegistryContract, PropertyIsGivenWithAReference) {
    RegisteredEntries entries;
    const RvRegistryEntry entry = entries.add(kId, "entry");
    const OwnedValue value(TvNumberCreateSInt32(17));
    registry().set_property(entry, "Number", value.get());

    const OwnedValue property(RvRegistryEntryCopyProperty(entry, "Number"));

    EXPECT_TRUE(TvEqual(property.get(), value.get()));
}

TEST(RegistryContract, PropertyOutlivesItsReplacement) {
    RegisteredEntries entries;
    const RvRegistryEntry entry = entries.add(kId, "entry");
    registry().set_property(entry, "Text", OwnedValue(TvStringCreateWithCString("old", kTvStringEncodingUTF8)).get());
    const OwnedValue old(RvRegistryEntryCopyProperty(entry, "Text"));

    registry().set_property(entry, "Text", OwnedValue(TvStringCreateWithCString("new", kTvStringEncodingUTF8)).get());

    EXPECT_STREQ(TvStringGetCString(old.get()), "old");
    EXPECT_STREQ(TvStringGetCString(OwnedValue(RvRegistryEntryCopyProperty(entry, "Text")).get()), "new");
}

TEST(RegistryContract, PropertyThatIsNotThereIsNull) {
    RegisteredEntries entries;
    const RvRegistryEntry entry = entries.add(kId, "entry");

    EXPECT_EQ(RvRegistryEntryCopyProperty(entry, "Nothing"), nullptr);
    EXPECT_EQ(RvRegistryEntryCopyProperty(entry, nullptr), nullptr);
    EXPECT_EQ(RvRegistryEntryCopyProperty(0, "Nothing"), nullptr);
}

TEST(RegistryContract, HandleOfAnEntryThatLeftAnswersFailure) {
    const RvRegistryEntry parent = registry().add({kId, "parent", "", {}});
    const RvRegistryEntry child = registry().add({kId + 1, "child", "", {{kRvServicePlane, parent}}});
    const OwnedEntry held(RvRegistryCopyServiceMatchingID(kId + 1));
    registry().remove(child);
    char name[kRvRegistryNameSize];
    RvRegistryEntry found = kUntouched;

    EXPECT_NE(RvRegistryEntryGetName(held.get(), name), 0u);
    EXPECT_NE(RvRegistryEntryCopyParent(held.get(), kRvServicePlane, &found), 0u);
    EXPECT_EQ(RvRegistryEntryCopyProperty(held.get(), "Nothing"), nullptr);
    EXPECT_EQ(RvRegistryCopyServiceMatchingID(kId + 1), 0u);
    registry().remove(parent);
}

TEST(RegistryContract, NeighboursForgetAnEntryThatLeft) {
    const RvRegistryEntry parent = registry().add({kId, "parent", "", {}});
    const RvRegistryEntry middle = registry().add({kId + 1, "middle", "", {{kRvServicePlane, parent}}});
    const RvRegistryEntry child = registry().add({kId + 2, "child", "", {{kRvServicePlane, middle}}});
    registry().remove(middle);
    RvRegistryEntry below = kUntouched;
    RvRegistryEntry above = kUntouched;

    EXPECT_EQ(RvRegistryEntryCopyChild(parent, kRvServicePlane, &below), 0u);
    EXPECT_EQ(RvRegistryEntryCopyParent(child, kRvServicePlane, &above), 0u);
    EXPECT_EQ(below, 0u);
    EXPECT_EQ(above, 0u);
    registry().remove(child);
    registry().remove(parent);
}

TEST(RegistryContract, LookUpsAndPropertiesWorkFromSeveralThreadsAtOnce) {
    RegisteredEntries entries;
    const RvRegistryEntry entry = entries.add({kId, "shared", "SharedClass", {}});
    registry().set_property(entry, "Number", OwnedValue(TvNumberCreateSInt64(1)).get());

    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 200; ++round) {
                const OwnedEntry found(RvRegistryCopyServiceMatchingClass("SharedClass"));
                const OwnedValue number(RvRegistryEntryCopyProperty(found.get(), "Number"));
                std::int64_t value = 0;
                EXPECT_TRUE(TvNumberGetSInt64(number.get(), &value));
                EXPECT_GE(value, 1);
                if (thread == 0) {
                    registry().set_property(entry, "Number", OwnedValue(TvNumberCreateSInt64(round + 2)).get());
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }

    EXPECT_EQ(registry().references(entry), 0u);
}

} // namespace
