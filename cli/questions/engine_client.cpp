#include "cli/questions/engine_client.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace cli {
namespace {

/** What a server's message may take of a line. */
constexpr std::size_t kLongestReason = 300;

constexpr std::string_view kNotTheEngine = "this is not a ClickHouse server";

/** The engine's message without the parts that say nothing: its first line, cut. */
std::string reason_in(std::string_view body) {
    std::string reason(body.substr(0, body.find('\n')));
    if (reason.size() > kLongestReason) {
        reason.resize(kLongestReason);
        reason += "[...]";
    }
    return reason;
}

/** How every message of the engine begins, in all versions. */
bool is_engine_message(std::string_view body) {
    constexpr std::string_view kStart = "Code: ";
    return body.starts_with(kStart) && body.size() > kStart.size() && body[kStart.size()] >= '0' &&
           body[kStart.size()] <= '9';
}

EngineFailure refusal(const HttpAnswer &answer) {
    if (is_engine_message(answer.body)) {
        // 4xx: what was asked is wrong. 5xx: also what passes, such as a lack of memory.
        return {"the server answers: " + reason_in(answer.body), answer.status >= 500};
    }
    const std::string status = "HTTP status " + std::to_string(answer.status);
    if (answer.status == 401 || answer.status == 403) {
        return {"the server does not let this user in (" + status + ")", false};
    }
    if (answer.status == 429 || answer.status >= 500) {
        return {"the server answers with " + status, true};
    }
    return {std::string(kNotTheEngine) + ": it answers with " + status, false};
}

EngineFailure not_what_was_asked() {
    return {std::string(kNotTheEngine) + ": its answer is not what was asked for", false};
}

BodyReader reader_of(std::string_view text) {
    return [rest = text](std::span<std::byte> room) mutable {
        const std::size_t count = std::min(room.size(), rest.size());
        std::memcpy(room.data(), rest.data(), count);
        rest.remove_prefix(count);
        return count;
    };
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

/** Gathers the bytes of an answer to rows. */
class RowSplitter {
public:
    RowSplitter(std::size_t columns, const RowTaker &take) : _take(take), _cells(columns) {}

    void add(std::string_view bytes) {
        for (;;) {
            const std::size_t end = bytes.find('\n');
            if (_begun.size() + std::min(end, bytes.size()) > HttpConnection::kLargestAnswer) {
                throw EngineFailure("a row of the answer has more than " +
                                        std::to_string(HttpConnection::kLargestAnswer >> 20) + " MiB",
                                    false);
            }
            if (end == std::string_view::npos) {
                _begun.append(bytes);
                return;
            }
            if (_begun.empty()) {
                take_row(bytes.substr(0, end));
            } else {
                _begun.append(bytes.substr(0, end));
                take_row(_begun);
                _begun.clear();
            }
            bytes.remove_prefix(end + 1);
        }
    }

    void end() const {
        if (!_begun.empty()) {
            throw not_what_was_asked();
        }
    }

private:
    void take_row(std::string_view row) {
        for (std::size_t cell = 0; cell < _cells.size(); ++cell) {
            const std::size_t end = row.find('\t');
            if ((end == std::string_view::npos) != (cell + 1 == _cells.size())) {
                throw not_what_was_asked();
            }
            _cells[cell] = row.substr(0, end);
            row.remove_prefix(std::min(row.size(), end + 1));
        }
        _take(_cells);
    }

    const RowTaker &_take;
    std::vector<std::string_view> _cells;
    std::string _begun; ///< a row whose end has not come
};

} // namespace

std::string unescape(std::string_view cell) {
    if (cell == "\\N") {
        return std::string(cell);
    }
    std::string text;
    for (std::size_t index = 0; index < cell.size(); ++index) {
        if (cell[index] != '\\' || index + 1 == cell.size()) {
            text += cell[index];
            continue;
        }
        constexpr std::string_view kLetters = "bfnrt0";
        constexpr std::string_view kMeant("\b\f\n\r\t\0", 6);
        const char letter = cell[++index];
        const std::size_t place = kLetters.find(letter);
        text += place == std::string_view::npos ? letter : kMeant[place];
    }
    return text;
}

std::string text_literal(std::string_view text) {
    std::string literal = "'";
    for (const char letter : text) {
        if (letter == '\'' || letter == '\\') {
            literal += '\\';
        }
        literal += letter;
    }
    return literal + "'";
}

std::optional<AnswerRows> parse_answer(std::string_view text, std::size_t columns) {
    AnswerRows rows;
    if (text.empty()) {
        return rows;
    }
    if (text.back() != '\n') {
        return std::nullopt;
    }
    text.remove_suffix(1);
    for (const std::string_view line : split(text, '\n')) {
        std::vector<std::string> &row = rows.emplace_back();
        for (const std::string_view cell : split(line, '\t')) {
            row.push_back(unescape(cell));
        }
        if (row.size() != columns) {
            return std::nullopt;
        }
    }
    return rows;
}

EngineClient::EngineClient(HttpServer server) : _server(std::move(server)), _connection(connect_to(_server)) {}

void EngineClient::require_engine() {
    const AnswerRows rows = ask("SELECT 'qorstat', version()", 2);
    if (rows.size() != 1 || rows.front().front() != "qorstat") {
        throw EngineFailure(std::string(kNotTheEngine), false);
    }
}

AnswerRows EngineClient::ask(const std::string &query, std::size_t columns) {
    std::optional<AnswerRows> rows = parse_answer(request("", reader_of(query + " FORMAT TabSeparated")), columns);
    if (!rows) {
        throw not_what_was_asked();
    }
    return std::move(*rows);
}

void EngineClient::read(const std::string &query, std::size_t columns, const RowTaker &take) {
    RowSplitter rows(columns, take);
    request("", reader_of(query + " FORMAT TabSeparated"), [&rows](std::string_view bytes) { rows.add(bytes); });
    rows.end();
}

void EngineClient::run(const std::string &statement) {
    if (!request("", reader_of(statement)).empty()) {
        throw EngineFailure(std::string(kNotTheEngine) + ": it answers to what has no answer", false);
    }
}

void EngineClient::insert(const std::string &statement, const BodyReader &rows) {
    if (!request(statement, rows).empty()) {
        throw EngineFailure(std::string(kNotTheEngine) + ": it answers to what has no answer", false);
    }
}

/** A statement alone goes in the body, where it may be of any length; before rows it goes in the URL. */
std::string EngineClient::request(const std::string &query, const BodyReader &body, const AnswerTaker &take) {
    // Without it the engine of the old version sends the status before it knows how the query ends.
    std::vector<std::pair<std::string, std::string>> parameters = {{"wait_end_of_query", "1"}};
    if (!query.empty()) {
        parameters.emplace_back("query", query);
    }
    try {
        HttpAnswer answer = _connection->post(parameters, body, take);
        if (answer.status != 200) {
            throw refusal(answer);
        }
        return std::move(answer.body);
    } catch (const HttpFailure &failure) {
        throw EngineFailure(failure.what(), true);
    }
}

} // namespace cli
