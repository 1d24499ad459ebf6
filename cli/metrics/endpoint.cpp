#include "cli/metrics/endpoint.h"

#include <utility>

#include "cli/metrics/endpoint_server.h"
#include "host/shared_library.h"

namespace cli {

MetricsEndpoint::MetricsEndpoint(const ListenAddress &address, const std::vector<std::string> &host_names,
                                 StoreReader store)
    : _server(host::own_library<MetricsLibrary>("libqormetrics.so", "qor_metrics_library")
                  .start(address, host_names, std::move(store))) {}

MetricsEndpoint::~MetricsEndpoint() = default;

std::string MetricsEndpoint::url() const { return _server->url(); }

} // namespace cli
