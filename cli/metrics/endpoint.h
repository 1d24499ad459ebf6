/** The analytics store over HTTP, for monitoring systems. */
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "cli/arguments/listen_address.h"
#include "host/store/analytics_store.h"

namespace cli {

/**
 * A server that runs on threads of its own while the object lives. It answers GET and HEAD of /metrics in the text
 * format of Prometheus, other paths with 404, other methods with 405, and malformed requests with an error or not at
 * all. Each connection carries one request and has two seconds for it. 64 connections are served at once, and the
 * others in the order in which they came.
 */
class MetricsEndpoint {
public:
    /**
     * @param contents  called for each request, on the server's threads. While it throws, `qor_store_readable` is 0.
     * @throws host::Error when the address cannot be listened on.
     */
    MetricsEndpoint(const ListenAddress &address, std::function<host::StoreContents()> contents);
    ~MetricsEndpoint();
    MetricsEndpoint(const MetricsEndpoint &) = delete;
    MetricsEndpoint &operator=(const MetricsEndpoint &) = delete;

    /** The URL of the metrics, with the actual port. */
    std::string url() const;

private:
    struct Server;
    std::unique_ptr<Server> _server;
};

} // namespace cli
