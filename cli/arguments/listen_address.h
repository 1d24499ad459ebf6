/** Where a server listens, as the command line names it. */
#pragma once

#include <cstdint>
#include <string>

namespace cli {

struct ListenAddress {
    std::string host; ///< an address, IPv6 without brackets
    bool is_ipv6;
    std::uint16_t port; ///< 0: any free one

    /** As in a URL. */
    std::string text() const;
};

/**
 * Reads "HOST:PORT", "[IPV6]:PORT" or "PORT". HOST is an address or "localhost"; without one it is the IPv4 loopback
 * address: nothing else is ever listened on without being asked for.
 * @throws std::invalid_argument saying what is wrong, in words that follow the text in quotation marks.
 */
ListenAddress parse_listen_address(const std::string &text);

} // namespace cli
