/** ClickHouse over its HTTP interface. */
#pragma once

#include <charconv>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "cli/questions/http_connection.h"
#include "host/error.h"

namespace cli {

/** The engine did not do what it was asked to. `what()` says why, without the URL. */
class EngineFailure : public std::runtime_error {
public:
    EngineFailure(const std::string &reason, bool may_pass) : std::runtime_error(reason), _may_pass(may_pass) {}

    /** Whether the same may work later: a server that is away, or has too much to do. */
    bool may_pass() const { return _may_pass; }

private:
    bool _may_pass;
};

/** The cells of an answer's rows, as text without escapes. A null is "\N", which no other text of a cell is. */
using AnswerRows = std::vector<std::vector<std::string>>;

/** Takes a row of an answer: its cells as they were sent. Valid during the call. */
using RowTaker = std::function<void(std::span<const std::string_view> cells)>;

/** The text of a cell as it was sent: without its escapes. */
std::string unescape(std::string_view cell);

/** `text` as a literal of the engine's SQL. */
std::string text_literal(std::string_view text);

/** Reads what the engine answers in its format TabSeparated. Nothing when a row has not `columns` cells. */
std::optional<AnswerRows> parse_answer(std::string_view text, std::size_t columns);

/** A whole cell as a number. @throws EngineFailure for one that is none, or does not fit. */
template <typename Number>
Number number_in(std::string_view cell) {
    Number number{};
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
    if (error != std::errc() || end != cell.data() + cell.size()) {
        throw EngineFailure("the server answers with " + host::in_quotes(cell.substr(0, 40)) + " instead of a number",
                            false);
    }
    return number;
}

/** One server, asked over one connection. One thread at a time. */
class EngineClient {
public:
    explicit EngineClient(HttpServer server);

    const std::string &url() const { return _server.url; }

    /** Finds out whether the server is the engine at all. @throws EngineFailure. */
    void require_engine();

    /**
     * @param query    of a fixed number of columns, without a format.
     * @throws EngineFailure.
     */
    AnswerRows ask(const std::string &query, std::size_t columns);

    /**
     * The same for an answer of any length, of which only a row at a time is held.
     * @param take  gets each row; what it throws is thrown on.
     * @throws EngineFailure, also when `take` has got some of the rows.
     */
    void read(const std::string &query, std::size_t columns, const RowTaker &take);

    /** Runs a statement that answers nothing. @throws EngineFailure. */
    void run(const std::string &statement);

    /**
     * Inserts rows. When it fails, it may have inserted all, some or none of them.
     * @param statement  "INSERT INTO TABLE (COLUMNS) FORMAT NAME".
     * @param rows       in that format; what it throws is thrown on.
     * @throws EngineFailure.
     */
    void insert(const std::string &statement, const BodyReader &rows);

private:
    std::string request(const std::string &query, const BodyReader &body, const AnswerTaker &take = {});

    HttpServer _server;
    std::unique_ptr<HttpConnection> _connection;
};

} // namespace cli
