/** The address that a server listens on, as given on the command line. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/arguments/declaration.h"

namespace cli {

struct ListenAddress {
    std::string host; ///< a numeric address, IPv6 without brackets
    bool is_ipv6;
    std::uint16_t port; ///< 0: any free port

    /** HOST:PORT as in a URL, IPv6 in brackets. */
    std::string text() const;
};

/**
 * Reads "HOST:PORT", "[IPV6]:PORT" or "PORT". HOST is a numeric address or "localhost". Without HOST it is the IPv4
 * loopback address: other interfaces must be asked for.
 * @throws std::invalid_argument with the reason, such as "the port is not a number from 0 to 65535".
 */
ListenAddress parse_listen_address(const std::string &text);

/**
 * The value is such an address.
 * @param address  stays empty when the option is not given.
 */
ValueReader listen_address_reader(std::optional<ListenAddress> &address);

} // namespace cli
