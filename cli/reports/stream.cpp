#include "cli/reports/stream.h"

#include <algorithm>
#include <utility>

#include "cli/arguments/wrong_use.h"
#include "cli/dumps/open_input.h"

namespace cli {
namespace {

/** When inputs are merged, the first and the last are chosen afterwards. */
Selection selection_of_a_source(const StreamOptions &options) {
    Selection selection = options.selection;
    if (options.merges_by_time) {
        if (selection.context || selection.around) {
            throw WrongUse(std::string("--merge-by excludes ") + (selection.around ? "--around" : "--context"));
        }
        const ReportSelector possible(selection); // the whole makes sense
        selection.first.reset();
        selection.last.reset();
    }
    return selection;
}

} // namespace

ReportStream::ReportStream(InputSequence inputs, const StreamOptions &options)
    : _inputs(std::move(inputs)), _is_single(_inputs.is_one_file()), _options(options),
      _selector(selection_of_a_source(options)) {
    if (_options.merges_by_time) {
        start_merge();
    } else if (_options.selection.last) {
        find_last(*_options.selection.last);
    }
    if (!_merge) {
        open_next();
    }
}

bool ReportStream::next(ReportBlock &block) {
    const bool is_filled =
        _merge ? _merge->next(block) : read([&](ReportSource &source) { return source.next(block); });
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
    if (_tails) {
        is_added = is_added && std::all_of(_tails->begin(), _tails->end(), [&](const Tail &tail) {
                       return !tail.source || tail.source->observe(observer);
                   });
    }
    if (_merge) {
        _merge->for_each_open([&](ReportSource &source) { is_added = source.observe(observer) && is_added; });
    }
    _observer = is_added ? observer : ReportObserver();
    return is_added;
}

void ReportStream::watch(ReadingWatcher watcher) {
    _watcher = [this, watcher = std::move(watcher)](std::uint64_t bytes_read) { watcher(_bytes_before + bytes_read); };
    if (_source) {
        _source->watch(_watcher);
    }
    if (_merge) {
        _merge->for_each_open([this](ReportSource &source) { source.watch(_watcher); });
    }
}

std::uint64_t ReportStream::size() const { return _is_single && _source ? _source->input().size() : 0; }

std::size_t ReportStream::opened_count() const {
    const std::lock_guard lock(_mutex);
    return _opened.size();
}

std::string ReportStream::name_of(std::size_t input) const { return opened(input).name; }

const ReportStream::Opened &ReportStream::opened(std::size_t number) const {
    const std::lock_guard lock(_mutex);
    return _opened[number]; // stays where it is
}

DumpOptions ReportStream::dump_options() const {
    return {.follow = _options.selection.follow, .skip = _options.skip, .refuses_doubtful = _options.refuses_doubtful};
}

SourceOptions ReportStream::source_options(std::size_t number) const {
    SourceOptions options{.number = number, .with_offsets = _options.with_offsets};
    if (_options.merges_by_time) {
        options.most_reports = TimeMerge::kReportsOfASource;
    }
    return options;
}

/** Opens the next input that can be read. @return null at the end. */
std::unique_ptr<ReportSource> ReportStream::open_new(std::optional<std::uint64_t> last) {
    while (std::optional<Input> input = _inputs.next()) {
        try {
            const Opened opened{input->stream->argument(), input->stream->name(), input->stream->file_size() != 0};
            const bool is_in_folder = input->is_in_folder();
            std::unique_ptr<ReportInput> reports = open_reports(std::move(input->stream), dump_options());
            if (!reports && is_in_folder) {
                _inputs.pass_over(*input);
                continue;
            }
            if (!reports) {
                throw host::Error(opened.name, "", "has no reports");
            }
            SourceOptions options = source_options(_opened.size());
            options.last = last;
            auto source = std::make_unique<ReportSource>(std::move(reports), _selector, options);
            const std::lock_guard lock(_mutex);
            _opened.push_back(opened);
            return source;
        } catch (const host::Error &error) {
            _inputs.report(error);
        }
    }
    return nullptr;
}

/** @throws host::Error. */
std::unique_ptr<ReportSource> ReportStream::open_again(std::size_t number, const SourceOptions &options) {
    DumpOptions dump = dump_options();
    dump.is_judged = true;
    std::unique_ptr<ReportInput> reports = open_reports(std::make_unique<ByteStream>(opened(number).argument), dump);
    if (!reports) {
        throw host::Error(opened(number).name, "", "was replaced while it was being read");
    }
    return std::make_unique<ReportSource>(std::move(reports), _selector, options);
}

/** Finds the inputs that have some of the last reports. */
void ReportStream::find_last(std::uint64_t count) {
    std::deque<Tail> &tails = _tails.emplace();
    std::uint64_t sum = 0;
    while (std::unique_ptr<ReportSource> source = open_new(count)) {
        const std::size_t number = _opened.size() - 1;
        const std::uint64_t found = source->last_count();
        sum += found;
        if (!_is_single && opened(number).can_be_opened_again) {
            source.reset();
        }
        tails.push_back({number, found, std::move(source)});
        while (tails.size() > 1 && sum - tails.front().count >= count) {
            sum -= tails.front().count;
            tails.pop_front();
        }
    }
    if (sum > count) {
        Tail &first = tails.front();
        first.count -= sum - count;
        if (first.source && !first.source->keep_fewer(first.count)) {
            throw WrongUse("--last with --context needs files: " + name_of(first.number) + " cannot be read twice");
        }
    }
}

void ReportStream::start_merge() {
    const auto reopen = [this](std::size_t number, std::uint64_t offset) {
        SourceOptions options = source_options(number);
        options.start = offset;
        std::unique_ptr<ReportSource> source = open_again(number, options);
        static_cast<void>(source->observe(_observer));
        source->watch(_watcher);
        return source;
    };
    _merge.emplace(
        TimeMerge::Hooks{reopen,
                         [this](std::size_t number, const ReportSource &source) { note_trailing(source, number); },
                         [this](const host::Error &error) { note_failure(error); }},
        TimeMerge::Limits{_options.selection.first, _options.selection.last});
    while (std::unique_ptr<ReportSource> source = open_new(std::nullopt)) {
        const std::size_t number = _opened.size() - 1;
        // The times of one that begins later would count from there.
        const bool can_be_opened_again = opened(number).can_be_opened_again &&
                                         source->input().can_be_read_backwards() && !_selector.needs().first_report;
        _merge->add(number, std::move(source), can_be_opened_again);
    }
}

/** @return false when there is no further input that can be read, or none is needed. */
bool ReportStream::open_next() {
    if (!_tails) {
        // Without any report wanted, one input is opened nevertheless: whether it can be.
        std::unique_ptr<ReportSource> source =
            _selector.wants_more() || _opened.empty() ? open_new(std::nullopt) : nullptr;
        if (source) {
            use(std::move(source), _opened.size() - 1);
        }
        return _source != nullptr;
    }
    while (!_source && !_tails->empty()) {
        Tail tail = std::move(_tails->front());
        _tails->pop_front();
        try {
            if (!tail.source) {
                SourceOptions options = source_options(tail.number);
                options.last = tail.count;
                tail.source = open_again(tail.number, options);
            }
            use(std::move(tail.source), tail.number);
        } catch (const host::Error &error) {
            note_failure(error);
        }
    }
    return _source != nullptr;
}

void ReportStream::use(std::unique_ptr<ReportSource> source, std::size_t number) {
    // What refuses an observer has refused it before: only what was read before it came.
    static_cast<void>(source->observe(_observer));
    source->watch(_watcher);
    _source = std::move(source);
    _number = number;
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
    note_trailing(*_source, _number);
    _bytes_before += std::max(_source->input().size(), _source->input().bytes_read());
    if (_is_single) {
        _ended = std::move(_source);
    }
    _source.reset();
}

void ReportStream::note_trailing(const ReportSource &source, std::size_t number) {
    if (const std::optional<TrailingBytes> trailing = source.trailing_bytes()) {
        _trailing.push_back({number, *trailing});
    }
}

/** Called while the error is handled. */
void ReportStream::note_failure(const host::Error &error) {
    if (_is_single) {
        throw;
    }
    _inputs.report(error);
}

} // namespace cli
