/** Requests over HTTP, made by a library that is loaded when the first one is needed. */
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace cli {

/** A name and a password for a server. */
struct Credentials {
    std::string user;
    std::string password;
};

/** Where requests go, and how long they may take. */
struct HttpServer {
    std::string url;                        ///< see `require_plain_url`
    std::optional<Credentials> credentials; ///< without them, those that the user's ~/.netrc has for the host
    std::chrono::seconds silence{300};      ///< how long a server that is connected to may neither read nor answer
};

struct HttpAnswer {
    long status = 0;  ///< 200 to 599
    std::string body; ///< at most `HttpConnection::kLargestAnswer` bytes
};

/** No answer, or one that cannot be used: `what()` says why, without the URL. Another attempt may do better. */
struct HttpFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/**
 * Fills the start of `room` with the next bytes of a request's body.
 * @return how many; 0 at the end.
 */
using BodyReader = std::function<std::size_t(std::span<std::byte> room)>;

/** Takes the next bytes of an answer's body. */
using AnswerTaker = std::function<void(std::string_view bytes)>;

/** Requests to one server, one after another, over a connection that is kept. One thread at a time. */
class HttpConnection {
public:
    /** A longer answer is a failure: no question of this program needs one. */
    static constexpr std::size_t kLargestAnswer = std::size_t{16} << 20;

    virtual ~HttpConnection() = default;

    /**
     * Sends a POST request. Redirections are not followed: they would take the credentials elsewhere.
     * @param parameters  pairs of names and values for the URL, in the clear.
     * @param body        read once; what it throws is thrown on.
     * @param take        gets the body of an answer of status 200, of any length, which then is not in the result; what
     *                    it throws is thrown on. Empty: the body is in the result.
     * @throws HttpFailure, also when the body ended early and `take` has got the start of it.
     */
    virtual HttpAnswer post(std::span<const std::pair<std::string, std::string>> parameters, const BodyReader &body,
                            const AnswerTaker &take) = 0;
};

/**
 * Checks that a URL names a server by http or https and has no user, password, query or fragment.
 * @param option  for messages. @throws WrongUse, which does not repeat a password.
 */
void require_plain_url(const std::string &option, const std::string &url);

/** Opens nothing yet. @throws host::Error when the library cannot be loaded. */
std::unique_ptr<HttpConnection> connect_to(const HttpServer &server);

} // namespace cli
