/** The analytics store over HTTP, for monitoring systems. */
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/arguments/listen_address.h"
#include "host/TallybookStore.h"

namespace cli {

class MetricsServer;

/** How the server gets at the store. Both are called on the server's threads. */
struct StoreReader {
    std::function<host::StoreContents()> contents; ///< while it throws, `qor_store_readable` is 0
    std::function<host::UnwrittenOperations()> unwritten_operations;
};

/**
 * A server that runs on threads of its own while the object lives. It answers GET and HEAD of /metrics in the text
 * format of Prometheus, other paths with 404, other methods with 405, requests that mean another server with 421, and
 * malformed requests with an error or not at all. The store is read at most once a second, and scrapes share the
 * result. One object at a time. Each connection carries one request and has two seconds for it. 64 connections are
 * served at once, and the others in the order in which they came.
 */
class MetricsEndpoint {
public:
    /**
     * @param host_names  under which the server is also known; see `means_this_server`.
     * @throws host::Error when the address cannot be listened on, or the library of the server cannot be loaded.
     */
    MetricsEndpoint(const ListenAddress &address, const std::vector<std::string> &host_names, StoreReader store);
    ~MetricsEndpoint();
    MetricsEndpoint(const MetricsEndpoint &) = delete;
    MetricsEndpoint &operator=(const MetricsEndpoint &) = delete;

    /** The URL of the metrics, with the actual port. */
    std::string url() const;

private:
    std::unique_ptr<MetricsServer> _server;
};

} // namespace cli
