/** The library that makes requests: loaded by `connect_to`, so that other runs do not pay for an HTTP client. */
#pragma once

#include <memory>

#include "cli/questions/http_connection.h"

namespace cli {

/** What the library exports, and nothing else. */
struct HttpLibrary {
    std::unique_ptr<HttpConnection> (*connect)(const HttpServer &server);
};

} // namespace cli

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" const cli::HttpLibrary qor_load_library;
