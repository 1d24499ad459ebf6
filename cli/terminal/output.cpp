#include "cli/terminal/output.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "host/error.h"

namespace cli {
namespace {

constexpr std::size_t kBufferSize = 64 * 1024;

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
    : _descriptor(descriptor), _name(std::move(name)), _style(style_for(descriptor)) {}

void Output::write(std::string_view text) {
    _buffer += text;
    if (_buffer.size() >= kBufferSize) {
        flush();
    }
}

void Output::write(std::span<const std::byte> bytes) {
    flush();
    write_fully(_descriptor, bytes, _name);
}

void Output::flush() {
    const std::string text = std::exchange(_buffer, {});
    write_fully(_descriptor, std::as_bytes(std::span(text)), _name);
}

void Output::require_reader() const {
    pollfd reader{_descriptor, 0, 0};
    if (poll(&reader, 1, 0) == 1 && (reader.revents & (POLLERR | POLLHUP)) != 0) {
        throw ReaderHasGone{};
    }
}

Output standard_output() { return Output(STDOUT_FILENO, "standard output"); }
Output standard_error() { return Output(STDERR_FILENO, "standard error"); }

void print_outcome(std::string_view text) {
    try {
        Output output = standard_output();
        output.write(text);
        output.flush();
    } catch (const ReaderHasGone &) {
        // The rest of the output is not wanted.
    } catch (const host::Error &failure) {
        print_message("qorstat: done, but the summary cannot be printed: " + std::string(failure.what()));
    }
}

void print_message(std::string_view text) {
    try {
        Output output = standard_error();
        output.write(escape_controls(text) + "\n");
        output.flush();
    } catch (const host::Error &) {
    } catch (const ReaderHasGone &) {
    }
}

} // namespace cli
