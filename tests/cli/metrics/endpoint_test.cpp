/** The command line of `run --listen`. endpoint_test.py tests the server. */
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/cli/hosting.h"
#include "tests/cli/program.h"

using cli_tests::kSmall;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;
using testing::ContainsRegex;

namespace {

/** A port of the loopback interface that is in use. */
class TakenPort {
public:
    TakenPort() : _socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(_socket, reinterpret_cast<const sockaddr *>(&address), size), 0);
        EXPECT_EQ(listen(_socket, 1), 0);
        EXPECT_EQ(getsockname(_socket, reinterpret_cast<sockaddr *>(&address), &size), 0);
        _number = ntohs(address.sin_port);
    }
    ~TakenPort() { close(_socket); }
    TakenPort(const TakenPort &) = delete;
    TakenPort &operator=(const TakenPort &) = delete;

    std::string number() const { return std::to_string(_number); }

private:
    int _socket;
    std::uint16_t _number = 0;
};

class ListenTest : public testing::Test {
protected:
    Outcome run_listening(const std::string &address) const {
        return qorstat({"run", kSmall, "--for", "0", "--store", ":memory:", "--listen", address}, surroundings);
    }

    TemporaryFolder folder;
    Surroundings surroundings = cli_tests::isolate_in(folder);
};

TEST_F(ListenTest, AFreePortIsFoundAndAnnounced) {
    const Outcome outcome = run_listening("0");

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, ContainsRegex("^metrics at http://127\\.0\\.0\\.1:[1-9][0-9]*/metrics\nanalytics in "
                                           "memory only\nnotifications at [^\n]*\nhosting "));
}

TEST_F(ListenTest, APortInUseIsOneError) {
    const TakenPort taken;

    const Outcome outcome = run_listening(taken.number());

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: 127.0.0.1:" + taken.number() + ": Address already in use\n");
}

TEST_F(ListenTest, AnAddressOfSomeoneElseIsOneError) {
    const Outcome outcome = run_listening("192.0.2.1:0");

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: 192.0.2.1:0: Cannot assign requested address\n");
}

TEST_F(ListenTest, Ipv6IsServedOrRefusedInOneError) {
    const Outcome outcome = run_listening("[::1]:0");

    if (outcome.exit_code == 0) {
        EXPECT_THAT(outcome.err, ContainsRegex("^metrics at http://\\[::1\\]:[1-9][0-9]*/metrics\n"));
    } else {
        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_THAT(outcome.err, ContainsRegex("^qorstat: \\[::1\\]:0: [^\n]+\n$"));
    }
}

TEST_F(ListenTest, WhatIsNoAddressIsWrongUse) {
    const Outcome outcome = run_listening("example.org:80");

    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(
        outcome.err,
        "qorstat: run: invalid value \"example.org:80\" for --listen: the host is not localhost, an IPv4 address, "
        "or an IPv6 address in brackets\n");
}

} // namespace
