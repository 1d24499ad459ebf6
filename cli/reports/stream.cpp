#include "cli/reports/stream.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>

#include "cli/reports/dump_input.h"
#include "cli/terminal/input.h"
#include "cli/terminal/output.h"

namespace cli {

ReportStream::ReportStream(std::vector<std::string> arguments, const StreamOptions &options)
    : _arguments(std::move(arguments)), _options(options), _selector(options.selection) {
    if (_options.selection.last) {
        find_last(*_options.selection.last);
    }
    open_next();
}

bool ReportStream::next(ReportBlock &block) {
    const bool is_filled = read([&](ReportSource &source) { return source.next(block); });
    if (!is_filled) {
        block.clear();
    }
    return is_filled;
}

ReportPiece ReportStream::next_in_place(ReportBlock &room) {
    ReportPiece piece;
    read([&](ReportSource &source) {
        piece = source.next_in_place(room);
        return !piece.reports.empty();
    });
    return piece;
}

bool ReportStream::observe(const ReportObserver &observer) {
    bool is_added = !_source || _source->observe(observer);
    for (const std::unique_ptr<ReportSource> &source : _read_before) {
        is_added = is_added && (!source || source->observe(observer));
    }
    _observer = is_added ? observer : ReportObserver();
    return is_added;
}

void ReportStream::watch(ReadingWatcher watcher) {
    _watcher = [this, watcher = std::move(watcher)](std::uint64_t bytes_read) { watcher(_bytes_before + bytes_read); };
    if (_source) {
        _source->watch(_watcher);
    }
}

std::uint64_t ReportStream::size() const {
    if (_arguments.size() == 1) {
        return _source ? _source->input().size() : 0;
    }
    std::uint64_t sum = 0;
    for (const std::string &argument : _arguments) {
        struct stat status {};
        sum += stat(argument.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    }
    return sum;
}

std::string ReportStream::name_of(std::size_t input) const { return input_name(_arguments[input]); }

std::unique_ptr<ReportSource> ReportStream::open(std::size_t number, std::optional<std::uint64_t> last) {
    return std::make_unique<ReportSource>(
        std::make_unique<DumpInput>(_arguments[number], _options.selection.follow), _selector,
        SourceOptions{.number = number, .last = last, .with_offsets = _options.with_offsets});
}

/** Finds how many of the last reports each input has, from the last input backwards. */
void ReportStream::find_last(std::uint64_t count) {
    _last_counts.resize(_arguments.size());
    _read_before.resize(_arguments.size());
    _next = _arguments.size();
    do {
        --_next;
        try {
            std::unique_ptr<ReportSource> source = open(_next, count);
            _last_counts[_next] = source->last_count();
            count -= source->last_count();
            if (_arguments.size() == 1 || !source->input().can_be_read_backwards()) {
                _read_before[_next] = std::move(source);
            }
        } catch (const host::Error &error) {
            note_failure(error);
        }
    } while (_next != 0 && count != 0);
}

/** @return false when there is no further input that can be read, or none is needed. */
bool ReportStream::open_next() {
    for (; _next != _arguments.size() && (_selector.wants_more() || !_has_opened_any); ++_next) {
        _source = open_or_note(_next);
        if (_source) {
            // What refuses an observer has refused it before: only what was read before it came.
            static_cast<void>(_source->observe(_observer));
            _source->watch(_watcher);
            _has_opened_any = true;
            ++_next;
            return true;
        }
    }
    return false;
}

/** @return null for an input that cannot be read, now or when its last reports were looked for. */
std::unique_ptr<ReportSource> ReportStream::open_or_note(std::size_t number) {
    try {
        if (_last_counts.empty()) {
            return open(number, std::nullopt);
        }
        if (_read_before[number]) {
            return std::move(_read_before[number]);
        }
        return _last_counts[number] ? open(number, _last_counts[number]) : nullptr;
    } catch (const host::Error &error) {
        note_failure(error);
        return nullptr;
    }
}

bool ReportStream::read(const std::function<bool(ReportSource &source)> &read_source) {
    while (_source || open_next()) {
        try {
            if (read_source(*_source)) {
                return true;
            }
            close_source();
        } catch (const host::Error &error) {
            _source.reset();
            note_failure(error);
        }
    }
    return false;
}

void ReportStream::close_source() {
    if (const std::optional<TrailingBytes> trailing = _source->trailing_bytes()) {
        _trailing.push_back({_next - 1, *trailing});
    }
    _bytes_before += std::max(_source->input().size(), _source->input().bytes_read());
    _source.reset();
}

void ReportStream::note_failure(const host::Error &error) {
    if (_arguments.size() == 1) {
        throw; // called while it is handled
    }
    print_message("qorstat: " + std::string(error.what()));
    _has_failed = true;
}

} // namespace cli
