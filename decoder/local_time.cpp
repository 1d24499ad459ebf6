#include "decoder/local_time.h"

#include <mutex>

#include <pthread.h>

namespace decoder {

namespace {

/**
 * Held around the C library's own lock for time zones, which a fork copies as it is: a child whose parent was
 * converting a time at that moment would wait for it for ever. A fork waits for this lock instead. Registered when the
 * program or the module is loaded, so that no fork comes before it.
 */
constinit std::mutex converting;
[[maybe_unused]] const int fork_handlers =
    pthread_atfork([] { converting.lock(); }, [] { converting.unlock(); }, [] { converting.unlock(); });

} // namespace

bool to_local_time(std::time_t second, std::tm &local) {
    const std::lock_guard lock(converting);
    return localtime_r(&second, &local) != nullptr;
}

} // namespace decoder
