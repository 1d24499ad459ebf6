#include "cli/dumps/dump_input.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/input.h"
#include "cli/terminal/output.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr std::size_t kReportSize = _QorProfileReport::kSize;
constexpr std::size_t kBufferSize = DumpInput::kPieceReports * kReportSize;
constexpr std::chrono::milliseconds kGrowthPollInterval{50};

/** In a file that is followed. No file grows so large, and places behind it can still be expressed. */
constexpr std::uint64_t kLargestSkip = std::numeric_limits<off_t>::max() / 2;

/** Reports consist of bytes only, so they are read where they are. */
std::span<const _QorProfileReport> reports_in(std::span<const std::byte> bytes) {
    const void *const begin = bytes.data();
    return {static_cast<const _QorProfileReport *>(begin), bytes.size() / kReportSize};
}

} // namespace

DumpInput::DumpInput(std::unique_ptr<ByteStream> stream, const DumpOptions &options)
    : _stream(std::move(stream)), _options(options),
      _followed(_stream->argument() == kStandardInputArgument ? "" : _stream->argument(), options.follow),
      _is_plain(_stream->is_plain_file()), _is_packed(_stream->packing() != Packing::None),
      _is_judged(options.is_judged) {
    if (!_is_plain) {
        _to_skip = _options.skip;
        read_ahead();
        return;
    }
    const std::uint64_t begin =
        static_cast<std::uint64_t>(std::max<off_t>(0, lseek(_stream->descriptor(), 0, SEEK_CUR)));
    const bool is_to_grow = _options.follow != Follow::Nothing;
    const std::uint64_t skipped = std::min(_options.skip, _stream->file_size());
    _options.skip = is_to_grow ? std::min(_options.skip, kLargestSkip) : skipped;
    _start = begin + _options.skip;
    _file_size = _stream->file_size() - skipped;
    _has_known_end = ends_where_the_system_says();
    if (is_to_grow) {
        _interruption.emplace();
        return;
    }
    judge_file();
    if (_has_known_end && _file_size >= kReportSize) {
        _mapped.emplace(_stream->descriptor(), _start + _file_size);
    }
}

/** The files of /proc and /sys are regular, but have more or fewer bytes than their size says. */
bool DumpInput::ends_where_the_system_says() const {
    std::byte last{};
    const std::uint64_t place = _start + (_file_size == 0 ? 0 : _file_size - 1);
    const ssize_t count = pread(descriptor(), &last, 1, static_cast<off_t>(place));
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
    _buffer.resize(kBufferSize); // not before it is needed
    std::memmove(_buffer.data(), _buffer.data() + _given, _used - _given);
    _used -= _given;
    _given = 0;
    const std::size_t count = read_once(most_reports);
    if (count == 0) {
        if (_has_known_end && !is_followed() && _offset < _file_size) {
            fail_truncated(_offset);
        }
        if (!is_followed()) {
            judge({}, true);
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

std::size_t DumpInput::read_once(std::size_t most_reports) {
    const std::span<std::byte> room = std::span(_buffer).first(most_reports * kReportSize).subspan(_used);
    if (!_is_plain) {
        const std::size_t count = read_stream(room);
        judge(room.first(count), false);
        return count;
    }
    ssize_t count = -1;
    do {
        count = pread(descriptor(), room.data(), room.size(), static_cast<off_t>(_start + _offset));
    } while (count == -1 && errno == EINTR);
    if (count == -1) {
        fail(_offset, errno);
    }
    judge(room.first(static_cast<std::size_t>(count)), false);
    return static_cast<std::size_t>(count);
}

/** Reads what has been read ahead first, and nothing of what is skipped. */
std::size_t DumpInput::read_stream(std::span<std::byte> room) {
    while (_to_skip != 0) {
        const std::size_t count =
            _stream->read_some(room.first(static_cast<std::size_t>(std::min<std::uint64_t>(room.size(), _to_skip))));
        if (count == 0) {
            return 0;
        }
        _to_skip -= count;
    }
    if (_ahead_given == _ahead.size()) {
        return _stream->read_some(room);
    }
    const std::size_t count = std::min(room.size(), _ahead.size() - _ahead_given);
    std::copy_n(_ahead.begin() + static_cast<std::ptrdiff_t>(_ahead_given), count, room.begin());
    _ahead_given += count;
    return count;
}

std::optional<std::uint64_t> DumpInput::last_timestamp() const {
    if (!_is_packed || _stream->file_size() == 0) {
        return ReportInput::last_timestamp();
    }
    DumpInput again(std::make_unique<ByteStream>(_stream->argument()), {.skip = _options.skip, .is_judged = true});
    std::uint64_t timestamp = 0;
    try {
        while (const std::optional<ReportPiece> piece = again.read_next()) {
            timestamp = piece->count() != 0 ? piece->reports.back().timestamp() : timestamp;
        }
    } catch (const host::Error &) {
        // Told when it is read, behind all that is whole.
    }
    return timestamp;
}

// ---- whether this is a dump

/** Judges a plain file by its first bytes. One that cannot be read is an error later. */
void DumpInput::judge_file() {
    std::vector<std::byte> piece(static_cast<std::size_t>(std::clamp<std::uint64_t>(_file_size, 1, kBufferSize)));
    std::uint64_t offset = 0;
    while (!_is_judged) {
        const ssize_t count = pread(descriptor(), piece.data(), piece.size(), static_cast<off_t>(_start + offset));
        const auto size = static_cast<std::size_t>(std::max<ssize_t>(0, count));
        judge(std::span(piece).first(size), size == 0);
        offset += size;
    }
}

/** Judges a stream before anything of it is given, when it may be refused. */
void DumpInput::read_ahead() {
    std::vector<std::byte> piece(_options.refuses_doubtful ? kBufferSize : 0);
    std::vector<std::byte> ahead;
    while (!_is_judged && !piece.empty()) {
        const std::size_t count = read_stream(piece);
        ahead.insert(ahead.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
        judge(std::span(piece).first(count), count == 0);
    }
    _ahead = std::move(ahead);
}

void DumpInput::judge(std::span<const std::byte> bytes, bool is_end) {
    if (_is_judged) {
        return;
    }
    _plausibility.add(bytes);
    if (!is_end && _plausibility.wants_more()) {
        return;
    }
    _is_judged = true;
    const std::optional<Doubt> doubt = _plausibility.doubt();
    _plausibility = {};
    if (doubt && _options.refuses_doubtful) {
        throw host::Error(name(), "", doubt_text(*doubt, _options.skip));
    }
    if (doubt) {
        print_message("qorstat: " + name() + ": " + doubt_text(*doubt, _options.skip));
    }
}

// ---- a file that is followed

/** @return false when the file is not followed or no longer. */
bool DumpInput::wait_for_growth() {
    if (!_interruption) {
        return false;
    }
    struct stat status {};
    if (fstat(descriptor(), &status) == -1) {
        fail(_offset, errno);
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    // What is skipped need not be there.
    if (_has_known_end && size < (_offset == 0 ? _start - _options.skip : _start + _offset)) {
        return go_on_after_cut(size);
    }
    if (const int next = _followed.look(descriptor(), _used); next != -1) {
        _replacing.emplace(next);
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
        throw host::Error(name(), "byte " + std::to_string(size), "the file was truncated while it was being followed");
    }
    read_from_start();
    return true;
}

void DumpInput::read_from_start() {
    _start = _options.skip;
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
        const ssize_t count = pread(descriptor(), bytes.data(), bytes.size(), static_cast<off_t>(_start + offset));
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
    throw host::Error(name(), offset == 0 ? "" : "byte " + std::to_string(offset),
                      std::generic_category().message(error));
}

void DumpInput::fail_truncated(std::uint64_t offset) const {
    throw host::Error(name(), "byte " + std::to_string(offset), "the file was truncated while it was being read");
}

} // namespace cli
