/** User-client connections to driver services. */
#ifndef PLATFORM_RV_CONNECTION_H
#define PLATFORM_RV_CONNECTION_H

#include <stddef.h>
#include <stdint.h>

#include "platform/RvRegistry.h"
#include "platform/RvStatus.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An open connection; 0 is none. */
typedef uint32_t RvConnection;

/**
 * Opens a connection from this process to a service.
 * @param type        the connection type that the driver knows; its meaning is the driver's.
 * @param connection  set on success; closed with `RvConnectionClose`.
 * @return 0, `kRvStatusBadArgument` for a null handle, or the driver's refusal; on failure `connection` is
 *         untouched.
 */
RvStatus RvConnectionOpen(RvRegistryEntry service, uint32_t type, RvConnection *connection);

/**
 * Closes a connection.
 * @return 0; `kRvStatusBadArgument` for a connection that is not open; the driver's complaint, though the
 *         connection is closed then too.
 */
RvStatus RvConnectionClose(RvConnection connection);

/**
 * Calls a method of the driver.
 * @param scalars_in    `scalars_in_count` 64-bit numbers; null with a count of 0.
 * @param in            `in_size` bytes; null with a size of 0.
 * @param scalars_out   receives up to `*scalars_out_count` numbers; both may be null for none.
 * @param out           receives up to `*out_size` bytes; the driver never writes past that capacity.
 * @param out_size      in: the capacity of `out`; out: the byte count that the driver reports, which may be
 *                      larger than the capacity and must not be trusted as a bound. May be null for none.
 * @return the driver's status; `kRvStatusNotFound` for a method it does not have; `kRvStatusBadArgument` for a
 *         connection that is not open. On failure the sizes hold what the driver left in them.
 */
RvStatus RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                uint32_t *scalars_out_count, void *out, size_t *out_size);

#ifdef __cplusplus
}
#endif

#endif
