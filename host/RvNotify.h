/** Named notifications between the processes of one user, behind `platform/RvNotify.h`. */
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace host {

/** The maximum length in bytes of a name sent between processes. It must not be empty or contain a zero byte. */
constexpr std::size_t kMaxNotificationName = 255;

/** Delivers to the handlers registered in this process, each on its own queue. @return their number. */
std::size_t deliver_notification(std::string_view name);

/**
 * Receives the notifications that other processes of this user post, on a thread of its own, for as long as this
 * object lives. A process can have one receiver at a time.
 *
 * It listens on the datagram socket `PID.socket` in the directory `$XDG_RUNTIME_DIR/qor-notifications`, or in
 * `/tmp/qor-notifications-UID` when that variable is not set. The directory belongs to the user and nobody else has
 * access to it. Each datagram is one name; anything else is ignored.
 *
 * @throws Error when the directory cannot be created or other users have access to it, when the socket cannot be
 *         created, and when this process already has a receiver.
 */
class NotificationReceiver {
public:
    NotificationReceiver();
    ~NotificationReceiver();
    NotificationReceiver(const NotificationReceiver &) = delete;
    NotificationReceiver &operator=(const NotificationReceiver &) = delete;

    /** The path of the socket. */
    const std::string &socket() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

/**
 * Posts to every process of this user that has a receiver, and removes the sockets of processes that no longer exist.
 * Receivers whose buffers are full get a second, all of them together; one whose buffer stays full counts as not
 * reached.
 * @return the number of receivers reached.
 * @throws Error for an invalid name, and when the directory exists and other users have access to it.
 */
std::size_t post_notification(std::string_view name);

} // namespace host
