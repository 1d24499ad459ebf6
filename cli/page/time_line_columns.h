/** What a script of the page reads of one recording. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/dumps/owner_names.h"
#include "cli/page/time_line.h"
#include "cli/terminal/json_value.h"

namespace cli {

/** The reports of a recording with the same four ids. */
struct ReportKind {
    std::uint32_t header;              ///< as `_QorProfileReport::header`; of others the first one
    bool is_others;                    ///< whether these are the reports of all kinds beyond the limit
    std::vector<std::uint32_t> places; ///< of its reports, in the order of time
};

/**
 * A recording as columns. Reports are in the order of time here: by the axis, which counts microseconds from the first
 * report, and on which stretches follow one another without a distance.
 */
class TimeLineColumns {
public:
    static constexpr std::size_t kKindsAtMost = 4096;
    static constexpr std::size_t kFunctionsAtMost = 4096; ///< with the first one, which stands for all others
    static constexpr std::size_t kThreadsAtMost = 64;     ///< the same
    static constexpr std::size_t kDepthsAtMost = 32;      ///< deeper slices are drawn in the last row
    static constexpr std::size_t kBuckets = 512;          ///< of an overview

    /**
     * @param recording       must live as long as the object.
     * @param stride          of the reports that are kept.
     * @param names           must live as long as the object.
     * @param series_at_most  how many curves have an overview, where payloads are left out.
     */
    TimeLineColumns(const TimeLineRecording &recording, std::uint64_t stride, const OwnerNames &names,
                    std::size_t series_at_most);

    const std::vector<ReportKind> &kinds() const { return _kinds; }

    /**
     * Of each report in the order of time, a column after the other: the distance on the axis to the one before, the
     * kind, the number's distance to what was to be expected, and so the index in the recording. Where the axis has no
     * place for every time stamp also the low and the high 32 bits of these.
     */
    std::string reports() const;

    /**
     * The slices of functions, by thread and depth, then by time, as columns: the distance of its report's place to
     * that of the slice before (signed), the length, the function, and by how much it ends before its report's time.
     */
    std::string slices() const { return _slices; }

    /**
     * Of every kind the payloads of its chosen reports, a byte of all of them after the other.
     * @param chosen  by kind, how many. They are spread evenly: the report i of n is one of m when
     *                floor((i + 1) * m / n) is not floor(i * m / n).
     */
    std::string payloads(const std::vector<std::size_t> &chosen) const;

    /** Curves of kinds of which not all payloads are chosen: least and greatest values by bucket, as 32-bit floats. */
    std::string overviews(const std::vector<std::size_t> &chosen) const;

    /** Everything else, as docs/report.md describes it. */
    Json facts(const std::vector<std::size_t> &chosen) const;

private:
    const _QorProfileReport &report(std::size_t place) const { return _recording.reports[_order[place]]; }
    const _QorProfileReport &first_of(const ReportKind &kind) const { return report(kind.places.front()); }

    void place_stretches();
    void order_reports();
    void find_kinds();
    void cut_slices();

    std::uint64_t index_of(std::size_t kept) const { return kept * _stride; }
    std::size_t stretch_of(std::uint64_t index) const;
    std::uint64_t axis_of(std::uint64_t time, std::size_t stretch) const;
    std::vector<std::size_t> overview_kinds(const std::vector<std::size_t> &chosen) const;

    Json kinds_json(const std::vector<std::size_t> &chosen) const;
    Json stretches_json() const;
    Json breaks_json() const;
    Json value_names(const std::vector<std::size_t> &chosen) const;
    Json subject_names() const;

    const TimeLineRecording &_recording;
    const std::uint64_t _stride;
    const OwnerNames &_names;
    const std::size_t _series_at_most;
    std::vector<std::uint64_t> _offsets; ///< of stretches on the axis
    std::uint64_t _length = 0;           ///< of the axis
    bool _is_exact = true;               ///< whether the axis has a place of its own for every time stamp
    std::vector<std::uint32_t> _order;   ///< by place, the kept report
    std::vector<std::uint64_t> _axis;    ///< by place
    std::vector<ReportKind> _kinds;
    std::vector<std::uint16_t> _kind_of; ///< by place
    std::string _slices;
    Json _threads = Json::array();
    Json _functions = Json::array();
};

} // namespace cli
