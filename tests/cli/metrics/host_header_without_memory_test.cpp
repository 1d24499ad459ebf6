#include "cli/metrics/host_header.h"

#include <gtest/gtest.h>

#include "tests/limited_memory.h"

namespace {

/** The server's threads are those of a C library, which an exception must not reach. */
TEST(HostHeaderWithoutMemory, IsUnderstood) {
    const cli::ListenAddress address{"2001:db8:1234:5678:9abc:def0:1234:5678", true, 9100};
    const std::vector<std::string> names = {"a-name-that-is-longer-than-a-short-string.example.org"};
    const std::string long_name(1000, 'x');

    tests::allocations_left = 0;
    const bool own = cli::means_this_server("[2001:db8:1234:5678:9abc:def0:1234:5678]:9100", address, names);
    const bool name = cli::means_this_server("A-Name-That-Is-Longer-Than-A-Short-String.example.org", address, names);
    const bool foreign = cli::means_this_server("localhost.but-longer-than-a-short-string.org", address, names);
    const bool foreign_address = cli::means_this_server("[2001:db8:1234:5678:9abc:def0:1234:5679]", address, names);
    const bool longer = cli::means_this_server(long_name, address, names);
    tests::allocations_left = tests::kNoLimit;

    EXPECT_TRUE(own);
    EXPECT_TRUE(name);
    EXPECT_FALSE(foreign);
    EXPECT_FALSE(foreign_address);
    EXPECT_FALSE(longer);
}

} // namespace
