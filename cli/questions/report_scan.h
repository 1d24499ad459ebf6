/** Reading the reports of recordings for a question: those that pass a test, in the order of files or by their ids. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "cli/dumps/clock.h"
#include "cli/dumps/input.h"
#include "cli/questions/kept_recordings.h"
#include "cli/questions/report_test.h"
#include "cli/questions/sqlite_table.h"

namespace cli {

/** What every table is read from. */
struct QuestionContext {
    KeptRecordings &recordings;
    const DumpClock &clock;
    const std::function<void()> &look; ///< called between pieces, to throw
    std::uint64_t memory;              ///< bytes that a scan may take, about
};

/** Some reports of one recording. */
struct ReportRows {
    std::size_t recording = 0;
    std::vector<_QorProfileReport> reports;
    std::uint64_t first = 0;                   ///< the number of the first report in its recording, from 0
    std::vector<std::uint64_t> numbers;        ///< of each report; empty when they follow one another
    std::vector<decoder::device_clock> clocks; ///< of each report; empty when the recording brings none
    std::uint64_t times = 1;                   ///< each report stands for so many that do not differ

    std::uint64_t number_of(std::size_t index) const { return numbers.empty() ? first + index : numbers[index]; }

    void clear() {
        reports.clear();
        numbers.clear();
        clocks.clear();
    }
};

/** Gives the reports that pass, one recording after another. What is damaged is named, and the rest is read. */
class ReportScan {
public:
    /** @param which  of the recordings, all with reports. @param test  outlives the scan. */
    ReportScan(QuestionContext context, std::vector<std::size_t> which, ReportTest &test)
        : _context(context), _which(std::move(which)), _test(test) {}

    /** The next ones. They were copied, and do not change. @return false, without any, at the end. */
    bool next(ReportRows &rows);

private:
    bool open_next();
    void read(ReportRows &rows);
    void take(const ReportPiece &piece, ReportRows &rows);

    QuestionContext _context;
    std::vector<std::size_t> _which;
    std::size_t _opened = 0; ///< so many of `_which`
    ReportTest &_test;
    std::unique_ptr<ReportInput> _input;
};

/**
 * Gives the reports that pass ordered by ids, names and recordings, in at most so much memory as the context says: it
 * counts them first, and then reads as many groups at once as there is room for. A group that is too large for that is
 * read by itself.
 */
class OrderedScan {
public:
    /** Whether reports can be ordered by this column. */
    static constexpr bool orders_by(int column) {
        return is_of_recording(column) || (report_column("category") <= column && column <= report_column("type_id"));
    }

    /**
     * @param order        by such columns; not empty.
     * @param only_groups  nothing else is read of the reports: each group is given once, with the number of its
     * reports.
     */
    OrderedScan(QuestionContext context, std::vector<std::size_t> which, ReportTest &test,
                const std::vector<OrderTerm> &order, bool only_groups);

    /** The next ones, without numbers. @return false at the end. */
    bool next(ReportRows &rows);

private:
    /** Reports with the same ids, of one recording where the order asks for it. */
    struct Group {
        std::size_t recording;
        std::uint32_t header;
        std::uint64_t count;
        std::vector<_QorProfileReport> reports{}; ///< when they have been read
    };
    using Key = std::pair<std::size_t, std::uint32_t>; ///< recording and header

    /** Finds the number that a key has been given. One after another mostly have the same few keys. */
    class Index {
    public:
        /** @return nothing for a new key when there are none to be added. */
        std::size_t *find(const Key &key) {
            Slot *slot = slot_of(key);
            return slot->number == kNoNumber ? nullptr : &slot->number;
        }
        void add(const Key &key, std::size_t number);

    private:
        static constexpr std::size_t kNoNumber = static_cast<std::size_t>(-1);
        struct Slot {
            Key key{};
            std::size_t number = kNoNumber;
        };

        Slot *slot_of(const Key &key);

        std::vector<Slot> _slots = std::vector<Slot>(1024); ///< a power of two, at most half of them used
        std::size_t _used = 0;
    };

    static constexpr bool is_of_recording(int column) {
        return column == report_column("device") || column == report_column("dump");
    }
    Key key_of(std::size_t recording, const _QorProfileReport &report) const {
        return {_has_recordings ? recording : 0, report.header()};
    }
    void count_groups();
    void sort_groups(const std::vector<OrderTerm> &order);
    void read_batch();

    QuestionContext _context;
    std::vector<std::size_t> _which;
    ReportTest &_test;
    bool _has_recordings; ///< they are in the order
    bool _only_groups;
    std::vector<Group> _groups;       ///< in order
    Index _index;                     ///< into `_groups`
    std::size_t _next = 0;            ///< group to give
    std::size_t _batch_end = 0;       ///< groups before it have been read
    std::optional<ReportScan> _large; ///< reads the group before `_next`
};

} // namespace cli
