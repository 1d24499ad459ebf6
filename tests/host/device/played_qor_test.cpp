// The QOR that tests and contract checks play.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "host/device/played_qor.h"
#include "platform/RvConnection.h"

namespace {

using host::PlayedQor;
using testing::Each;
using testing::ElementsAre;

/** One call of a method of the service with this name, without scalars or input. */
RvStatus call_service(const char *name, std::uint32_t method, std::uint8_t *out, std::size_t *out_size) {
    const platform::OwnedEntry service(RvRegistryCopyServiceMatchingName(name));
    RvConnection connection = 0;
    RvStatus status = RvConnectionOpen(service.get(), 0, &connection);
    if (status == kRvStatusSuccess) {
        std::uint32_t scalars_out = 0;
        status =
            RvConnectionCallMethod(connection, method, nullptr, 0, nullptr, 0, nullptr, &scalars_out, out, out_size);
        RvConnectionClose(connection);
    }
    return status;
}

TEST(PlayedQorTest, LeavesNothingInTheRegistry) {
    RvRegistryEntry entries[4];
    {
        const PlayedQor qor;
        entries[0] = qor.device_entry;
        entries[1] = qor.interface_entry;
        entries[2] = qor.driver_entry;
        entries[3] = qor.client_entry;
        for (const RvRegistryEntry entry : entries) {
            EXPECT_TRUE(host::device_registry::is_registered(entry));
        }
    }

    for (const RvRegistryEntry entry : entries) {
        EXPECT_FALSE(host::device_registry::is_registered(entry));
    }
    EXPECT_EQ(RvRegistryCopyServiceMatchingName("ZEL_profile"), 0u);
    EXPECT_EQ(RvRegistryCopyServiceMatchingName("OndreQORProfileDriver"), 0u);
}

TEST(PlayedQorTest, LeavesOutTheAncestorsThatAreNotWanted) {
    const PlayedQor orphan({.ancestors = 0});
    const PlayedQor fatherless({.ancestors = 1});

    EXPECT_EQ(orphan.interface_entry, 0u);
    EXPECT_EQ(orphan.device_entry, 0u);
    EXPECT_NE(fatherless.interface_entry, 0u);
    EXPECT_EQ(fatherless.device_entry, 0u);
}

TEST(PlayedQorTest, DriverAnswersZerosAndRecordsTheCommand) {
    PlayedQor qor;
    std::array<std::byte, 4> room{};
    room.fill(std::byte{0xEE});
    host::DriverCommand command{.selector = 30, .in = {}, .out = room, .out_size = room.size()};

    EXPECT_EQ(qor.driver->command(command), kRvStatusSuccess);

    EXPECT_EQ(command.out_size, 4u);
    EXPECT_THAT(room, Each(std::byte{0}));
    EXPECT_THAT(qor.commands, ElementsAre(30u));
}

TEST(PlayedQorTest, DriverClaimsTheSizeAndStatusThatAreSet) {
    PlayedQor qor;
    qor.reported_size = 1'000'000;
    qor.status = kRvStatusNotReady;
    host::DriverCommand command{.selector = 10, .in = {}, .out = {}, .out_size = 0};

    EXPECT_EQ(qor.driver->command(command), kRvStatusNotReady);

    EXPECT_EQ(command.out_size, 1'000'000u);
}

TEST(PlayedQorTest, ReportServicesHandOutNumberedReports) {
    const PlayedQor qor({.reports = 2});
    std::array<std::uint8_t, 100> room{};
    std::size_t size = room.size();

    EXPECT_EQ(call_service("OndreQORProfileDriver", 9, room.data(), &size), kRvStatusSuccess);

    EXPECT_EQ(size, 96u);
    EXPECT_EQ(room[3], 8); // the control category
    EXPECT_EQ(room[4], 0);
    EXPECT_EQ(room[48 + 3], 8);
    EXPECT_EQ(room[48 + 4], 1);
    EXPECT_THAT(qor.driver_reports.methods, ElementsAre(9u));
    EXPECT_EQ(qor.driver_reports.capacity, 100u);
    EXPECT_TRUE(qor.firmware_reports.methods.empty());
}

} // namespace
