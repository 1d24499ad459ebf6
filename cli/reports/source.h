/** The selected reports of a dump, in order and in blocks, with observers of the reading. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/reports/input.h"
#include "cli/reports/selection.h"
#include "qor/report.h"

namespace cli {

/** Reads a dump once from its start to its end and gives the selected reports. One thread at a time. */
class ReportSource {
public:
    /** Called with the whole reports that are read, selected or not, in their order. */
    using Observer = std::function<void(const ReportPiece &piece)>;
    /** Called with the number of bytes read so far. */
    using Watcher = std::function<void(std::uint64_t bytes_read)>;

    /**
     * @param argument  a file, or "-" for standard input. A pipe whose last reports are selected is read here.
     * @throws host::Error for an input that cannot be read, WrongUse for a selection that makes no sense.
     */
    ReportSource(const std::string &argument, const Selection &selection);

    /** The most reports that `next` gives at once. */
    static constexpr std::size_t kBlockReports = ReportInput::kPieceReports;

    /**
     * The next selected reports, as soon as there are any: does not wait for more than a pipe holds already.
     * @param block  refilled; its memory is used again.
     * @return false, with an empty block, at the end.
     * @throws host::Error when reading fails, naming the byte. All reports before it have been given.
     */
    bool next(std::vector<_QorProfileReport> &block);

    /**
     * The same without a copy where there is no filter: other processes may change the reports while they are used.
     * Not together with `next`.
     * @param room  for those that are copied.
     * @return valid until the next call; empty at the end.
     * @throws host::Error also when the file was truncated while the last ones were used, which may have been zeros
     * then.
     */
    std::span<const _QorProfileReport> next_in_place(std::vector<_QorProfileReport> &room);

    /**
     * Adds the observer, which sees every report from the first selected one of `last` on, or from the first of the
     * dump, while `next_in_place` reads. Before its first call.
     * @throws WrongUse for the last reports of a pipe that pass a filter: the reports between them are not kept.
     */
    void observe(Observer observer);

    /** Adds the watcher, called before every read from now on, including those that find the end. */
    void watch(Watcher watcher) { _watcher = std::move(watcher); }

    /** After the end: the bytes of a partial report. Nothing when reading ended before the input did. */
    std::optional<TrailingBytes> trailing_bytes() const;

    /** The size of a regular file; 0 for anything else. */
    std::uint64_t file_size() const { return _input.file_size(); }

    /** For messages. */
    const std::string &name() const { return _input.name(); }

private:
    std::uint64_t offset_of_last(std::uint64_t count) const;
    void keep_last(std::uint64_t count);
    void give_kept(std::vector<_QorProfileReport> &block);
    std::optional<ReportPiece> read_piece(std::size_t most_reports);
    void read_selected(std::vector<_QorProfileReport> &block);
    std::span<const _QorProfileReport> read_in_place(std::vector<_QorProfileReport> &room);
    void require_last_piece();
    void show(const ReportPiece &piece) const;

    ReportSelector _selector;
    ReportInput _input;
    Observer _observer;
    Watcher _watcher;
    LastReports _kept{0}; ///< of a pipe
    bool _has_ended = false;
};

} // namespace cli
