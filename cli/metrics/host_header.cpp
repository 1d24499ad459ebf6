#include "cli/metrics/host_header.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <system_error>

#include <asio/ip/address.hpp>
#include <netinet/in.h>

namespace cli {
namespace {

char lower_case(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/** The longest text of an address, with its end. */
using AddressText = std::array<char, INET6_ADDRSTRLEN>;

/** The address that a text gives; empty when it gives none, or one with a scope. */
std::optional<asio::ip::address> address_of(std::string_view text) {
    AddressText terminated{};
    if (text.size() >= terminated.size() || text.find('%') != std::string_view::npos) {
        return std::nullopt;
    }
    text.copy(terminated.data(), text.size());
    asio::error_code failure;
    const asio::ip::address address = asio::ip::make_address(terminated.data(), failure);
    return failure ? std::nullopt : std::optional(address);
}

/** The scope of an address means something on its own machine only. */
std::string_view without_scope(std::string_view address) { return address.substr(0, address.find('%')); }

/** Names are compared without their case and without the dot that may end them. */
bool is_same_name(std::string_view a, std::string_view b) {
    const auto without_dot = [](std::string_view name) {
        return !name.empty() && name.back() == '.' ? name.substr(0, name.size() - 1) : name;
    };
    return std::ranges::equal(without_dot(a), without_dot(b), {}, lower_case, lower_case);
}

/** A header in its parts. */
struct HostHeader {
    std::string_view name;  ///< without brackets
    bool is_in_brackets;    ///< as an IPv6 address must be
    std::string_view after; ///< a port with its colon, or nothing, if the header is well formed
};

HostHeader split(std::string_view header) {
    const std::size_t closing = header.find(']');
    if (header.substr(0, 1) == "[" && closing != std::string_view::npos) {
        return {header.substr(1, closing - 1), true, header.substr(closing + 1)};
    }
    const std::size_t colon = std::min(header.find(':'), header.size());
    return {header.substr(0, colon), false, header.substr(colon)};
}

/** The colon may stand alone. */
bool is_port_or_nothing(std::string_view text) {
    if (text.empty() || text == ":") {
        return true;
    }
    std::uint16_t port = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + 1, end, port);
    return text.front() == ':' && error == std::errc() && stop == end;
}

} // namespace

bool means_this_server(std::string_view header, const ListenAddress &address,
                       const std::vector<std::string> &names) noexcept {
    const auto [name, is_in_brackets, after] = split(header);
    if (!is_port_or_nothing(after)) {
        return false;
    }
    if (const std::optional<asio::ip::address> literal = address_of(name)) {
        const std::optional<asio::ip::address> own = address_of(without_scope(address.host));
        return literal->is_v6() == is_in_brackets &&
               (literal->is_loopback() || literal == own || (own && own->is_unspecified()));
    }
    const auto is_name = [text = name](std::string_view known) { return is_same_name(text, known); };
    return !is_in_brackets && (is_name("localhost") || std::ranges::any_of(names, is_name));
}

} // namespace cli
