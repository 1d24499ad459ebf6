/** System-wide named notifications between the processes of one user. */
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace host {

/** The longest name that travels between processes, in bytes. A name is not empty and holds no zero byte. */
constexpr std::size_t kMaxNotificationName = 255;

/** Delivers to the handlers registered in this process, each on its own queue. @return how many they were. */
std::size_t deliver_notification(std::string_view name);

/**
 * Receives what other processes of this user post, as long as this object lives, on a thread of its own. One
 * at a time in a process.
 *
 * It listens on a datagram socket `PID.socket` in the directory `qor-notifications` of `$XDG_RUNTIME_DIR`, or
 * in `/tmp/qor-notifications-UID` where that variable is not set. The directory belongs to the user and is
 * open to nobody else. One datagram is one name; any other datagram is ignored.
 *
 * @throws Error when the directory cannot be made or is not the user's alone, when the socket cannot be made,
 *         and when this process has a receiver already.
 */
class NotificationReceiver {
public:
    NotificationReceiver();
    ~NotificationReceiver();
    NotificationReceiver(const NotificationReceiver &) = delete;
    NotificationReceiver &operator=(const NotificationReceiver &) = delete;

private:
    struct State;
    std::unique_ptr<State> _state;
};

/**
 * Posts to every process of this user that has a receiver, and clears away the sockets that dead processes
 * left. A receiver that takes nothing for a second counts as not reached.
 * @return how many were reached.
 * @throws Error for a name that cannot travel, and for a directory that is there but not the user's alone.
 */
std::size_t post_notification(std::string_view name);

} // namespace host
