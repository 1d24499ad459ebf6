/** Where the reports of one input are selected. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/dumps/input.h"
#include "cli/dumps/report_block.h"
#include "cli/reports/around.h"
#include "cli/reports/report_windows.h"
#include "cli/reports/selection.h"
#include "cli/reports/time_limits.h"
#include "qor/report.h"

namespace cli {

/** Called with the whole reports that are read, selected or not, in their order. */
using ReportObserver = std::function<void(const ReportPiece &piece)>;

/** Called with the number of bytes read so far. */
using ReadingWatcher = std::function<void(std::uint64_t bytes_read)>;

/** What a source gives besides what its selector lets pass. */
struct SourceOptions {
    std::size_t number = 0;              ///< of the input among all inputs
    std::optional<std::uint64_t> last{}; ///< at most so many, from the end
    bool with_offsets = false;           ///< blocks have offsets
    std::uint64_t start = 0;             ///< where reading begins, in the input; only if it can be read backwards
    std::size_t most_reports = ReportInput::kPieceReports; ///< of a block
};

/** Reads an input once from its start to its end and gives the selected reports. One thread at a time. */
class ReportSource {
public:
    /**
     * @param selector  shared by all inputs; belongs to the caller, and outlives the source. An input whose last
     * reports are selected is read here unless it can be read backwards.
     * @throws host::Error for an input that cannot be read, WrongUse for a selection that makes no sense.
     */
    ReportSource(std::unique_ptr<ReportInput> input, ReportSelector &selector, const SourceOptions &options);

    /** The most reports that `next` gives at once, unless the options say fewer. */
    static constexpr std::size_t kBlockReports = ReportInput::kPieceReports;

    /**
     * The next selected reports, as soon as there are any: does not wait for more than a pipe holds already.
     * @param block  refilled; its memory is used again.
     * @return false, with an empty block, at the end.
     * @throws host::Error when reading fails, naming the byte. All reports before it have been given.
     */
    bool next(ReportBlock &block);

    /**
     * The same without a copy where there is no filter: other processes may change the reports while they are used.
     * Not together with `next`.
     * @param room  for those that are copied.
     * @return valid until the next call; empty at the end. Its offset means nothing: there may be others between them.
     * @throws host::Error also when the file was truncated while the last ones were used, which may have been zeros
     * then.
     */
    ReportPiece next_in_place(ReportBlock &room);

    /**
     * Adds the observer. It sees every report from the first selected one of `last` on, or from the first of the input,
     * before those that are selected among them are given, on the thread that reads. What it sees while `next` reads
     * does not change any more. Before the first reading; there is one observer at most.
     * @return false, and adds nothing, for the last reports of a pipe that pass a filter: the reports between them are
     *         not kept.
     */
    [[nodiscard]] bool observe(ReportObserver observer);

    /** Of the input's last reports that were wanted: how many there are. */
    std::uint64_t last_count() const { return _last_count; }
    /**
     * Wants fewer of the last reports, before any reading, of an input that was read for them.
     * @return false, and changes nothing, when they are shown with others around them.
     */
    bool keep_fewer(std::uint64_t count);

    /** Adds the watcher, called before every read from now on, including those that find the end. */
    void watch(ReadingWatcher watcher) { _watcher = std::move(watcher); }

    /** After the end: the bytes of a partial report. Nothing when reading ended before the input did. */
    std::optional<TrailingBytes> trailing_bytes() const;

    const ReportInput &input() const { return *_input; }

private:
    bool needs_windows() const;
    void open_windows();
    void measure_end();
    void measure_times();
    void begin(const ReportPiece &piece);
    bool wants_more() const;
    bool next_of_windows(ReportBlock &block);
    void read_windows();
    void add_to_windows(const ReportPiece &piece, std::size_t index);
    void start_at(std::uint64_t offset);
    void start_at_last(std::uint64_t count);
    void keep_last(std::uint64_t count);
    void give_kept(ReportBlock &block);
    std::optional<ReportPiece> read_piece(std::size_t most_reports);
    void read_selected(ReportBlock &block);
    ReportPiece read_in_place(ReportBlock &room);
    void require_last_piece();
    void show(const ReportPiece &piece) const;

    ReportSelector &_selector;
    std::unique_ptr<ReportInput> _input;
    SourceOptions _options;
    ReportObserver _observer;
    ReadingWatcher _watcher;
    std::vector<_QorProfileReport> _seen; ///< a copy of a piece that does not change any more
    LastReports _kept{0};                 ///< of an input that cannot be read backwards
    std::uint64_t _last_count = 0;
    bool _has_ended = false;

    TimeOrigins _origins;
    TimeLimits _limits;
    std::optional<AroundInInput> _around;
    std::optional<ReportWindows> _windows; ///< when more than the chosen reports is kept or shown
    bool _has_begun = false;               ///< the first report has been seen
};

} // namespace cli
