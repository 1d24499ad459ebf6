#include "cli/metrics/host_header.h"

#include <gtest/gtest.h>

using cli::ListenAddress;
using cli::means_this_server;

namespace {

const ListenAddress kLoopback{"127.0.0.1", false, 9100};
const ListenAddress kOne{"192.0.2.7", false, 9100};
const ListenAddress kAll{"0.0.0.0", false, 9100};
const ListenAddress kAll6{"::", true, 9100};

TEST(HostHeaderTest, LoopbackMeansEveryServer) {
    for (const char *header : {"localhost", "localhost:9100", "LocalHost.:80", "127.0.0.1", "127.0.0.1:1", "127.3.2.1",
                               "[::1]", "[::1]:9100"}) {
        EXPECT_TRUE(means_this_server(header, kLoopback, {})) << header;
        EXPECT_TRUE(means_this_server(header, kOne, {})) << header;
    }
}

TEST(HostHeaderTest, TheServersOwnAddressMeansIt) {
    EXPECT_TRUE(means_this_server("192.0.2.7:9100", kOne, {}));
    EXPECT_FALSE(means_this_server("192.0.2.8:9100", kOne, {}));
    EXPECT_FALSE(means_this_server("192.0.2.7", kLoopback, {}));
}

TEST(HostHeaderTest, AnyAddressMeansAServerOfAllAddresses) {
    EXPECT_TRUE(means_this_server("192.0.2.8:9100", kAll, {}));
    EXPECT_TRUE(means_this_server("[2001:db8::1]:9100", kAll6, {}));
}

TEST(HostHeaderTest, AForeignNameMeansAnotherServer) {
    for (const char *header :
         {"", ":9100", "example.org", "example.org:9100", "localhost.example.org", "127.0.0.1.example.org",
          "xlocalhost", "[", "[]", "2130706433", "0x7f.1", "localhost\r"}) {
        EXPECT_FALSE(means_this_server(header, kLoopback, {})) << header;
        EXPECT_FALSE(means_this_server(header, kAll, {})) << header;
    }
}

TEST(HostHeaderTest, AGivenNameMeansTheServer) {
    const std::vector<std::string> names = {"phone.lab", "other"};

    EXPECT_TRUE(means_this_server("Phone.Lab.:9100", kLoopback, names));
    EXPECT_TRUE(means_this_server("other", kLoopback, names));
    EXPECT_FALSE(means_this_server("phone", kLoopback, names));
    EXPECT_FALSE(means_this_server("phone.lab.example.org", kLoopback, names));
}

} // namespace
