/** The one error type of `host/` and `cli/`: made where the cause is known, printed once, at the top. */
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

/** Something from outside was wrong. `what()` reads "file: place: reason", leaving out what is empty. */
class Error : public std::runtime_error {
public:
    /**
     * @param file    the file or other source, as the user named it.
     * @param place   where in it: "line 12, column 3", "byte 204", "service \"x\""; may be empty.
     * @param reason  what is wrong there, in one sentence without a full stop.
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

/** A name between quotation marks, as reasons and places show it. */
std::string in_quotes(std::string_view name);

} // namespace host
