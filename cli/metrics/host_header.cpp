#include "cli/metrics/host_header.h"

#include <algorithm>
#include <optional>

#include <asio/ip/address.hpp>

namespace cli {
namespace {

char lower_case(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/** Names are compared without their case and without the dot that may end them. */
bool is_same_name(std::string_view a, std::string_view b) {
    const auto without_dot = [](std::string_view name) {
        return !name.empty() && name.back() == '.' ? name.substr(0, name.size() - 1) : name;
    };
    return std::ranges::equal(without_dot(a), without_dot(b), {}, lower_case, lower_case);
}

/** The header without its port, and without the brackets of an IPv6 address. */
std::string_view name_of(std::string_view header) {
    if (header.substr(0, 1) == "[") {
        return header.substr(1, header.find(']') - 1);
    }
    return header.substr(0, header.find(':'));
}

} // namespace

bool means_this_server(std::string_view header, const ListenAddress &address, const std::vector<std::string> &names) {
    const std::string_view name = name_of(header);
    asio::error_code failure;
    const asio::ip::address literal = asio::ip::make_address(std::string(name), failure);
    if (!failure) {
        const asio::ip::address own = asio::ip::make_address(address.host);
        return literal.is_loopback() || own.is_unspecified() || literal == own;
    }
    return is_same_name(name, "localhost") ||
           std::ranges::any_of(names, [name](const std::string &known) { return is_same_name(name, known); });
}

} // namespace cli
