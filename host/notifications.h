/** System-wide named notifications between the processes of one user. */
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace host {

/** Delivers to the handlers registered in this process, each on its own queue. @return how many they were. */
std::size_t deliver_notification(std::string_view name);

/**
 * Receives what other processes of this user post, as long as this object lives, over a datagram socket in the
 * user's runtime directory. @throws Error when the socket cannot be made.
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

/** Posts to every process of this user that has a receiver. @return how many were reached. @throws Error. */
std::size_t post_notification(std::string_view name);

} // namespace host
