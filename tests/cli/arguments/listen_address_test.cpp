#include "cli/arguments/listen_address.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

using cli::parse_listen_address;

namespace {

TEST(ListenAddressTest, APortAloneIsOnLoopback) {
    EXPECT_EQ(parse_listen_address("9100").text(), "127.0.0.1:9100");
    EXPECT_EQ(parse_listen_address("0").text(), "127.0.0.1:0");
    EXPECT_EQ(parse_listen_address("localhost:65535").text(), "127.0.0.1:65535");
}

TEST(ListenAddressTest, OtherAddressesAreTakenWhenTheyAreNamed) {
    EXPECT_EQ(parse_listen_address("0.0.0.0:9100").text(), "0.0.0.0:9100");
    EXPECT_EQ(parse_listen_address("192.0.2.7:80").text(), "192.0.2.7:80");
}

TEST(ListenAddressTest, Ipv6StandsInBrackets) {
    EXPECT_EQ(parse_listen_address("[::1]:9100").text(), "[::1]:9100");
    EXPECT_EQ(parse_listen_address("[::1]:9100").host, "::1");
    EXPECT_TRUE(parse_listen_address("[::1]:9100").is_ipv6);
    EXPECT_FALSE(parse_listen_address("127.0.0.1:9100").is_ipv6);
}

TEST(ListenAddressTest, EverythingElseIsRefused) {
    for (const char *text : {"",
                             ":",
                             ":9100",
                             "x",
                             "127.0.0.1",
                             "127.0.0.1:",
                             "127.0.0.1:65536",
                             "127.0.0.1:-1",
                             "127.0.0.1:+1",
                             "127.0.0.1: 1",
                             "127.0.0.1:1x",
                             "127.0.0.1:99999999999999999999",
                             "127.1:80",
                             "256.0.0.1:80",
                             "::1:9100",
                             "[::1]",
                             "[::1]9100",
                             "[127.0.0.1]:80",
                             "[localhost]:80",
                             "[]:80",
                             "[:::1]:80",
                             "example.org:80",
                             "127.0.0.1,0.0.0.0:80",
                             "http://127.0.0.1:80"}) {
        EXPECT_THROW(parse_listen_address(text), std::invalid_argument) << text;
    }
}

} // namespace
