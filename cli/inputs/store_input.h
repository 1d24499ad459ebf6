/** Reading what a command line names as an analytics store. */
#pragma once

#include <memory>

#include "cli/inputs/byte_stream.h"
#include "host/store/analytics_store.h"

namespace cli {

/**
 * Reads the store: a plain file in place, while hosts may write to it; one from standard input, a pipe or a packed file
 * as a whole in memory.
 * @throws host::Error as `host::read_analytics_store`; Interrupted.
 */
host::StoreContents read_store(std::unique_ptr<ByteStream> stream);

} // namespace cli
