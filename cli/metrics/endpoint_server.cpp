#include "cli/metrics/endpoint_server.h"

#include <algorithm>
#include <exception>
#include <new>
#include <span>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <CivetServer.h>
#include <asio.hpp>
#include <prometheus/collectable.h>
#include <prometheus/exposer.h>
#include <prometheus/metric_family.h>

#include "cli/metrics/families.h"
#include "cli/metrics/host_header.h"
#include "cli/metrics/snapshot.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr std::string_view kPath = "/metrics";

/** Connections served at once. An idle connection keeps its thread, asleep, until the timeout. */
constexpr const char *kThreads = "64";

// ---- families in the library's form

struct SetValue {
    prometheus::ClientMetric &metric;

    void operator()(std::int64_t value) const { metric.gauge.value = static_cast<double>(value); }
    void operator()(double value) const { metric.gauge.value = value; }
    void operator()(const Summary &summary) const {
        metric.summary.sample_count = summary.count;
        metric.summary.sample_sum = summary.sum;
        for (const auto &[quantile, value] : summary.quantiles) {
            metric.summary.quantile.push_back({quantile, value});
        }
    }
};

prometheus::MetricFamily convert(const MetricFamily &family) {
    prometheus::MetricFamily result;
    result.name = family.name;
    result.help = family.help;
    result.type =
        family.type == MetricFamily::Type::Gauge ? prometheus::MetricType::Gauge : prometheus::MetricType::Summary;
    for (const MetricSeries &series : family.series) {
        prometheus::ClientMetric metric;
        for (const auto &[name, value] : series.labels) {
            metric.label.push_back({name, value});
        }
        std::visit(SetValue{metric}, series.value);
        result.metric.push_back(std::move(metric));
    }
    return result;
}

MetricFamily readable_family(bool is_readable) {
    return {"qor_store_readable",
            MetricFamily::Type::Gauge,
            "",
            "1 if the analytics store could be read, otherwise 0 and its other metrics are missing",
            {{{}, std::int64_t{is_readable}}}};
}

MetricFamily waiting_family(std::uint64_t operations) {
    return {"qor_store_waiting_operations",
            MetricFamily::Type::Gauge,
            "",
            "Operations that could not be written yet and will be tried again",
            {{{}, static_cast<std::int64_t>(operations)}}};
}

/** Counters are served only here, so the families of a store have no such type. */
prometheus::MetricFamily lost_family(std::uint64_t operations) {
    prometheus::ClientMetric metric;
    metric.counter.value = static_cast<double>(operations);
    return {"qor_store_lost_operations_total",
            "Operations that were dropped because memory was exhausted or too many waited",
            prometheus::MetricType::Counter,
            {metric}};
}

using Families = std::vector<prometheus::MetricFamily>;

Families read_families(const StoreReader &store) {
    Families families;
    bool is_readable = true;
    try {
        for (const MetricFamily &family : families_of(store.contents())) {
            families.push_back(convert(family));
        }
    } catch (const std::exception &) { // the server's threads are C
        families.clear();
        is_readable = false;
    }
    const host::UnwrittenOperations unwritten = store.unwritten_operations();
    families.push_back(convert(readable_family(is_readable)));
    families.push_back(convert(waiting_family(unwritten.waiting)));
    families.push_back(lost_family(unwritten.lost));
    return families;
}

class StoreCollectable : public prometheus::Collectable {
public:
    explicit StoreCollectable(StoreReader store)
        : _families([store = std::move(store)] { return read_families(store); }) {}

    Families Collect() const override {
        try {
            return *_families.get();
        } catch (const std::bad_alloc &) { // must not reach the server's threads
            return {};
        }
    }

private:
    mutable Snapshot<Families> _families;
};

// ---- answers of the server itself

void send_headers(mg_connection *connection, const char *status, const char *more) {
    mg_printf(connection, "HTTP/1.1 %s\r\n%sConnection: close\r\n", status, more);
}

int answer(mg_connection *connection, const char *status, int code, const char *more = "") {
    send_headers(connection, status, more);
    mg_printf(connection, "Content-Length: 0\r\n\r\n");
    return code;
}

int refuse_method(mg_connection *connection) {
    return answer(connection, "405 Method Not Allowed", 405, "Allow: GET, HEAD\r\n");
}

/** What the callbacks know of the server. They get no pointer of ours from the library, so there is one at a time. */
class Identity {
public:
    Identity(const ListenAddress &address, std::vector<std::string> host_names)
        : _address(address), _host_names(std::move(host_names)) {
        _current = this;
    }
    ~Identity() { _current = nullptr; }
    Identity(const Identity &) = delete;
    Identity &operator=(const Identity &) = delete;

    static const Identity &of_server() { return *_current; }

    bool is_meant_by(const mg_request_info &request) const {
        const std::span headers(request.http_headers, static_cast<std::size_t>(request.num_headers));
        return std::ranges::all_of(headers, [this](const mg_header &header) {
            return mg_strcasecmp(header.name, "Host") != 0 || means_this_server(header.value, _address, _host_names);
        });
    }

private:
    static inline constinit const Identity *_current = nullptr;

    ListenAddress _address;
    std::vector<std::string> _host_names;
};

/** Passes only requests for /metrics to the library's handler, which would also answer for paths below it. */
int filter_request(mg_connection *connection) {
    const mg_request_info *const request = mg_get_request_info(connection);
    const auto text = [](const char *from) { return std::string_view(from == nullptr ? "" : from); };
    if (!Identity::of_server().is_meant_by(*request)) {
        return answer(connection, "421 Misdirected Request", 421);
    }
    if (text(request->local_uri) != kPath) {
        return answer(connection, "404 Not Found", 404);
    }
    if (text(request->request_method) == "HEAD") {
        send_headers(connection, "200 OK", "Content-Type: text/plain; charset=utf-8\r\n");
        mg_printf(connection, "\r\n");
        return 200;
    }
    if (text(request->request_method) != "GET") {
        return refuse_method(connection);
    }
    return 0;
}

/** The library takes TRACE for a malformed request. */
bool is_trace(mg_connection *connection, int code) {
    const mg_request_info *const request = mg_get_request_info(connection);
    return code == 400 && request != nullptr && request->request_method != nullptr &&
           request->request_method == std::string_view("TRACE");
}

/** Replaces the library's error page, which uses a thread-unsafe function for the time of day. */
int answer_error(mg_connection *connection, int code, const char *) {
    if (is_trace(connection, code)) {
        refuse_method(connection);
        return 0;
    }
    const std::string status = std::to_string(code) + " " + mg_get_response_code_text(connection, code);
    answer(connection, status.c_str(), code);
    return 0;
}

/** Hostile requests must not fill the log. */
int drop_message(const mg_connection *, const char *) { return 1; }

CivetCallbacks callbacks() {
    CivetCallbacks result;
    result.begin_request = filter_request;
    result.http_error = answer_error;
    result.log_message = drop_message;
    return result;
}

std::vector<std::string> options(const ListenAddress &address) {
    return {"listening_ports",   address.text(), "num_threads",      kThreads, "request_timeout_ms",       "2000",
            "enable_keep_alive", "no",           "max_request_size", "16384",  "enable_directory_listing", "no"};
}

/** Tries to listen, because the server would only report that something failed. */
void require_free(const ListenAddress &address) {
    if (address.is_ipv6 && mg_check_feature(MG_FEATURES_IPV6) == 0) {
        throw host::Error(address.text(), "", "the HTTP library of this system is built without IPv6");
    }
    asio::io_context context;
    const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address.host), address.port);
    asio::ip::tcp::acceptor acceptor(context);
    asio::error_code error;
    acceptor.open(endpoint.protocol(), error);
    if (!error) {
        acceptor.set_option(asio::socket_base::reuse_address(true), error);
        acceptor.bind(endpoint, error);
    }
    if (!error) {
        acceptor.listen(1, error);
    }
    if (error) {
        throw host::Error(address.text(), "", error.message());
    }
}

class LibraryServer final : public MetricsServer {
public:
    LibraryServer(const ListenAddress &address, const std::vector<std::string> &host_names, StoreReader reader)
        : _identity(address, host_names), _filter(callbacks()),
          _store(std::make_shared<StoreCollectable>(std::move(reader))), _exposer(options(address), &_filter) {
        _exposer.RegisterCollectable(_store, std::string(kPath));
        _listens_at = address;
        _listens_at.port = static_cast<std::uint16_t>(_exposer.GetListeningPorts().at(0));
    }

    std::string url() const override { return "http://" + _listens_at.text() + std::string(kPath); }

private:
    Identity _identity;        ///< outlives the server's threads
    ListenAddress _listens_at; ///< with the actual port
    CivetCallbacks _filter;
    std::shared_ptr<StoreCollectable> _store;
    prometheus::Exposer _exposer;
};

std::unique_ptr<MetricsServer> start(const ListenAddress &address, const std::vector<std::string> &host_names,
                                     StoreReader store) {
    require_free(address);
    try {
        return std::make_unique<LibraryServer>(address, host_names, std::move(store));
    } catch (const CivetException &) {
        throw host::Error(address.text(), "", "cannot listen on this address");
    }
}

} // namespace
} // namespace cli

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" constexpr cli::MetricsLibrary qor_metrics_library = {.start = cli::start};
