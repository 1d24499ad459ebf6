#include "host/RvRegistry.h"

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host/error.h"
#include "platform/RvRegistry.h"
#include "tests/work_ratio.h"

namespace {

using host::RegistryEntryDescription;
using host::device_registry::add;
using host::device_registry::reference_count;
using host::device_registry::remove;
using host::device_registry::set_property;
using platform::OwnedEntry;

constexpr std::uint64_t kId = 0xD0000001;

RegistryEntryDescription describe(std::uint64_t registry_id, const std::string &name,
                                  const std::string &class_name = {}) {
    RegistryEntryDescription description;
    description.registry_id = registry_id;
    description.name = name;
    description.class_name = class_name;
    return description;
}

TEST(DeviceRegistry, TakenRegistryIDIsAnErrorThatNamesBothEntries) {
    const RvRegistryEntry first = add(describe(kId, "first"));

    try {
        add(describe(kId, "second"));
        FAIL() << "added";
    } catch (const host::Error &error) {
        EXPECT_STREQ(error.what(), "registry entry \"second\": registry ID 0xD0000001 is taken by entry \"first\"");
    }
    remove(first);
}

TEST(DeviceRegistry, RegistryIDIsFreeAgainOnceItsEntryLeft) {
    remove(add(describe(kId, "first")));

    const RvRegistryEntry second = add(describe(kId, "second"));

    EXPECT_TRUE(host::device_registry::is_registered(second));
    remove(second);
}

TEST(DeviceRegistry, UnknownParentIsAnError) {
    RegistryEntryDescription orphan = describe(kId, "orphan");
    orphan.parents[kRvServicePlane] = 0xFFFFFF;

    try {
        add(std::move(orphan));
        FAIL() << "added";
    } catch (const host::Error &error) {
        EXPECT_STREQ(error.what(),
                     "registry entry \"orphan\": its parent in plane \"RvService\" is not in the registry");
    }
    EXPECT_EQ(RvRegistryCopyServiceMatchingID(kId), 0u);
}

TEST(DeviceRegistry, ReferencesToAnEntryThatLeftCountUntilTheLastIsGivenBack) {
    const RvRegistryEntry entry = add(describe(kId, "entry"));
    OwnedEntry held(RvRegistryCopyServiceMatchingID(kId));
    remove(entry);

    EXPECT_FALSE(host::device_registry::is_registered(entry));
    EXPECT_EQ(host::device_registry::reference_count(entry), 1u);
    held.reset();
    EXPECT_EQ(host::device_registry::reference_count(entry), 0u);
}

TEST(DeviceRegistry, HandleNumbersAreNeverUsedTwice) {
    const RvRegistryEntry first = add(describe(kId, "first"));
    remove(first);
    const RvRegistryEntry second = add(describe(kId, "second"));

    EXPECT_NE(first, second);
    remove(second);
}

TEST(DeviceRegistry, NullPropertyRemovesWhatWasThere) {
    const RvRegistryEntry entry = add(describe(kId, "entry"));
    host::device_registry::set_property(entry, "Flag", platform::OwnedValue(TvBooleanGet(true)));

    host::device_registry::set_property(entry, "Flag", {});

    EXPECT_EQ(RvRegistryEntryCopyProperty(entry, "Flag"), nullptr);
    remove(entry);
}

platform::OwnedValue number(std::int64_t value) { return platform::OwnedValue(TvNumberCreateSInt64(value)); }

std::int64_t copy_number(RvRegistryEntry entry, const char *key) {
    const platform::OwnedValue copy(RvRegistryEntryCopyProperty(entry, key));
    std::int64_t value = -1;
    TvNumberGetSInt64(copy.get(), &value);
    return value;
}

TEST(DeviceRegistry, ClassAskedForAgainIsCountedUntilItIsGivenBack) {
    const RvRegistryEntry entry = add(describe(0x51, "asked", "AskedClass"));

    const RvRegistryEntry first = RvRegistryCopyServiceMatchingClass("AskedClass");
    const RvRegistryEntry second = RvRegistryCopyServiceMatchingClass("AskedClass");
    EXPECT_EQ(reference_count(entry), 2U);
    RvRegistryEntryRelease(first);
    EXPECT_EQ(reference_count(entry), 1U);
    RvRegistryEntryRelease(second);
    EXPECT_EQ(reference_count(entry), 0U);
    RvRegistryEntryRelease(second); // one too many
    EXPECT_EQ(reference_count(entry), 0U);
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("AskedClass"), entry);
    EXPECT_EQ(reference_count(entry), 1U);

    RvRegistryEntryRelease(entry);
    remove(entry);
}

TEST(DeviceRegistry, ClassAskedForAgainFollowsWhatHasChangedSince) {
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("ComesAndGoes"), 0U);
    const RvRegistryEntry earlier = add(describe(0x52, "earlier", "ComesAndGoes"));
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("ComesAndGoes"), earlier);
    RvRegistryEntryRelease(earlier);
    remove(earlier);
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("ComesAndGoes"), 0U);
    const RvRegistryEntry later = add(describe(0x52, "later", "ComesAndGoes"));
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("ComesAndGoes"), later);

    RvRegistryEntryRelease(later);
    remove(later);
}

TEST(DeviceRegistry, PropertyAskedForAgainFollowsWhatAnotherThreadSets) {
    const RvRegistryEntry entry = add(describe(0x55, "watched", "WatchedClass"));
    for (std::int64_t value = 1; value <= 3; ++value) {
        std::thread([&] { set_property(entry, "count", number(value)); }).join();

        EXPECT_EQ(copy_number(entry, "count"), value);
        EXPECT_EQ(copy_number(entry, "count"), value);
    }
    std::thread([&] { set_property(entry, "count", {}); }).join();
    EXPECT_EQ(copy_number(entry, "count"), -1);

    remove(entry);
}

TEST(DeviceRegistry, CopiedPropertyOutlivesItsEntryOnAnotherThread) {
    const RvRegistryEntry entry = add(describe(0x56, "short-lived", "ShortLivedClass"));
    set_property(entry, "count", number(7));
    TvRef copy = RvRegistryEntryCopyProperty(entry, "count");
    remove(entry);
    const RvRegistryEntry another = add(describe(0x56, "another", "ShortLivedClass"));
    set_property(another, "count", number(8));

    EXPECT_EQ(copy_number(another, "count"), 8);
    std::thread([&] {
        std::int64_t value = 0;
        EXPECT_TRUE(TvNumberGetSInt64(copy, &value));
        EXPECT_EQ(value, 7);
        TvRelease(copy);
    }).join();

    remove(another);
}

TEST(DeviceRegistry, ReferenceGivenBackByAnotherThreadIsCountedOnce) {
    const RvRegistryEntry entry = add(describe(0x58, "passed", "PassedClass"));
    RvRegistryEntryRelease(RvRegistryCopyServiceMatchingClass("PassedClass"));

    const RvRegistryEntry passed = RvRegistryCopyServiceMatchingClass("PassedClass");
    std::thread([&] { RvRegistryEntryRelease(passed); }).join();
    EXPECT_EQ(reference_count(entry), 0U);
    std::thread([&] { EXPECT_EQ(RvRegistryCopyServiceMatchingClass("PassedClass"), entry); }).join();
    EXPECT_EQ(reference_count(entry), 1U);
    RvRegistryEntryRelease(entry);
    EXPECT_EQ(reference_count(entry), 0U);

    remove(entry);
}

/** Adds children of one parent and one class, finds each by its name, and removes them, the first one first. */
void register_and_find(std::size_t count) {
    const RvRegistryEntry parent = add(describe(1'000'000, "parent"));
    std::vector<RvRegistryEntry> children;
    for (std::size_t i = 0; i < count; ++i) {
        RegistryEntryDescription child = describe(1'000'001 + i, "child " + std::to_string(i), "Child");
        child.parents[kRvServicePlane] = parent;
        children.push_back(add(std::move(child)));
    }
    for (std::size_t i = 0; i < count; ++i) {
        const OwnedEntry found(RvRegistryCopyServiceMatchingName(("child " + std::to_string(i)).c_str()));
        ASSERT_EQ(found.get(), children[i]);
    }
    for (const RvRegistryEntry child : children) {
        remove(child);
    }
    remove(parent);
}

TEST(DeviceRegistry, WorkGrowsInProportionToTheNumberOfEntries) {
    EXPECT_LT(tests::growth_of(register_and_find, 2000), tests::kMostGrowth);
}

} // namespace
