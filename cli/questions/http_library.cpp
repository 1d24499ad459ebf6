#include "cli/questions/http_library.h"

#include <array>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include <curl/curl.h>

#include "host/error.h"

namespace cli {
namespace {

constexpr long kConnectSeconds = 10;

/** However slowly bytes trickle, a request ends. */
constexpr long kLongestRequestSeconds = 3600;

/** Once for the process; the library is never unloaded. */
void start_library() {
    static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (started != CURLE_OK) {
        throw host::Error("", "", std::string("the HTTP library does not start: ") + curl_easy_strerror(started));
    }
}

/** Frees what the library allocated. */
struct Freeing {
    void operator()(CURL *handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_slist *list) const { curl_slist_free_all(list); }
    void operator()(char *text) const { curl_free(text); }
};

/** One request under way, as the callbacks see it. */
struct Exchange {
    CURL *handle;
    const BodyReader &body;
    const AnswerTaker &take;
    HttpAnswer answer;
    bool is_too_long = false;
    std::exception_ptr failure; ///< what `body` or `take` threw
};

std::size_t read_body(char *room, std::size_t size, std::size_t count, void *exchange) {
    auto &self = *static_cast<Exchange *>(exchange);
    try {
        return self.body(std::as_writable_bytes(std::span(room, size * count)));
    } catch (...) {
        self.failure = std::current_exception();
        return CURL_READFUNC_ABORT;
    }
}

std::size_t take_answer(char *bytes, std::size_t size, std::size_t count, void *exchange) {
    auto &self = *static_cast<Exchange *>(exchange);
    const std::size_t taken = size * count;
    long status = 0;
    curl_easy_getinfo(self.handle, CURLINFO_RESPONSE_CODE, &status);
    if (self.take && status == 200) {
        try {
            self.take({bytes, taken});
        } catch (...) {
            self.failure = std::current_exception();
            return 0;
        }
        return taken;
    }
    if (taken > HttpConnection::kLargestAnswer - self.answer.body.size()) {
        self.is_too_long = true;
        return 0;
    }
    self.answer.body.append(bytes, taken);
    return taken;
}

class CurlConnection final : public HttpConnection {
public:
    explicit CurlConnection(HttpServer server) : _server(std::move(server)), _handle(curl_easy_init()) {
        // No "Expect: 100-continue": a server that does not know it would be waited for.
        for (const char *header : {"Expect:", "Transfer-Encoding: chunked", "Content-Type: application/octet-stream"}) {
            curl_slist *const longer = curl_slist_append(_headers.get(), header);
            if (longer == nullptr) {
                throw std::bad_alloc();
            }
            (void)_headers.release();
            _headers.reset(longer);
        }
        if (!_handle) {
            throw std::bad_alloc();
        }
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_ERRORBUFFER, _reason.data());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_FOLLOWLOCATION, 0L);
        set(CURLOPT_HTTPHEADER, _headers.get());
        set(CURLOPT_USERAGENT, "qorstat");
        set(CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
        set(CURLOPT_LOW_SPEED_LIMIT, 1L);
        set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(_server.silence.count()));
        set(CURLOPT_TIMEOUT, kLongestRequestSeconds);
        set(CURLOPT_POST, 1L);
        set(CURLOPT_UPLOAD_BUFFERSIZE, 1L << 20);
        set(CURLOPT_READFUNCTION, read_body);
        set(CURLOPT_WRITEFUNCTION, take_answer);
        if (_server.credentials) {
            set(CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
            set(CURLOPT_USERNAME, _server.credentials->user.c_str());
            set(CURLOPT_PASSWORD, _server.credentials->password.c_str());
        } else {
            set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL));
        }
    }

    HttpAnswer post(std::span<const std::pair<std::string, std::string>> parameters, const BodyReader &body,
                    const AnswerTaker &take) override {
        Exchange exchange{_handle.get(), body, take, {}, false, nullptr};
        const std::string url = url_with(parameters);
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_READDATA, &exchange);
        set(CURLOPT_WRITEDATA, &exchange);
        _reason.front() = '\0';
        const CURLcode outcome = curl_easy_perform(_handle.get());
        if (exchange.failure) {
            std::rethrow_exception(exchange.failure);
        }
        if (exchange.is_too_long) {
            throw HttpFailure("the answer has more than " + std::to_string(kLargestAnswer >> 20) + " MiB");
        }
        if (outcome != CURLE_OK) {
            throw HttpFailure(_reason.front() != '\0' ? _reason.data() : curl_easy_strerror(outcome));
        }
        curl_easy_getinfo(_handle.get(), CURLINFO_RESPONSE_CODE, &exchange.answer.status);
        return std::move(exchange.answer);
    }

private:
    template <typename Value>
    void set(CURLoption option, Value value) {
        const CURLcode outcome = curl_easy_setopt(_handle.get(), option, value);
        if (outcome != CURLE_OK) {
            throw host::Error("", "",
                              std::string("the HTTP library refuses a setting: ") + curl_easy_strerror(outcome));
        }
    }

    std::string url_with(std::span<const std::pair<std::string, std::string>> parameters) const {
        std::string url = _server.url;
        if (url.find('/', url.find("://") + 3) == std::string::npos) {
            url += '/';
        }
        char separator = '?';
        for (const auto &[name, value] : parameters) {
            const std::unique_ptr<char, Freeing> escaped(
                curl_easy_escape(_handle.get(), value.data(), static_cast<int>(value.size())));
            if (!escaped) {
                throw std::bad_alloc();
            }
            url += separator + name + "=" + escaped.get();
            separator = '&';
        }
        return url;
    }

    HttpServer _server;
    std::array<char, CURL_ERROR_SIZE> _reason{};
    std::unique_ptr<curl_slist, Freeing> _headers;
    std::unique_ptr<CURL, Freeing> _handle; ///< goes before what it points to
};

std::unique_ptr<HttpConnection> connect(const HttpServer &server) {
    start_library();
    return std::make_unique<CurlConnection>(server);
}

} // namespace
} // namespace cli

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" constexpr cli::HttpLibrary qor_load_library = {.connect = cli::connect};
