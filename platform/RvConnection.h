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

/** An open connection. 0 is the null handle. */
typedef uint32_t RvConnection;

/**
 * Opens a connection from this process to a service.
 * @param type        the connection type; the driver defines its meaning.
 * @param connection  set on success to a connection to be closed with `RvConnectionClose`; unchanged on failure.
 * @return 0 on success; `kRvStatusBadArgument` for a null handle; the driver's status if it refuses the connection.
 */
RvStatus RvConnectionOpen(RvRegistryEntry service, uint32_t type, RvConnection *connection);

/**
 * Closes a connection.
 * @return 0 on success; `kRvStatusBadArgument` for a connection that is not open; the driver's status if the driver
 *         reports an error, in which case the connection is closed all the same.
 */
RvStatus RvConnectionClose(RvConnection connection);

/**
 * Calls a method of the driver.
 * @param scalars_in    `scalars_in_count` 64-bit numbers; null if the count is 0.
 * @param in            `in_size` bytes; null if the size is 0.
 * @param scalars_out   receives at most `*scalars_out_count` numbers. Both may be null if none are wanted.
 * @param out           receives at most `*out_size` bytes. The driver never writes past that capacity.
 * @param out_size      in: the capacity of `out`. Out: the byte count that the driver reports. It may be larger than
 *                      the capacity, so do not use it as a bound. May be null if no bytes are wanted.
 * @return the driver's status; `kRvStatusNotFound` for a method that the driver does not have; `kRvStatusBadArgument`
 *         for a connection that is not open. On failure the sizes hold the values that the driver left in them.
 */
RvStatus RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                uint32_t *scalars_out_count, void *out, size_t *out_size);

#ifdef __cplusplus
}
#endif

#endif
