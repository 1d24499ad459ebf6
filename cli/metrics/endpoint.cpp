#include "cli/metrics/endpoint.h"

#include <exception>
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

class StoreCollectable : public prometheus::Collectable {
public:
    explicit StoreCollectable(std::function<host::StoreContents()> contents) : _contents(std::move(contents)) {}

    std::vector<prometheus::MetricFamily> Collect() const override {
        std::vector<prometheus::MetricFamily> collected;
        try {
            for (const MetricFamily &family : families_of(_contents())) {
                collected.push_back(convert(family));
            }
            collected.push_back(convert(readable_family(true)));
        } catch (const std::exception &) { // must not reach the server's threads, which are C
            collected = {convert(readable_family(false))};
        }
        return collected;
    }

private:
    std::function<host::StoreContents()> _contents;
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

/** Passes only requests for /metrics to the library's handler, which would also answer for paths below it. */
int filter_request(mg_connection *connection) {
    const mg_request_info *const request = mg_get_request_info(connection);
    const auto text = [](const char *from) { return std::string_view(from == nullptr ? "" : from); };
    if (text(request->local_uri) != kPath) {
        return answer(connection, "404 Not Found", 404);
    }
    if (text(request->request_method) == "HEAD") {
        send_headers(connection, "200 OK", "Content-Type: text/plain; charset=utf-8\r\n");
        mg_printf(connection, "\r\n");
        return 200;
    }
    if (text(request->request_method) != "GET") {
        return answer(connection, "405 Method Not Allowed", 405, "Allow: GET, HEAD\r\n");
    }
    return 0;
}

/** Replaces the library's error page, which uses a thread-unsafe function for the time of day. */
int answer_error(mg_connection *connection, int code, const char *) {
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

} // namespace

struct MetricsEndpoint::Server {
    Server(const ListenAddress &listens, std::function<host::StoreContents()> contents)
        : address(listens), filter(callbacks()), store(std::make_shared<StoreCollectable>(std::move(contents))),
          exposer(options(listens), &filter) {
        exposer.RegisterCollectable(store, std::string(kPath));
        address.port = static_cast<std::uint16_t>(exposer.GetListeningPorts().at(0));
    }

    ListenAddress address;
    CivetCallbacks filter;
    std::shared_ptr<StoreCollectable> store;
    prometheus::Exposer exposer;
};

MetricsEndpoint::MetricsEndpoint(const ListenAddress &address, std::function<host::StoreContents()> contents) {
    require_free(address);
    try {
        _server = std::make_unique<Server>(address, std::move(contents));
    } catch (const CivetException &) {
        throw host::Error(address.text(), "", "cannot listen on this address");
    }
}

MetricsEndpoint::~MetricsEndpoint() = default;

std::string MetricsEndpoint::url() const { return "http://" + _server->address.text() + std::string(kPath); }

} // namespace cli
