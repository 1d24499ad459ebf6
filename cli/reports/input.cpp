#include "cli/reports/input.h"

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
constexpr std::size_t kBufferSize = ReportInput::kPieceReports * kReportSize;
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

ReportInput::Descriptor::~Descriptor() {
    if (number > STDIN_FILENO) {
        close(number);
    }
}

ReportInput::ReportInput(const std::string &argument, bool follows)
    : _name(input_name(argument)), _descriptor(open_input(argument)) {
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
    if (follows) {
        _interruption.emplace();
    }
}

std::optional<ReportPiece> ReportInput::read_next() {
    std::memmove(_buffer.data(), _buffer.data() + _given, _used - _given);
    _used -= _given;
    _given = 0;
    const std::size_t count = read_once();
    if (count == 0) {
        return wait_for_growth() ? std::optional(ReportPiece{}) : std::nullopt;
    }
    _offset += count;
    _used += count;
    _given = _used - _used % kReportSize;
    return ReportPiece{_offset - _used, reports_in(std::span(_buffer.data(), _given))};
}

std::size_t ReportInput::read_once() {
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
bool ReportInput::wait_for_growth() {
    if (!_interruption) {
        return false;
    }
    struct stat status {};
    if (fstat(_descriptor.number, &status) == -1) {
        fail(_offset, errno);
    }
    if (static_cast<std::uint64_t>(status.st_size) < _start + _offset) {
        throw host::Error(_name, "byte " + std::to_string(status.st_size),
                          "the file was truncated while it was being followed");
    }
    if (_interruption->is_requested()) {
        return false;
    }
    std::this_thread::sleep_for(kGrowthPollInterval);
    return true;
}

std::uint64_t ReportInput::find_backwards(const std::function<bool(const _QorProfileReport &report)> &is_wanted) const {
    std::vector<std::byte> buffer(kBufferSize);
    std::uint64_t offset = end_of_file_reports();
    while (offset != 0) {
        const std::size_t size = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), offset));
        offset -= size;
        read_at(offset, std::span(buffer.data(), size));
        for (std::size_t end = size; end != 0; end -= kReportSize) {
            if (is_wanted(_QorProfileReport::copied_from(buffer.data() + end - kReportSize))) {
                return offset + end - kReportSize;
            }
        }
    }
    return 0;
}

void ReportInput::read_at(std::uint64_t offset, std::span<std::byte> bytes) const {
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
            throw host::Error(_name, "byte " + std::to_string(offset),
                              "the file was truncated while it was being read");
        }
        offset += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void ReportInput::fail(std::uint64_t offset, int error) const {
    throw host::Error(_name, offset == 0 ? "" : "byte " + std::to_string(offset),
                      std::generic_category().message(error));
}

} // namespace cli
