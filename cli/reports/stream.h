/** The selected reports of all inputs of a command line. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "cli/dumps/dump_input.h"
#include "cli/dumps/report_block.h"
#include "cli/inputs/input_sequence.h"
#include "cli/reports/selection.h"
#include "cli/reports/source.h"
#include "cli/reports/time_merge.h"
#include "host/error.h"

namespace cli {

/** What a stream gives, and in which order. */
struct StreamOptions {
    Selection selection{};
    std::uint64_t skip = 0;        ///< bytes at the start of each dump
    bool refuses_doubtful = false; ///< what does not look like a dump cannot be read
    bool with_offsets = false;     ///< blocks have offsets
    bool merges_by_time = false;   ///< by the wall-clock time where every report has a clock of its own
};

/** The bytes of a partial report at the end of an input. */
struct TrailingInput {
    std::size_t input; ///< its number
    TrailingBytes bytes;
};

/**
 * Reads inputs and gives their selected reports: one input after the other, or merged by time. The first N and the last
 * N are those of all inputs together, in that order. One thread at a time, but for `name_of`.
 *
 * Of several inputs, one that cannot be read does not keep the others from being read: it is named on standard error.
 * A single one that cannot be opened is named as well; one that fails later is an error.
 */
class ReportStream {
public:
    /**
     * Opens the first input that can be read; all of them when they are merged or their last reports are selected.
     * @throws WrongUse for a selection that makes no sense; Interrupted.
     */
    ReportStream(InputSequence inputs, const StreamOptions &options);

    /**
     * The next selected reports, as `ReportSource::next`. All of a block are of one input unless inputs are merged.
     * @return false, with an empty block, at the end of the last input.
     * @throws host::Error when reading the single input fails. All reports before it have been given.
     */
    bool next(ReportBlock &block);

    /** The same as `ReportSource::next_in_place`. Not together with `next`, nor for merging. @return empty at the end.
     */
    ReportPiece next_in_place(ReportBlock &room);

    /**
     * As `ReportSource::observe`, for all inputs; the piece tells which. When inputs are merged, reports are seen when
     * they are read, which is before others are given that come before them.
     */
    [[nodiscard]] bool observe(const ReportObserver &observer);

    /**
     * Adds the watcher, which is called before every read with the number of bytes that have been read of all inputs;
     * when they are merged, of the one that is read.
     */
    void watch(ReadingWatcher watcher);

    /** The size of a single input, as far as it is known; 0 for several. */
    std::uint64_t size() const;

    /** Of the inputs that were read to their end: those that end with a partial report. */
    const std::vector<TrailingInput> &trailing() const { return _trailing; }
    /** Whether something could not be read, or not to its end. */
    bool has_failed() const { return _inputs.has_failed(); }
    /** Whether an input could be opened so far. */
    bool has_opened_any() const { return opened_count() != 0; }
    std::size_t opened_count() const;
    /** Whether there is but one input, and no folder. */
    bool is_single() const { return _is_single; }
    /** As `InputSequence::may_wait`. */
    bool may_wait() const { return _inputs.may_wait(); }

    /** For messages. Any thread. @param input  its number, from 0. */
    std::string name_of(std::size_t input) const;

private:
    /** An input with some of the last reports. */
    struct Tail {
        std::size_t number;
        std::uint64_t count;
        std::unique_ptr<ReportSource> source; ///< null when it can be opened again
    };
    /** What is known of an input after it has been opened. */
    struct Opened {
        std::string argument;
        std::string name;
        bool can_be_opened_again;
    };

    std::unique_ptr<ReportSource> open_new(std::optional<std::uint64_t> last);
    std::unique_ptr<ReportSource> open_again(std::size_t number, const SourceOptions &options);
    SourceOptions source_options(std::size_t number) const;
    DumpOptions dump_options() const;
    const Opened &opened(std::size_t number) const;
    void find_last(std::uint64_t count);
    void start_merge();
    bool open_next();
    void use(std::unique_ptr<ReportSource> source, std::size_t number);
    void close_source();
    void note_trailing(const ReportSource &source, std::size_t number);
    void note_failure(const host::Error &error);
    bool read(const std::function<bool(ReportSource &source)> &read_source);

    InputSequence _inputs;
    bool _is_single;
    StreamOptions _options;
    ReportSelector _selector;
    ReportObserver _observer;
    ReadingWatcher _watcher;

    mutable std::mutex _mutex;  ///< guards what `name_of` reads
    std::deque<Opened> _opened; ///< by the number of the input

    std::optional<std::deque<Tail>> _tails; ///< with `last`: the inputs that have some of the last reports
    std::optional<TimeMerge> _merge;
    std::unique_ptr<ReportSource> _source;
    /** The only one: if it was followed, a signal is for it until its last reports are written. */
    std::unique_ptr<ReportSource> _ended;
    std::size_t _number = 0;         ///< of the input of `_source`
    std::uint64_t _bytes_before = 0; ///< of the inputs that have been read
    std::vector<TrailingInput> _trailing;
};

} // namespace cli
