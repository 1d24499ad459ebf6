#include "cli/reports/source.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/arguments/wrong_use.h"
#include "cli/terminal/input.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr std::size_t kReportSize = _QorProfileReport::kSize;
constexpr std::chrono::milliseconds kGrowthPollInterval{50};

int opened(const std::string &argument) {
    return argument == kStandardInputArgument ? STDIN_FILENO : open(argument.c_str(), O_RDONLY | O_CLOEXEC);
}

} // namespace

ReportSource::ReportSource(const std::string &argument, const Selection &selection)
    : _name(input_name(argument)), _descriptor(-1), _filter(selection.filter), _left(selection.first),
      _piece(kBlockReports * kReportSize) {
    if (selection.first && selection.last) {
        throw WrongUse("--first and --last exclude each other");
    }
    _descriptor = opened(argument);
    if (_descriptor == -1) {
        throw host::Error(_name, "", std::generic_category().message(errno));
    }
    start_reading(selection);
}

ReportSource::~ReportSource() {
    if (_descriptor > STDIN_FILENO) {
        close(_descriptor);
    }
}

void ReportSource::start_reading(const Selection &selection) {
    struct stat status {};
    if (fstat(_descriptor, &status) == -1) {
        fail(0, errno);
    }
    _is_regular = S_ISREG(status.st_mode);
    if (_is_regular) {
        _start = static_cast<std::uint64_t>(std::max<off_t>(0, lseek(_descriptor, 0, SEEK_CUR)));
        _file_size = static_cast<std::uint64_t>(status.st_size) -
                     std::min<std::uint64_t>(static_cast<std::uint64_t>(status.st_size), _start);
        if (selection.follows) {
            _interruption.emplace();
        }
    }
    if (selection.last && _is_regular) {
        _offset = offset_of_last(*selection.last);
    } else if (selection.last) {
        keep_last(*selection.last);
    }
}

bool ReportSource::next(std::vector<_QorProfileReport> &block) {
    block.clear();
    if (_kept_left != 0) {
        give_kept(block);
    }
    while (block.empty() && !_has_ended) {
        read_wanted(block);
    }
    return !block.empty();
}

std::optional<TrailingBytes> ReportSource::trailing_bytes() const {
    if (_piece_used == 0 || _left == 0U) {
        return std::nullopt;
    }
    return TrailingBytes{_offset - _piece_used, _piece_used};
}

void ReportSource::observe(Observer observer) {
    if (_kept_left != 0 && _filter.asks()) {
        throw WrongUse("--stats with --last and a filter takes a file: a pipe cannot be read backwards");
    }
    _observer = std::move(observer);
}

void ReportSource::read_wanted(std::vector<_QorProfileReport> &block) {
    if (_left == 0U) {
        _has_ended = true;
        return;
    }
    if (_watcher) {
        _watcher(_offset);
    }
    const std::size_t count = read_once();
    _offset += count;
    _piece_used += count;
    if (count != 0) {
        take_wanted(block);
    } else if (_interruption) {
        wait_for_growth();
    } else {
        _has_ended = true;
    }
}

std::size_t ReportSource::read_once() {
    std::byte *const to = _piece.data() + _piece_used;
    const std::size_t room = _piece.size() - _piece_used;
    ssize_t count = -1;
    do {
        count = _is_regular ? pread(_descriptor, to, room, static_cast<off_t>(_start + _offset))
                            : read(_descriptor, to, room);
    } while (count == -1 && errno == EINTR);
    if (count == -1) {
        fail(_offset, errno);
    }
    return static_cast<std::size_t>(count);
}

void ReportSource::wait_for_growth() {
    struct stat status {};
    if (fstat(_descriptor, &status) == -1) {
        fail(_offset, errno);
    }
    if (static_cast<std::uint64_t>(status.st_size) < _start + _offset) {
        throw host::Error(_name, "byte " + std::to_string(status.st_size), "the file was cut while it was followed");
    }
    if (_interruption->is_requested()) {
        _has_ended = true;
    } else {
        std::this_thread::sleep_for(kGrowthPollInterval);
    }
}

void ReportSource::take_wanted(std::vector<_QorProfileReport> &block) {
    const std::uint64_t piece_offset = _offset - _piece_used;
    const std::size_t whole = _piece_used - _piece_used % kReportSize;
    for (std::size_t at = 0; at < whole && _left != 0U; at += kReportSize) {
        const auto report = _QorProfileReport::copied_from(_piece.data() + at);
        if (_observer) {
            _observer(report, piece_offset + at);
        }
        if (_filter.passes(report)) {
            block.push_back(report);
            if (_left) {
                --*_left;
            }
        }
    }
    std::memmove(_piece.data(), _piece.data() + whole, _piece_used - whole);
    _piece_used -= whole;
}

std::uint64_t ReportSource::offset_of_last(std::uint64_t count) const {
    std::vector<std::byte> piece(kBlockReports * kReportSize);
    std::uint64_t offset = _file_size - _file_size % kReportSize;
    while (count != 0 && offset != 0) {
        const std::size_t size = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), offset));
        offset -= size;
        for (std::size_t done = 0; done < size;) {
            const ssize_t got =
                pread(_descriptor, piece.data() + done, size - done, static_cast<off_t>(_start + offset + done));
            if (got == -1 && errno != EINTR) {
                fail(offset + done, errno);
            }
            if (got == 0) {
                throw host::Error(_name, "byte " + std::to_string(offset + done), "the file was cut while it was read");
            }
            done += static_cast<std::size_t>(std::max<ssize_t>(0, got));
        }
        for (std::size_t at = size; at != 0 && count != 0; at -= kReportSize) {
            if (_filter.passes(_QorProfileReport::copied_from(piece.data() + at - kReportSize)) && --count == 0) {
                return offset + at - kReportSize;
            }
        }
    }
    return offset;
}

void ReportSource::keep_last(std::uint64_t count) {
    if (count > kLastOfAPipeAtMost) {
        throw WrongUse("--last: at most " + std::to_string(kLastOfAPipeAtMost) + " of a pipe");
    }
    std::vector<_QorProfileReport> block;
    while (!_has_ended) {
        block.clear();
        read_wanted(block);
        for (const _QorProfileReport &report : block) {
            if (_kept.size() < count) {
                _kept.push_back(report);
            } else if (count != 0) {
                _kept[_kept_next] = report;
                _kept_next = (_kept_next + 1) % _kept.size();
            }
        }
    }
    _kept_left = _kept.size();
}

void ReportSource::give_kept(std::vector<_QorProfileReport> &block) {
    const std::size_t count = std::min(_kept_left, kBlockReports);
    for (std::size_t i = 0; i < count; ++i) {
        if (_observer) {
            // All that was read passed, so those that are left stand last.
            _observer(_kept[_kept_next], _offset - _piece_used - (_kept_left - i) * kReportSize);
        }
        block.push_back(_kept[_kept_next]);
        _kept_next = (_kept_next + 1) % _kept.size();
    }
    _kept_left -= count;
}

void ReportSource::fail(std::uint64_t offset, int error) const {
    throw host::Error(_name, offset == 0 ? "" : "byte " + std::to_string(offset),
                      std::generic_category().message(error));
}

} // namespace cli
