/** User-client connections to driver services, behind `platform/RvConnection.h`. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "platform/RvConnection.h"

namespace host {

/** One call of a user-client method, as the driver sees it. */
struct MethodCall {
    std::uint32_t method;
    std::span<const std::uint64_t> scalars_in;
    std::span<const std::byte> in;
    std::span<std::uint64_t> scalars_out;
    std::size_t scalars_out_count; ///< in: the capacity; out: what the driver reports
    std::span<std::byte> out;
    std::size_t out_size; ///< in: the capacity; out: what the driver reports, true or not
};

/** A service's driver for user clients. Called on the thread that opens the connection or calls the method. */
struct UserClient {
    std::function<RvStatus(std::uint32_t type)> open;      ///< empty: every type is accepted
    std::function<RvStatus(MethodCall &call)> call_method; ///< empty: no method is known
};

/** The number of open connections. Any thread. */
std::size_t open_connection_count();

} // namespace host
