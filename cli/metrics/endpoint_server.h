/** The library that serves metrics: loaded by `MetricsEndpoint`, so that other runs do not pay for an HTTP server. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/metrics/endpoint.h"

namespace cli {

/** A server that runs while the object lives. See `MetricsEndpoint`. */
class MetricsServer {
public:
    virtual ~MetricsServer() = default;
    virtual std::string url() const = 0;
};

/** What the library exports, and nothing else. */
struct MetricsLibrary {
    /** As the constructor of `MetricsEndpoint`. */
    std::unique_ptr<MetricsServer> (*start)(const ListenAddress &address, const std::vector<std::string> &host_names,
                                            StoreReader store);
};

} // namespace cli

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" const cli::MetricsLibrary qor_metrics_library;
