#include "cli/arguments/listen_address.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

#include <asio.hpp>

namespace cli {
namespace {

constexpr std::string_view kLoopback = "127.0.0.1";

std::uint16_t port_in(std::string_view text) {
    std::uint16_t port = 0;
    const char *const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, port);
    if (text.empty() || read.ec != std::errc() || read.ptr != end) {
        throw std::invalid_argument("has no port from 0 to 65535 at its end");
    }
    return port;
}

/** Without the brackets that IPv6 addresses, and only those, stand in. */
std::string_view bare_host(std::string_view host) {
    const bool has_brackets = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    const bool needs_brackets = host.find(':') != std::string_view::npos;
    if (has_brackets != needs_brackets) {
        throw std::invalid_argument("is none of HOST:PORT, [IPV6]:PORT and PORT");
    }
    return has_brackets ? host.substr(1, host.size() - 2) : host;
}

} // namespace

std::string ListenAddress::text() const { return (is_ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(port); }

ListenAddress parse_listen_address(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) {
        return {std::string(kLoopback), false, port_in(text)};
    }
    const std::string_view named = bare_host(std::string_view(text).substr(0, colon));
    const std::string host(named == "localhost" ? kLoopback : named);
    asio::error_code error;
    const asio::ip::address address = asio::ip::make_address(host, error);
    if (error) {
        throw std::invalid_argument("names no address: localhost, an IPv4 address, or an IPv6 address in brackets");
    }
    return {address.to_string(), address.is_v6(), port_in(std::string_view(text).substr(colon + 1))};
}

} // namespace cli
