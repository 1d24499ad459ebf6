#include "cli/questions/http_connection.h"

#include <algorithm>
#include <string_view>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "cli/questions/http_library.h"
#include "host/shared_library.h"

namespace cli {

void require_plain_url(const std::string &option, const std::string &url) {
    const std::string_view rest = url;
    std::size_t start = 0;
    for (const std::string_view scheme : {"http://", "https://"}) {
        start = rest.starts_with(scheme) ? scheme.size() : start;
    }
    const std::string_view server = rest.substr(start).substr(0, rest.substr(start).find('/'));
    const bool has_user = (start == 0 || server.empty() ? rest : server).find('@') != std::string_view::npos;
    // A password may also stand in a query, so the message does not repeat the URL.
    if (has_user || url.find_first_of("?#") != std::string::npos) {
        throw WrongUse(option +
                       " takes http://HOST:PORT or https://HOST:PORT without a user, password or query: give user "
                       "and password in QORSTAT_CLICKHOUSE_USER and QORSTAT_CLICKHOUSE_PASSWORD, or in ~/.netrc");
    }
    const bool is_plain = std::all_of(url.begin(), url.end(), [](char c) { return c > ' ' && c != '\x7f'; });
    if (start == 0 || server.empty() || !is_plain) {
        throw WrongUse(invalid_value(option, url) + ": expected http://HOST:PORT or https://HOST:PORT");
    }
}

std::unique_ptr<HttpConnection> connect_to(const HttpServer &server) {
    return host::own_library<HttpLibrary>("libqorload.so", "qor_load_library").connect(server);
}

} // namespace cli
