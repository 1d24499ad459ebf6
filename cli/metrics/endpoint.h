/** The analytics store over HTTP, for monitoring systems. */
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "cli/arguments/listen_address.h"
#include "host/store/analytics_store.h"

namespace cli {

/**
 * A server, as long as the object lives, on threads of its own. It answers GET and HEAD of /metrics in the text format
 * of Prometheus, with 404 for every other place, 405 for every other method and an error or nothing for what is no
 * request; each connection carries one request and has two seconds for it. 64 are served at once, and the others in the
 * order in which they came.
 */
class MetricsEndpoint {
public:
    /**
     * @param contents asked for each time, on the server's threads. While it throws, the metrics say so.
     * @throws host::Error when nothing can listen there.
     */
    MetricsEndpoint(const ListenAddress &address, std::function<host::StoreContents()> contents);
    ~MetricsEndpoint();
    MetricsEndpoint(const MetricsEndpoint &) = delete;
    MetricsEndpoint &operator=(const MetricsEndpoint &) = delete;

    /** Where the metrics are, with the port that was free. */
    std::string url() const;

private:
    struct Server;
    std::unique_ptr<Server> _server;
};

} // namespace cli
