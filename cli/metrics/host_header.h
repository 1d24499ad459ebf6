/** Which server a request means. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/arguments/listen_address.h"

namespace cli {

/**
 * Whether a request whose header "Host" is `header` means the server at `address`. A web page can lead its reader's
 * browser to this server under a name of the page's own; such a request must not be answered.
 *
 * The server is meant by "localhost", by a loopback address, by its own address (a server that listens on all
 * addresses: by any address), and by `names`, each with any port from 0 to 65535 or none, because connections may be
 * forwarded. An IPv6 address is in brackets. Anything else in the header means another server.
 *
 * Allocates nothing: it is called on the threads of a C library.
 *
 * @param address  whose host is the text of an address.
 */
bool means_this_server(std::string_view header, const ListenAddress &address,
                       const std::vector<std::string> &names) noexcept;

} // namespace cli
