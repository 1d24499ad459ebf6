#include "host/boot_time.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "host/file_descriptor.h"

namespace host {
namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;

/** The largest number of seconds that can be given in microseconds. */
constexpr std::int64_t kMostSeconds = INT64_MAX / kMicrosecondsPerSecond - 1;

/** The lines of a file, of which only the beginnings are kept. Allocates nothing. */
class LineBeginnings {
public:
    explicit LineBeginnings(const char *path) : _file(::open(path, O_RDONLY | O_CLOEXEC)) {}

    /** The beginning of the next line, valid until the next call; nothing at the end and after an error. */
    std::optional<std::string_view> next() {
        std::size_t length = 0;
        for (char c = 0; next_character(c);) {
            if (c == '\n') {
                return std::string_view(_line.data(), length);
            }
            if (length < _line.size()) {
                _line[length++] = c;
            }
        }
        return length > 0 ? std::optional(std::string_view(_line.data(), length)) : std::nullopt;
    }

private:
    bool next_character(char &c) {
        if (_at == _end && !refill()) {
            return false;
        }
        c = _buffer[_at++];
        return true;
    }

    bool refill() {
        ssize_t size = -1;
        do {
            size = ::read(_file.get(), _buffer.data(), _buffer.size());
        } while (size < 0 && errno == EINTR);
        _at = 0;
        _end = size > 0 ? static_cast<std::size_t>(size) : 0;
        return _end > 0;
    }

    FileDescriptor _file;
    std::array<char, 4096> _buffer;
    std::size_t _at = 0;
    std::size_t _end = 0;
    std::array<char, 64> _line;
};

std::optional<std::int64_t> read_seconds(const char *statistics) {
    constexpr std::string_view kKey = "btime ";
    LineBeginnings lines(statistics);
    while (const auto line = lines.next()) {
        if (!line->starts_with(kKey)) {
            continue;
        }
        std::int64_t seconds = 0;
        const char *const end = line->data() + line->size();
        const auto read = std::from_chars(line->data() + kKey.size(), end, seconds);
        const bool is_number = read.ec == std::errc() && read.ptr == end;
        return is_number && seconds >= 0 && seconds <= kMostSeconds ? std::optional(seconds) : std::nullopt;
    }
    return std::nullopt;
}

/** FNV-1a, which spreads identifiers evenly. */
std::uint64_t hash(std::string_view text) {
    std::uint64_t value = 0xCBF29CE484222325;
    for (const char c : text) {
        value = (value ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    return value;
}

std::int64_t read_number_of_boot(const char *identifier) {
    LineBeginnings lines(identifier);
    const auto line = lines.next();
    return line ? static_cast<std::int64_t>(hash(*line) % kMicrosecondsPerSecond) : 0;
}

} // namespace

std::optional<std::int64_t> read_boot_time(const char *statistics, const char *identifier) {
    const std::optional<std::int64_t> seconds = read_seconds(statistics);
    if (!seconds) {
        return std::nullopt;
    }
    return *seconds * kMicrosecondsPerSecond + read_number_of_boot(identifier);
}

} // namespace host
