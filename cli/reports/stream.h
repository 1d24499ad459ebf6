/** The selected reports of all inputs of a command line. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/reports/report_block.h"
#include "cli/reports/selection.h"
#include "cli/reports/source.h"
#include "host/error.h"

namespace cli {

/** What a stream gives, and in which order. */
struct StreamOptions {
    Selection selection{};
    bool with_offsets = false; ///< blocks have offsets
};

/** The bytes of a partial report at the end of an input. */
struct TrailingInput {
    std::size_t input; ///< its number
    TrailingBytes bytes;
};

/**
 * Reads inputs one after the other and gives their selected reports. The first N and the last N are those of all inputs
 * together. One input at a time is open, except those that `last` has read already because they cannot be read
 * backwards. One thread at a time.
 *
 * Of several inputs, one that cannot be read does not keep the others from being read: it is named on standard error.
 * A single one that cannot be read is an error.
 */
class ReportStream {
public:
    /**
     * Opens the first input that can be read.
     * @param arguments  files, or "-" for standard input; at least one.
     * @throws host::Error for a single input that cannot be read, WrongUse for a selection that makes no sense.
     */
    ReportStream(std::vector<std::string> arguments, const StreamOptions &options);

    /**
     * The next selected reports, as `ReportSource::next`. All of a block are of one input.
     * @return false, with an empty block, at the end of the last input.
     * @throws host::Error when reading the single input fails. All reports before it have been given.
     */
    bool next(ReportBlock &block);

    /** The same as `ReportSource::next_in_place`. Not together with `next`. @return empty at the end. */
    ReportPiece next_in_place(ReportBlock &room);

    /** As `ReportSource::observe`, for all inputs; the piece tells which. */
    [[nodiscard]] bool observe(const ReportObserver &observer);

    /** Adds the watcher, which is called before every read with the number of bytes that have been read of all inputs.
     */
    void watch(ReadingWatcher watcher);

    /** The size of all inputs together, as far as it is known. */
    std::uint64_t size() const;

    /** Of the inputs that were read to their end: those that end with a partial report. */
    const std::vector<TrailingInput> &trailing() const { return _trailing; }
    /** Whether an input could not be read, or not to its end. */
    bool has_failed() const { return _has_failed; }
    /** Whether an input can be read, or could. */
    bool has_opened_any() const { return _has_opened_any; }

    std::size_t input_count() const { return _arguments.size(); }
    /** For messages. @param input  its number, from 0. */
    std::string name_of(std::size_t input) const;

private:
    std::unique_ptr<ReportSource> open(std::size_t number, std::optional<std::uint64_t> last);
    void find_last(std::uint64_t count);
    bool open_next();
    std::unique_ptr<ReportSource> open_or_note(std::size_t number);
    void close_source();
    void note_failure(const host::Error &error);
    bool read(const std::function<bool(ReportSource &source)> &read_source);

    std::vector<std::string> _arguments;
    StreamOptions _options;
    ReportSelector _selector;
    ReportObserver _observer;
    ReadingWatcher _watcher;
    /** Of each input, how many of the last; nothing when it cannot be read. Empty without `last`. */
    std::vector<std::optional<std::uint64_t>> _last_counts;
    std::vector<std::unique_ptr<ReportSource>> _read_before; ///< by input: what `last` has read; empty without it
    std::size_t _next = 0;                                   ///< the input to be opened next
    std::unique_ptr<ReportSource> _source;                   ///< of the input before it
    std::uint64_t _bytes_before = 0;                         ///< of the inputs that have been read
    std::vector<TrailingInput> _trailing;
    bool _has_failed = false;
    bool _has_opened_any = false;
};

} // namespace cli
