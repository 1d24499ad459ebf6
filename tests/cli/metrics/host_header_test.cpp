#include "cli/metrics/host_header.h"

#include <string>

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

TEST(HostHeaderTest, TheServersOwnAddressMeansItWithoutItsScope) {
    EXPECT_TRUE(means_this_server("[fe80::1]:9100", {"fe80::1%1", true, 9100}, {}));
    EXPECT_FALSE(means_this_server("[fe80::2]:9100", {"fe80::1%1", true, 9100}, {}));
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

TEST(HostHeaderTest, APortIsANumberOrMissing) {
    for (const char *host : {"localhost", "127.0.0.1", "[::1]", "phone.lab"}) {
        for (const char *port : {"", ":", ":0", ":9100", ":65535", ":09100"}) {
            EXPECT_TRUE(means_this_server(std::string(host) + port, kLoopback, {"phone.lab"})) << host << port;
        }
        for (const char *port : {":65536", ":x", ":9100x", ":9100 ", ": 9100", ":-1", ":+1", "::9100", ":9100:9100",
                                 ":example.org", " ", ",example.org", "/", "@example.org", "]", "[::1]"}) {
            EXPECT_FALSE(means_this_server(std::string(host) + port, kLoopback, {"phone.lab"})) << host << port;
        }
    }
}

TEST(HostHeaderTest, BracketsHoldAnIpv6AddressAndNothingElseDoes) {
    for (const char *header : {"[127.0.0.1]", "[localhost]", "[phone.lab]:9100", "::1", "[::1", "::1]", "[[::1]]",
                               "[::1]9100", "[::1]x:9100", "x[::1]", "[fe80::1%lo]", "[::1%1]"}) {
        EXPECT_FALSE(means_this_server(header, kLoopback, {"phone.lab"})) << header;
        EXPECT_FALSE(means_this_server(header, kAll6, {"phone.lab"})) << header;
    }
}

TEST(HostHeaderTest, ALongHeaderMeansAnotherServer) {
    for (const std::size_t size : {45U, 46U, 47U, 16'000U}) {
        EXPECT_FALSE(means_this_server(std::string(size, '1'), kAll, {})) << size;
        EXPECT_FALSE(means_this_server("[" + std::string(size, ':') + "]", kAll6, {})) << size;
    }
    EXPECT_TRUE(means_this_server("[0000:0000:0000:0000:0000:ffff:192.168.100.228]:9100", kAll6, {}));
}

TEST(HostHeaderTest, AGivenNameMeansTheServer) {
    const std::vector<std::string> names = {"phone.lab", "other"};

    EXPECT_TRUE(means_this_server("Phone.Lab.:9100", kLoopback, names));
    EXPECT_TRUE(means_this_server("other", kLoopback, names));
    EXPECT_FALSE(means_this_server("phone", kLoopback, names));
    EXPECT_FALSE(means_this_server("phone.lab.example.org", kLoopback, names));
}

} // namespace
