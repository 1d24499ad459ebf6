#include "cli/terminal/output.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <limits>
#include <mutex>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/display_width.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/pager.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr std::size_t kBufferSize = 64 * 1024;

std::string_view text_of(std::span<const std::byte> bytes) {
    return {static_cast<const char *>(static_cast<const void *>(bytes.data())), bytes.size()};
}

/** What is left of the line that `left`, the end of `bytes`, goes on with; 0 when it begins a line. */
std::size_t rest_of_line(std::span<const std::byte> bytes, std::span<const std::byte> left) {
    const std::size_t written = bytes.size() - left.size();
    if (written == 0 || bytes[written - 1] == std::byte{'\n'}) {
        return 0;
    }
    const std::size_t end = text_of(left).find('\n');
    return end == std::string_view::npos ? left.size() : end + 1;
}

std::size_t rest_of_record(std::span<const std::byte> bytes, std::span<const std::byte> left) {
    return left.size() == bytes.size() ? 0 : left.size();
}

/** The rows that a pager shows on the terminal besides its prompt. */
std::size_t terminal_rows(int descriptor) {
    constexpr std::size_t kUsualRows = 24;
    struct winsize size {};
    const bool is_known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_row > 1;
    return (is_known ? size.ws_row : kUsualRows) - 1;
}

/** A line without the colours of `TextStyle`. */
std::string without_colours(std::string_view line) {
    std::string plain;
    while (true) {
        const std::size_t colour = line.find('\x1b');
        plain += line.substr(0, colour);
        if (colour == std::string_view::npos) {
            return plain;
        }
        line.remove_prefix(std::min(line.find('m', colour), line.size() - 1) + 1);
    }
}

/** Messages that wait for the end of a paged output, of which there is at most one. */
struct WaitingMessages {
    std::mutex mutex; ///< guards the rest
    bool is_waiting = false;
    std::string lines;
};

WaitingMessages &waiting_messages() {
    static WaitingMessages waiting;
    return waiting;
}

/** @return false when no output is paged, so that the message is not kept. */
bool keep_message(std::string_view line) {
    WaitingMessages &waiting = waiting_messages();
    const std::lock_guard lock(waiting.mutex);
    if (waiting.is_waiting) {
        waiting.lines += line;
    }
    return waiting.is_waiting;
}

void let_messages_wait() {
    WaitingMessages &waiting = waiting_messages();
    const std::lock_guard lock(waiting.mutex);
    waiting.is_waiting = isatty(STDERR_FILENO) == 1;
}

/** Safe where none wait. */
void print_waiting_messages() {
    WaitingMessages &waiting = waiting_messages();
    const std::lock_guard lock(waiting.mutex);
    waiting.is_waiting = false;
    const std::string lines = std::exchange(waiting.lines, {});
    try {
        write_fully(STDERR_FILENO, std::as_bytes(std::span(lines)), "standard error");
    } catch (const host::Error &) {
    } catch (const ReaderHasGone &) {
    }
}

void print_outcome_by(void (Output::*write)(std::string_view text), std::string_view text) {
    try {
        Output output = standard_output();
        (output.*write)(text);
        output.flush();
    } catch (const ReaderHasGone &) {
        // The rest of the output is not wanted.
    } catch (const Interrupted &) {
        // Nor is it when the user ended the program.
    } catch (const host::Error &failure) {
        print_message("qorstat: done, but the summary cannot be printed: " + std::string(failure.what()));
    }
}

} // namespace

void write_fully(int descriptor, std::span<const std::byte> bytes, const std::string &name) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw ReaderHasGone{};
        } else if (errno == EAGAIN) {
            // Another program that shares the pipe or terminal has set O_NONBLOCK on it.
            pollfd room{descriptor, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            throw host::Error(name, "", std::generic_category().message(errno));
        }
    }
}

Output::Output(int descriptor, std::string name)
    : _descriptor(descriptor), _name(std::move(name)), _style(style_for(descriptor)) {
    struct stat status {};
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags == -1 || (flags & O_ACCMODE) == O_RDONLY || fstat(descriptor, &status) == -1) {
        return; // writing fails with the reason
    }
    const bool reopens = S_ISFIFO(status.st_mode) || _style.escapes_controls;
    _may_stall = reopens || S_ISSOCK(status.st_mode);
    if (reopens) {
        open_unblocking();
    }
}

/** O_NONBLOCK on the descriptor itself would also hold for the programs that share it. */
void Output::open_unblocking() {
    const std::string file = "/proc/self/fd/" + std::to_string(_descriptor);
    _unblocking = open(file.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

Output::~Output() {
    const bool was_paged = is_paged();
    std::optional<WholePiece> piece; // messages come before the end by a signal that was kept back
    if (was_paged) {
        piece.emplace();
    }
    try {
        release();
    } catch (const host::Error &) {
        // The program is failing already, with a reason of its own.
    } catch (const ReaderHasGone &) {
    } catch (const Interrupted &) {
    }
    if (_unblocking != -1) {
        close(_unblocking);
    }
    if (was_paged) {
        _pager.reset();
        print_waiting_messages();
    }
}

void Output::write(std::string_view text) {
    append(_style.escapes_controls ? std::string_view(escape_for_terminal(text, Colours::Escaped)) : text);
}

void Output::write_styled(std::string_view text) {
    append(_style.escapes_controls ? std::string_view(escape_for_terminal(text, Colours::Kept)) : text);
}

void Output::append(std::string_view text) {
    _buffer += text;
    if (_buffer.size() >= kBufferSize) {
        flush();
    }
}

void Output::write_lines(std::span<const std::byte> lines) {
    if (_style.escapes_controls) {
        write(text_of(lines));
    }
    flush();
    if (!_style.escapes_controls) {
        send(lines, Unit::Line);
    }
}

void Output::write_styled_lines(std::string_view lines) {
    write_styled(lines);
    flush();
}

void Output::write_record(std::span<const std::byte> record) {
    if (_style.escapes_controls) {
        write_lines(record);
        return;
    }
    flush();
    send(record, Unit::Record);
}

void Output::flush() {
    const std::string text = std::exchange(_buffer, {});
    send(std::as_bytes(std::span(text)), Unit::Line);
}

void Output::page_when_long() {
    if (_style.escapes_controls) {
        const WholePiece piece; // prepares for those that must not fail
        _is_paged = true;
        _held = std::make_unique<HeldScreen>();
        _held->rows_left = terminal_rows(_descriptor);
        let_messages_wait();
    }
}

void Output::finish() {
    const WholePiece piece; // messages come before the end by a signal that was kept back
    flush();
    release();
    if (_pager) {
        if (_unblocking != -1) {
            close(std::exchange(_unblocking, -1));
        }
        _pager->wait();
    }
    print_waiting_messages();
}

/** Whole lines come together, so the rows of a line are known. */
void Output::hold(std::span<const std::byte> bytes) {
    if (!_held->piece && !bytes.empty()) {
        const std::lock_guard lock(_paging);
        _held->piece.emplace();
    }
    const std::string_view text = text_of(bytes);
    _held->text += text;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        const std::size_t width = display_width(without_colours(text.substr(begin, end - begin - 1)));
        const std::size_t rows = std::max<std::size_t>(1, (width + _style.columns - 1) / _style.columns);
        if (rows > _held->rows_left) {
            start_pager();
            release();
            return;
        }
        _held->rows_left -= rows;
        begin = end;
    }
}

/** Everything from the held screen on goes to the pager, if there is one. */
void Output::start_pager() {
    const PagerChoice choice = choose_pager();
    if (choice.command.empty()) {
        print_waiting_messages();
        if (!choice.missing.empty()) {
            print_message("qorstat: PAGER: there is no program " + host::in_quotes(choice.missing));
        }
        return;
    }
    const std::lock_guard lock(_paging);
    _pager = std::make_unique<Pager>(choice.command);
    if (_unblocking != -1) {
        close(_unblocking);
    }
    _descriptor = _pager->descriptor();
    open_unblocking();
}

void Output::release() {
    std::unique_ptr<HeldScreen> held;
    {
        const std::lock_guard lock(_paging);
        held = std::move(_held);
    }
    if (held) {
        send(std::as_bytes(std::span(held->text)), Unit::Line);
    }
}

void Output::send(std::span<const std::byte> bytes, Unit unit) {
    if (_held) {
        hold(bytes);
        return;
    }
    if (_may_stall) {
        send_slowly(bytes, unit);
        return;
    }
    const WholePiece piece;
    write_fully(_descriptor, bytes, _name);
}

/** Waits for the reader of a pipe, terminal or socket, until a signal comes. */
void Output::send_slowly(std::span<const std::byte> bytes, Unit unit) {
    const WholePiece piece;
    std::span<const std::byte> left = bytes;
    while (!left.empty()) {
        if (const std::size_t written = write_some(left); written != 0) {
            left = left.subspan(written);
            continue;
        }
        const bool is_interrupted = piece.is_interrupted();
        const std::chrono::milliseconds time_left = is_interrupted ? piece.time_left() : std::chrono::milliseconds(-1);
        if (!is_interrupted || (!piece.ends_process() && time_left.count() != 0)) {
            std::array<pollfd, 2> ends{{{_descriptor, POLLOUT, 0}, {piece.descriptor(), POLLIN, 0}}};
            // The signal stays readable: once it has come, only the reader is waited for.
            poll(ends.data(), is_interrupted ? 1 : 2, static_cast<int>(time_left.count()));
            continue;
        }
        const std::size_t rest = unit == Unit::Line ? rest_of_line(bytes, left) : rest_of_record(bytes, left);
        if (rest != 0 && enlarge_pipe(rest)) {
            left = left.subspan(write_some(left.first(rest)));
        }
        if (!piece.ends_process()) {
            throw Interrupted{};
        }
        return; // the end of the piece ends the process
    }
}

/** @return how many bytes were written; 0 when there is no room. */
std::size_t Output::write_some(std::span<const std::byte> bytes) const {
    if (_unblocking == -1) {
        // A descriptor that blocks: as many bytes as surely fit once there is room.
        pollfd room{_descriptor, POLLOUT, 0};
        if (poll(&room, 1, 0) != 1) {
            return 0;
        }
        bytes = bytes.first(std::min<std::size_t>(bytes.size(), PIPE_BUF));
    }
    const ssize_t written = ::write(_unblocking == -1 ? _descriptor : _unblocking, bytes.data(), bytes.size());
    if (written >= 0) {
        return static_cast<std::size_t>(written);
    }
    if (errno == EPIPE) {
        end_without_reader(_pager.get());
    }
    if (errno != EAGAIN && errno != EINTR) {
        throw host::Error(_name, "", std::generic_category().message(errno));
    }
    return 0;
}

/** @return false where there is no pipe to enlarge, or the system refuses. */
bool Output::enlarge_pipe(std::size_t by) const {
    const int size = fcntl(_descriptor, F_GETPIPE_SZ);
    // Writes of another program may have left pages of the pipe partly used: one page more than is needed.
    const std::size_t wanted = static_cast<std::size_t>(std::max(size, 0)) + by + PIPE_BUF;
    return size != -1 && wanted <= static_cast<std::size_t>(std::numeric_limits<int>::max()) &&
           fcntl(_descriptor, F_SETPIPE_SZ, static_cast<int>(wanted)) != -1;
}

void Output::require_reader() const {
    pollfd reader{};
    Pager *pager = nullptr;
    {
        const std::lock_guard lock(_paging);
        pager = _pager.get();
        if ((_held && _held->piece && _held->piece->is_interrupted()) ||
            (pager != nullptr && pager->is_interrupted())) {
            throw Interrupted{};
        }
        reader.fd = _descriptor;
    }
    if (poll(&reader, 1, 0) == 1 && (reader.revents & (POLLERR | POLLHUP)) != 0) {
        end_without_reader(pager);
    }
}

/** A pager that could not be run is no reader that has gone. */
void Output::end_without_reader(Pager *pager) {
    if (pager != nullptr) {
        pager->wait_for_end();
    }
    throw ReaderHasGone{};
}

Output standard_output() { return Output(STDOUT_FILENO, "standard output"); }
Output standard_error() { return Output(STDERR_FILENO, "standard error"); }

void print_outcome(std::string_view text) { print_outcome_by(&Output::write, text); }
void print_styled_outcome(std::string_view text) { print_outcome_by(&Output::write_styled, text); }

void print_message(std::string_view text) {
    const std::string line = escape_controls(text) + "\n";
    if (keep_message(line)) {
        return;
    }
    try {
        Output output = standard_error();
        output.write(line);
        output.flush();
    } catch (const host::Error &) {
    } catch (const ReaderHasGone &) {
    } catch (const Interrupted &) {
    }
}

} // namespace cli
