/** Output streams that report every failed write, and the one place that writes to a terminal. */
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "cli/terminal/interruption.h"
#include "cli/terminal/text_style.h"

namespace cli {

class Pager;

/** Thrown when the reader of a pipe has gone. Not an error: the rest of the output is not wanted. */
struct ReaderHasGone {};

/** Writes all of `bytes`. @throws ReaderHasGone; host::Error naming `name` and the system's reason. */
void write_fully(int descriptor, std::span<const std::byte> bytes, const std::string &name);

/**
 * Buffered standard output or standard error. The caller must end with `flush`.
 *
 * A terminal obeys control characters, and texts come from anywhere. So whatever is written to a terminal is escaped
 * here: no control character reaches it but newlines, and in `write_styled` the colours of `TextStyle`. Files and pipes
 * get the exact bytes.
 *
 * A signal that ends the program does not tear a line. The line under way is written whole, even if its reader has
 * stalled: a pipe is enlarged for it.
 *
 * One thread at a time. Between `page_when_long` and `finish`, others may call `is_paged` and `require_reader`
 * meanwhile.
 */
class Output {
public:
    /** @param name  of the stream, for messages. */
    Output(int descriptor, std::string name);
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;
    ~Output();

    /**
     * Writes whole lines.
     * @throws what `write_fully` throws, and Interrupted when an `Interruption` has been requested and the reader has
     *         stalled.
     */
    void write(std::string_view text);
    /** The same for text with colours of `style()`. */
    void write_styled(std::string_view text);
    /** The same, without buffering. */
    void write_lines(std::span<const std::byte> lines);
    /** Writes one record of any bytes, which a signal does not tear either. Throws the same. */
    void write_record(std::span<const std::byte> record);
    /** Styled lines, without buffering. */
    void write_styled_lines(std::string_view lines);
    /** Writes the buffer. The destructor does not: what was not flushed is lost. */
    void flush();

    /**
     * From now on, on a terminal, what is longer than its screen is shown through the user's pager: the first screen is
     * held until it is known to be full. Before the first text; then end with `finish` instead of `flush`, or with the
     * destructor, which writes what was flushed. Messages to the same terminal wait for the end.
     *
     * Not while others must be waited for: a signal ends the program at its next call of this object.
     */
    void page_when_long();
    /** Whether long text goes through a pager, if there is one. */
    bool is_paged() const { return _is_paged; }
    /** Flushes, and waits until the user leaves the pager. @throws also host::Error when that could not be run. */
    void finish();

    /**
     * For whoever writes nothing for a while.
     * @throws ReaderHasGone when this is a pipe whose reader has gone or a terminal that has hung up, or the user has
     *         left the pager; Interrupted when a signal has come and text is held or a pager runs.
     */
    void require_reader() const;

    /** The style for text written here. */
    const TextStyle &style() const { return _style; }

private:
    /** What a signal must not tear. */
    enum class Unit { Line, Record };

    /** The first screen of a text that may become long. */
    struct HeldScreen {
        std::string text;
        std::size_t rows_left = 0;
        std::optional<WholePiece> piece; ///< once there is text: a signal does not lose it
    };

    void append(std::string_view text);
    void hold(std::span<const std::byte> bytes);
    void release();
    void start_pager();
    [[noreturn]] static void end_without_reader(Pager *pager);
    void open_unblocking();
    void send(std::span<const std::byte> bytes, Unit unit);
    void send_slowly(std::span<const std::byte> bytes, Unit unit);
    std::size_t write_some(std::span<const std::byte> bytes) const;
    bool enlarge_pipe(std::size_t by) const;

    int _descriptor;      ///< changes with `_pager`
    int _unblocking = -1; ///< the same pipe or terminal, where writing does not block; -1 when there is none
    bool _may_stall = false;
    std::string _name;
    TextStyle _style;
    std::string _buffer;
    bool _is_paged = false;
    /**
     * Guards what follows, `_descriptor` and a held screen's piece between `page_when_long` and `finish`. The thread
     * that writes, which alone changes them, reads them without it.
     */
    mutable std::mutex _paging;
    std::unique_ptr<HeldScreen> _held;
    std::unique_ptr<Pager> _pager; ///< lives as long as the object
};

Output standard_output();
Output standard_error();

/**
 * Prints on standard output what a verb has done. The exit code tells what was done, so a failure to print it is a
 * message on standard error and not a failure of the verb; a reader that has gone is ignored.
 */
void print_outcome(std::string_view text);
/** The same for text with colours of `style_for(STDOUT_FILENO)`. */
void print_styled_outcome(std::string_view text);

/**
 * Prints one line on standard error: `text` with control characters escaped, and a newline. On a terminal it waits for
 * the end of an output that is paged. A failure to write it is ignored.
 */
void print_message(std::string_view text);

} // namespace cli
