/** What reports are read from. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "cli/dumps/report_block.h"
#include "host/error.h"

namespace cli {

/** The bytes after the last whole report. */
struct TrailingBytes {
    std::uint64_t offset;
    std::size_t count; ///< 0 to 47
};

/** Reports that are read once, from the first to the last. All offsets count from the first. One thread at a time. */
class ReportInput {
public:
    /** The most reports in a piece. */
    static constexpr std::size_t kPieceReports = 1365;

    ReportInput() = default;
    ReportInput(const ReportInput &) = delete;
    ReportInput &operator=(const ReportInput &) = delete;
    virtual ~ReportInput() = default;

    /**
     * The next reports. The piece may be empty: then there are none yet.
     * @param most_reports  at most so many, 1 to `kPieceReports`.
     * @return nothing at the end or after an interruption. Do not call again after that.
     * @throws host::Error when reading fails, naming the input and the place.
     */
    std::optional<ReportPiece> read_next(std::size_t most_reports = kPieceReports) { return read_piece(most_reports); }

    /**
     * Checks a piece after its use.
     * @return false when bytes of it were missing, so that zeros may have been read. The next read then starts with the
     *         reports of that piece that are still there.
     */
    virtual bool keeps_last_piece() { return true; }
    /**
     * Reads on after a piece that was not kept.
     * @param end  of that piece.
     * @throws host::Error: tells what is wrong, and where.
     */
    [[noreturn]] virtual void fail_after_lost_piece(std::uint64_t end) {
        throw host::Error(name(), "byte " + std::to_string(end), "the reports before it were lost");
    }

    /** Whether the next piece is read in place: that neither fails nor waits for what others write. */
    virtual bool is_read_in_place() const = 0;

    /** Whether reports bring clocks of their own. */
    virtual bool has_clocks() const { return false; }

    /** Whether `start_at` and `find_backwards` work. */
    virtual bool can_be_read_backwards() const = 0;
    /** Continues at `offset`, a multiple of 48. Before the first read. */
    virtual void start_at(std::uint64_t offset) = 0;
    /**
     * Calls `is_wanted` with the reports and their offsets, from the last to the first, until it returns true or there
     * are no more.
     * @throws host::Error when reading fails; Interrupted.
     */
    virtual void find_backwards(
        const std::function<bool(const _QorProfileReport &report, std::uint64_t offset)> &is_wanted) const = 0;
    /** The end of the last whole report of an input that can be read backwards. */
    virtual std::uint64_t end_of_reports() const = 0;

    /**
     * The time stamp of the last report, or 0 when there is none; changes nothing of what is read next.
     * @return nothing when it is not known before everything else has been read.
     */
    virtual std::optional<std::uint64_t> last_timestamp() const {
        if (!can_be_read_backwards()) {
            return std::nullopt;
        }
        std::uint64_t timestamp = 0;
        find_backwards([&timestamp](const _QorProfileReport &report, std::uint64_t) {
            timestamp = report.timestamp();
            return true;
        });
        return timestamp;
    }

    /** The size in bytes, for showing progress; 0 when it is not known. */
    virtual std::uint64_t size() const = 0;
    /** How many of those bytes have been read. */
    virtual std::uint64_t bytes_read() const = 0;
    /** The bytes read after the last whole report so far. */
    virtual TrailingBytes trailing_bytes() const = 0;
    /** These bytes; they belong to the input, and are valid until its next call. */
    virtual std::span<const std::byte> trailing_content() const = 0;
    /** Whether an interruption came before the end of what there was to read. */
    virtual bool is_cut_short() const { return false; }

    /** For messages. */
    virtual const std::string &name() const = 0;

protected:
    virtual std::optional<ReportPiece> read_piece(std::size_t most_reports) = 0;
};

} // namespace cli
