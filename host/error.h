/** The error type of `host/` and `cli/`: thrown where the cause is known, printed once, by `main`. */
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

/**
 * An error in input or in the environment. `what()` is "file: place: reason", without the empty parts and with zero
 * characters as `\x00`, because it ends at the first.
 */
class Error : public std::runtime_error {
public:
    /**
     * @param file    the file or other source, as the user named it; may be empty.
     * @param place   where in it: "line 12, column 3", "byte 204", "service \"x\""; may be empty.
     * @param reason  what is wrong, in one sentence without a full stop.
     */
    Error(std::string file, std::string place, std::string reason);

    const std::string &file() const { return _file; }
    const std::string &place() const { return _place; }
    const std::string &reason() const { return _reason; }

private:
    std::string _file;
    std::string _place;
    std::string _reason;
};

/** `name` in double quotes, as reasons and places show names. */
std::string in_quotes(std::string_view name);

} // namespace host
