#include "cli/reports/dump_input.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/input.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr std::size_t kReportSize = _QorProfileReport::kSize;
constexpr std::size_t kBufferSize = DumpInput::kPieceReports * kReportSize;
constexpr std::chrono::milliseconds kGrowthPollInterval{50};

int open_input(const std::string &argument) {
    return argument == kStandardInputArgument ? STDIN_FILENO : open(argument.c_str(), O_RDONLY | O_CLOEXEC);
}

/** Reports consist of bytes only, so they are read where they are. */
std::span<const _QorProfileReport> reports_in(std::span<const std::byte> bytes) {
    const void *const begin = bytes.data();
    return {static_cast<const _QorProfileReport *>(begin), bytes.size() / kReportSize};
}

} // namespace

DumpInput::Descriptor::~Descriptor() {
    if (number > STDIN_FILENO) {
        close(number);
    }
}

void DumpInput::Descriptor::replace(int other) {
    if (number > STDIN_FILENO) {
        close(number);
    }
    number = other;
}

DumpInput::DumpInput(const std::string &argument, Follow follow)
    : _name(input_name(argument)), _descriptor(open_input(argument)),
      _followed(argument == kStandardInputArgument ? "" : argument, follow) {
    struct stat status {};
    if (_descriptor.number == -1 || fstat(_descriptor.number, &status) == -1) {
        fail(0, errno);
    }
    _buffer.resize(kBufferSize);
    _is_regular = S_ISREG(status.st_mode);
    if (!_is_regular) {
        return;
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    _start = static_cast<std::uint64_t>(std::max<off_t>(0, lseek(_descriptor.number, 0, SEEK_CUR)));
    _file_size = size - std::min(size, _start);
    _has_known_end = ends_where_the_system_says();
    if (follow != Follow::Nothing) {
        _interruption.emplace();
    } else if (_has_known_end && _file_size >= kReportSize) {
        _mapped.emplace(_descriptor.number, size);
    }
}

/** The files of /proc and /sys are regular, but have more or fewer bytes than their size says. */
bool DumpInput::ends_where_the_system_says() const {
    std::byte last{};
    const std::uint64_t place = _start + (_file_size == 0 ? 0 : _file_size - 1);
    const ssize_t count = pread(_descriptor.number, &last, 1, static_cast<off_t>(place));
    return count == -1 || (count == 1) == (_file_size != 0); // what cannot be read is an error later
}

std::optional<ReportPiece> DumpInput::read_piece(std::size_t most_reports) {
    if (_interruption && _interruption->is_requested()) {
        _is_cut_short = true;
        return std::nullopt;
    }
    if (const std::optional<ReportPiece> piece = read_mapped(most_reports)) {
        return piece;
    }
    std::memmove(_buffer.data(), _buffer.data() + _given, _used - _given);
    _used -= _given;
    _given = 0;
    const std::size_t count = read_once();
    if (count == 0) {
        if (_has_known_end && !is_followed() && _offset < _file_size) {
            fail_truncated(_offset);
        }
        return wait_for_growth() ? std::optional(ReportPiece{}) : std::nullopt;
    }
    _offset += count;
    _used += count;
    _given = _used - _used % kReportSize;
    return ReportPiece{_offset - _used, reports_in(std::span(_buffer.data(), _given))};
}

/** @return nothing when the rest is not read in place. */
std::optional<ReportPiece> DumpInput::read_mapped(std::size_t most_reports) {
    if (!is_read_in_place()) {
        _mapped.reset();
        return std::nullopt;
    }
    const std::uint64_t left = end_of_reports() - _offset;
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left, most_reports * kReportSize));
    const std::span<const std::byte> bytes = _mapped->view(_start + _offset, size);
    if (bytes.empty()) {
        _mapped.reset();
        return ReportPiece{}; // to be read by the next call, which may fail
    }
    _last_piece = _offset;
    _offset += size;
    return ReportPiece{*_last_piece, reports_in(bytes)};
}

bool DumpInput::keeps_last_piece() {
    if (!_mapped || !_last_piece || _mapped->is_intact()) {
        return true;
    }
    _mapped.reset();
    _offset = *_last_piece;
    return false;
}

void DumpInput::fail_after_lost_piece(std::uint64_t end) {
    while (read_next()) {
        // Finds what is wrong, and where.
    }
    fail_truncated(end);
}

std::size_t DumpInput::read_once() {
    std::byte *const to = _buffer.data() + _used;
    const std::size_t room = _buffer.size() - _used;
    ssize_t count = -1;
    do {
        count = _is_regular ? pread(_descriptor.number, to, room, static_cast<off_t>(_start + _offset))
                            : read(_descriptor.number, to, room);
    } while (count == -1 && errno == EINTR);
    if (count == -1) {
        fail(_offset, errno);
    }
    return static_cast<std::size_t>(count);
}

/** @return false when the file is not followed or no longer. */
bool DumpInput::wait_for_growth() {
    if (!_interruption) {
        return false;
    }
    struct stat status {};
    if (fstat(_descriptor.number, &status) == -1) {
        fail(_offset, errno);
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (_has_known_end && size < _start + _offset) {
        return go_on_after_cut(size);
    }
    if (const int next = _followed.look(_descriptor.number, _used); next != -1) {
        _descriptor.replace(next);
        read_from_start();
        return true;
    }
    if (_interruption->is_requested()) {
        return false;
    }
    std::this_thread::sleep_for(kGrowthPollInterval);
    return true;
}

bool DumpInput::go_on_after_cut(std::uint64_t size) {
    if (!_followed.goes_on_after_cut(_used)) {
        throw host::Error(_name, "byte " + std::to_string(size), "the file was truncated while it was being followed");
    }
    read_from_start();
    return true;
}

void DumpInput::read_from_start() {
    _start = 0;
    _offset = 0;
    _used = 0;
    _given = 0;
}

void DumpInput::find_backwards(
    const std::function<bool(const _QorProfileReport &report, std::uint64_t offset)> &is_wanted) const {
    std::vector<std::byte> buffer(kBufferSize);
    std::uint64_t offset = end_of_reports();
    while (offset != 0) {
        if (_interruption && _interruption->is_requested()) {
            throw Interrupted{};
        }
        const std::size_t size = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), offset));
        offset -= size;
        read_at(offset, std::span(buffer.data(), size));
        for (std::size_t end = size; end != 0; end -= kReportSize) {
            const std::size_t place = end - kReportSize;
            if (is_wanted(_QorProfileReport::copied_from(buffer.data() + place), offset + place)) {
                return;
            }
        }
    }
}

void DumpInput::read_at(std::uint64_t offset, std::span<std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t count =
            pread(_descriptor.number, bytes.data(), bytes.size(), static_cast<off_t>(_start + offset));
        if (count == -1 && errno == EINTR) {
            continue;
        }
        if (count == -1) {
            fail(offset, errno);
        }
        if (count == 0) {
            fail_truncated(offset);
        }
        offset += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void DumpInput::fail(std::uint64_t offset, int error) const {
    throw host::Error(_name, offset == 0 ? "" : "byte " + std::to_string(offset),
                      std::generic_category().message(error));
}

void DumpInput::fail_truncated(std::uint64_t offset) const {
    throw host::Error(_name, "byte " + std::to_string(offset), "the file was truncated while it was being read");
}

} // namespace cli
