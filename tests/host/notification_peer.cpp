/**
 * Another process with a receiver: `notification_peer NAME COUNT` says "ready", waits until NAME has come COUNT
 * times, and says how many came.
 */
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "host/RvNotify.h"
#include "host/RvQueue.h"
#include "platform/RvNotify.h"

namespace {

struct Count {
    std::mutex mutex;
    std::condition_variable changed;
    int value = 0;

    static void add_one(std::int32_t, void *context) {
        auto *self = static_cast<Count *>(context);
        std::lock_guard lock(self->mutex);
        ++self->value;
        self->changed.notify_one();
    }
};

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        return 2;
    }
    const int wanted = std::atoi(argv[2]);
    Count count;
    host::SerialQueue queue;
    if (RvNotifyRegister(argv[1], queue.handle(), nullptr, Count::add_one, &count, nullptr) != 0) {
        return 1;
    }
    const host::NotificationReceiver receiver;
    std::printf("ready\n");
    std::fflush(stdout);

    std::unique_lock lock(count.mutex);
    count.changed.wait(lock, [&] { return count.value >= wanted; });
    std::printf("received %d\n", count.value);
    return 0;
}
