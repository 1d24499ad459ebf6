/** Output streams that report every failed write. */
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "cli/terminal/text_style.h"

namespace cli {

/** Thrown when the reader of a pipe has gone. Not an error: the rest of the output is not wanted. */
struct ReaderHasGone {};

/** Writes all of `bytes`. @throws ReaderHasGone; host::Error naming `name` and the system's reason. */
void write_fully(int descriptor, std::span<const std::byte> bytes, const std::string &name);

/** Buffered standard output or standard error. The caller must end with `flush`. */
class Output {
public:
    /** @param name  of the stream, for messages. */
    Output(int descriptor, std::string name);
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    /** @throws what `write_fully` throws. */
    void write(std::string_view text);
    void write(std::span<const std::byte> bytes);
    /** Writes the buffer. The destructor does not: what was not flushed is lost. */
    void flush();

    /** @throws ReaderHasGone when this is a pipe whose reader has gone. */
    void require_reader() const;

    /** The style for text written here. */
    const TextStyle &style() const { return _style; }

private:
    int _descriptor;
    std::string _name;
    TextStyle _style;
    std::string _buffer;
};

Output standard_output();
Output standard_error();

/**
 * Prints on standard output what a verb has done. The exit code tells what was done, so a failure to print it is a
 * message on standard error and not a failure of the verb; a reader that has gone is ignored.
 */
void print_outcome(std::string_view text);

/**
 * Prints one line on standard error: `text` with control characters escaped, and a newline. A failure to write it is
 * ignored.
 */
void print_message(std::string_view text);

} // namespace cli
