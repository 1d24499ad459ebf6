/** Bytes on their way out, with every failure seen. */
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "cli/terminal/text_style.h"

namespace cli {

/** Thrown when whoever read the output has gone: what is left is not wanted, and nothing went wrong here. */
struct ReaderHasGone {};

/** Writes all of `bytes`. @throws ReaderHasGone; host::Error naming `name` and the system's reason. */
void write_fully(int descriptor, std::span<const std::byte> bytes, const std::string &name);

/** Standard output or standard error, gathered and written in large pieces; `flush` ends it. */
class Output {
public:
    /** @param name for messages. */
    Output(int descriptor, std::string name);
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    /** @throws what `write_fully` throws. */
    void write(std::string_view text);
    void write(std::span<const std::byte> bytes);
    /** Writes what is gathered. What was not flushed when the object goes is lost. */
    void flush();

    /** @throws ReaderHasGone when it is a pipe that nobody reads any more. */
    void require_reader() const;

    /** How text is shown there. */
    const TextStyle &style() const { return _style; }

private:
    int _descriptor;
    std::string _name;
    TextStyle _style;
    std::string _gathered;
};

/** The two of them. */
Output standard_output();
Output standard_error();

/**
 * One line on standard error, `text` with control characters escaped and a newline. A message that cannot be
 * written changes nothing else.
 */
void print_message(std::string_view text);

} // namespace cli
