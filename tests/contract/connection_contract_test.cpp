#include <algorithm>
#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "platform/RvConnection.h"
#include "tests/contract/registered_entries.h"

namespace {

using contract::RegisteredEntries;

constexpr std::uint64_t kId = 0xC0DE1001;

contract::RegistryPort &registry() { return contract::port().registry(); }

class ConnectionContract : public testing::Test {
protected:
    ConnectionContract() {
        contract::RegistryPort::Entry entry{kId, "driver", "", {}};
        entry.has_driver = true;
        _service = _entries.add(entry);
        EXPECT_EQ(RvConnectionOpen(_service, 0, &_connection), 0u);
    }
    ~ConnectionContract() override { RvConnectionClose(_connection); }

    RegisteredEntries _entries;
    RvRegistryEntry _service = 0;
    RvConnection _connection = 0;
};

TEST_F(ConnectionContract, OpenConnectionIsCountedUntilItIsClosed) {
    const std::size_t before = registry().open_connections();
    RvConnection second = 0;

    ASSERT_EQ(RvConnectionOpen(_service, 0, &second), 0u);

    EXPECT_NE(second, 0u);
    EXPECT_NE(second, _connection);
    EXPECT_EQ(registry().open_connections(), before + 1);
    EXPECT_EQ(RvConnectionClose(second), 0u);
    EXPECT_EQ(registry().open_connections(), before);
}

TEST_F(ConnectionContract, DriversRefusalComesBackAndLeavesTheConnectionAlone) {
    RvConnection connection = 77;

    EXPECT_EQ(RvConnectionOpen(_service, 9, &connection), 0xE0001234u);
    EXPECT_EQ(connection, 77u);
}

TEST_F(ConnectionContract, NullServiceAndOutputAreBadArguments) {
    RvConnection connection = 77;

    EXPECT_EQ(RvConnectionOpen(0, 0, &connection), kRvStatusBadArgument);
    EXPECT_EQ(RvConnectionOpen(_service, 0, nullptr), kRvStatusBadArgument);
    EXPECT_EQ(connection, 77u);
}

TEST_F(ConnectionContract, ServiceWithoutADriverRefuses) {
    const RvRegistryEntry bare = _entries.add(kId + 1, "bare");
    RvConnection connection = 77;

    EXPECT_NE(RvConnectionOpen(bare, 0, &connection), 0u);
    EXPECT_EQ(connection, 77u);
}

TEST_F(ConnectionContract, CloseOfWhatIsNotOpenIsABadArgument) {
    RvConnection closed = 0;
    ASSERT_EQ(RvConnectionOpen(_service, 0, &closed), 0u);
    ASSERT_EQ(RvConnectionClose(closed), 0u);

    EXPECT_EQ(RvConnectionClose(closed), kRvStatusBadArgument);
    EXPECT_EQ(RvConnectionClose(0), kRvStatusBadArgument);
}

TEST_F(ConnectionContract, ScalarsAndBytesGoBothWays) {
    const std::uint64_t scalars_in[] = {41, UINT64_MAX};
    std::uint64_t scalars_out[3] = {};
    std::uint32_t scalars_out_count = 3;
    const std::array<std::uint8_t, 3> in = {1, 2, 3};
    std::array<std::uint8_t, 8> out{};
    std::size_t out_size = out.size();

    const RvStatus status = RvConnectionCallMethod(_connection, 1, scalars_in, 2, in.data(), in.size(), scalars_out,
                                                   &scalars_out_count, out.data(), &out_size);

    EXPECT_EQ(status, 0u);
    EXPECT_EQ(scalars_out_count, 2u);
    EXPECT_EQ(scalars_out[0], 42u);
    EXPECT_EQ(scalars_out[1], 0u);
    EXPECT_EQ(out_size, 3u);
    EXPECT_TRUE(std::equal(in.begin(), in.end(), out.begin()));
}

TEST_F(ConnectionContract, EverythingOptionalMayBeNull) {
    EXPECT_EQ(RvConnectionCallMethod(_connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr), 0u);
}

TEST_F(ConnectionContract, NothingIsWrittenPastTheCapacityThoughTheReportedSizeIsLarger) {
    std::array<std::uint8_t, 16> out{};
    std::size_t out_size = 10;

    const RvStatus status =
        RvConnectionCallMethod(_connection, 2, nullptr, 0, nullptr, 0, nullptr, nullptr, out.data(), &out_size);

    EXPECT_EQ(status, 0u);
    EXPECT_EQ(out_size, 64u);
    EXPECT_EQ(std::ranges::count(out, 0x5A), 10);
    EXPECT_EQ(out[10], 0);
}

TEST_F(ConnectionContract, FailingMethodGivesItsStatusAndTheSizeItLeft) {
    std::array<std::uint8_t, 16> out{};
    std::size_t out_size = out.size();

    EXPECT_EQ(RvConnectionCallMethod(_connection, 3, nullptr, 0, nullptr, 0, nullptr, nullptr, out.data(), &out_size),
              0xE0005678u);
    EXPECT_EQ(out_size, 7u);
}

TEST_F(ConnectionContract, MethodThatTheDriverDoesNotHaveIsNotFound) {
    EXPECT_EQ(RvConnectionCallMethod(_connection, 99, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              kRvStatusNotFound);
}

TEST_F(ConnectionContract, CallOnWhatIsNotOpenIsABadArgumentAndTouchesNothing) {
    std::array<std::uint8_t, 4> out{};
    std::size_t out_size = out.size();

    EXPECT_EQ(RvConnectionCallMethod(0, 2, nullptr, 0, nullptr, 0, nullptr, nullptr, out.data(), &out_size),
              kRvStatusBadArgument);
    EXPECT_EQ(out_size, 4u);
    EXPECT_EQ(out[0], 0);
}

TEST_F(ConnectionContract, ConnectionToAServiceThatLeftFailsAndCanStillBeClosed) {
    contract::RegistryPort::Entry entry{kId + 2, "leaving", "", {}};
    entry.has_driver = true;
    const RvRegistryEntry leaving = registry().add(entry);
    RvConnection connection = 0;
    ASSERT_EQ(RvConnectionOpen(leaving, 0, &connection), 0u);

    registry().remove(leaving);

    EXPECT_NE(RvConnectionCallMethod(connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(RvConnectionClose(connection), 0u);
}

} // namespace
