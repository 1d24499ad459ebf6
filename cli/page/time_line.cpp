#include "cli/page/time_line.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "cli/page/payload_tables.h"
#include "cli/page/time_line_columns.h"
#include "cli/terminal/json_text.h"

namespace cli {
namespace {

/** Of zlib. More makes a page a few percent smaller and takes twice the time. */
constexpr int kLevel = 6;

/** Curves of which an overview is kept. */
constexpr std::size_t kSeriesAtMost = 96;

/** How many payloads of each kind are kept. */
using Chosen = std::vector<std::vector<std::size_t>>; // by recording, then by kind

/** Keeps every `stride`th of the reports that were kept, which is a power of two. */
template <typename Element>
void keep_every_second(std::vector<Element> &elements) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < elements.size(); i += 2) {
        elements[kept++] = elements[i];
    }
    elements.resize(kept);
}

/** Leaves the first `count` breaks and as many stretches. The last stretch becomes what is behind it as well. */
void keep_first_breaks(TimeLineRecording &recording, std::size_t count) {
    if (recording.breaks.size() > count) {
        recording.breaks.resize(count);
    }
    std::vector<TimeLineStretch> &stretches = recording.stretches;
    if (stretches.size() > count) {
        for (std::size_t i = count; i < stretches.size(); ++i) {
            stretches[count - 1].first_time = std::min(stretches[count - 1].first_time, stretches[i].first_time);
            stretches[count - 1].last_time = std::max(stretches[count - 1].last_time, stretches[i].last_time);
        }
        stretches.resize(count);
    }
    for (TimeLineBreak &one : recording.breaks) {
        one.stretch = std::min(one.stretch, stretches.size() - 1);
    }
}

/** How many payloads of a kind may be kept. Without their ids, those of the kinds beyond the limit say nothing. */
std::size_t payloads_of(const ReportKind &kind) { return kind.is_others ? 0 : kind.places.size(); }

/** The same of all kinds of all recordings. */
std::vector<std::size_t> counts_of(const std::vector<TimeLineColumns> &columns) {
    std::vector<std::size_t> counts;
    for (const TimeLineColumns &recording : columns) {
        for (const ReportKind &kind : recording.kinds()) {
            counts.push_back(payloads_of(kind));
        }
    }
    return counts;
}

/** Shares `room` payloads out: what is rare is kept whole, and the rest gets equal shares. */
Chosen share(const std::vector<TimeLineColumns> &columns, std::size_t room) {
    std::vector<std::size_t> counts = counts_of(columns);
    std::ranges::sort(counts);
    std::size_t share = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        share = room / (counts.size() - i);
        if (counts[i] > share) {
            break;
        }
        room -= counts[i];
        share = counts[i];
    }
    Chosen chosen;
    for (const TimeLineColumns &recording : columns) {
        std::vector<std::size_t> &of_kinds = chosen.emplace_back();
        for (const ReportKind &kind : recording.kinds()) {
            of_kinds.push_back(std::min(payloads_of(kind), share));
        }
    }
    return chosen;
}

/** What depends on the choice of payloads, packed. */
struct PackedPayloads {
    Chosen chosen;
    std::vector<std::string> facts;
    std::vector<std::string> payloads;
    std::vector<std::string> overviews;
    std::size_t size = 0;
};

PackedPayloads pack_payloads(const std::vector<TimeLineColumns> &columns, std::size_t room) {
    PackedPayloads packed;
    packed.chosen = share(columns, room);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::vector<std::size_t> &chosen = packed.chosen[i];
        packed.facts.push_back(pack_for_page(json_line(columns[i].facts(chosen)), kLevel));
        packed.payloads.push_back(pack_for_page(columns[i].payloads(chosen), kLevel));
        packed.overviews.push_back(pack_for_page(columns[i].overviews(chosen), kLevel));
        packed.size += packed.facts.back().size() + packed.payloads.back().size() + packed.overviews.back().size();
    }
    return packed;
}

/**
 * As many payloads as fit. Bytes of reports pack well or not at all, so a part that fits in any case is packed first,
 * and then what should fit if the rest packs as that part.
 */
PackedPayloads fit_payloads(const std::vector<TimeLineColumns> &columns, std::size_t room_in_bytes) {
    constexpr std::size_t kPayloadSize = _QorProfileReport::kSize - qor::kPayloadOffset;
    const std::vector<std::size_t> counts = counts_of(columns);
    const std::size_t all = std::accumulate(counts.begin(), counts.end(), std::size_t{0});
    const std::size_t without = pack_payloads(columns, 0).size;
    const std::size_t room = room_in_bytes > without ? room_in_bytes - without : 0;
    // What zlib adds to what it cannot pack is much less than this part.
    const std::size_t first = std::min(all, (room - room / 16) / kPayloadSize);
    PackedPayloads packed = pack_payloads(columns, first);
    if (first == 0 || first >= all) {
        return packed;
    }
    const double bytes_of_one =
        static_cast<double>(packed.size - std::min(without, packed.size)) / static_cast<double>(first);
    const double hoped = 0.9 * static_cast<double>(room) / std::max(bytes_of_one, 1e-3);
    if (hoped > 1.2 * static_cast<double>(first)) {
        const auto more = static_cast<std::size_t>(std::min(hoped, static_cast<double>(all)));
        PackedPayloads tried = pack_payloads(columns, more);
        if (tried.size <= room_in_bytes) {
            return tried;
        }
    }
    return packed;
}

} // namespace

void TimeLine::begin(const Recording &recording) {
    TimeLineRecording &begun = _recordings.emplace_back();
    begun.file = recording.file;
    begun.device = recording.device;
}

void TimeLine::add(const ReportPiece &piece) {
    TimeLineRecording &recording = _recordings.back();
    std::size_t next = 0; // to be counted
    const auto count_up_to = [&](std::size_t end) {
        for (; next < end; ++next) {
            const _QorProfileReport &report = piece.report(next);
            const std::uint64_t time = report.timestamp();
            TimeLineStretch &stretch = recording.stretches.back();
            stretch.first_time = std::min(stretch.first_time, time);
            stretch.last_time = std::max(stretch.last_time, time);
            if (recording.report_count % _stride == 0) {
                recording.reports.push_back(report);
                ++_kept;
            }
            ++recording.report_count;
            if (_kept > _limits.reports && can_be_fewer()) {
                halve();
            }
        }
    };
    const auto begin_stretch = [&](const _QorProfileReport &report) {
        recording.stretches.push_back({recording.report_count, report.timestamp(), report.timestamp()});
    };
    if (recording.stretches.empty() && piece.count() != 0) {
        begin_stretch(piece.report(0));
    }
    recording.watch.see(piece.reports, [&](std::size_t index, const SequenceBreak &what) {
        count_up_to(index);
        if (what.is_restart() && recording.stretches.size() < TimeLineRecording::kBreaksAtMost) {
            begin_stretch(piece.report(index));
        }
        ++recording.break_count;
        if (recording.breaks.size() < TimeLineRecording::kBreaksAtMost) {
            recording.breaks.push_back({recording.stretches.size() - 1, what});
        }
    });
    count_up_to(piece.count());
}

void TimeLine::end(const decoder::device_clock &clock) { _recordings.back().clock = clock; }

void TimeLine::halve() {
    _stride *= 2;
    _kept = 0;
    for (TimeLineRecording &recording : _recordings) {
        keep_every_second(recording.reports);
        _kept += recording.reports.size();
    }
}

void TimeLine::finish(Page &page) {
    std::vector<TimeLineColumns> columns;
    std::vector<std::string> reports;
    std::vector<std::string> slices;
    std::size_t size = 0;
    const auto pack = [&] {
        columns.clear();
        reports.clear();
        slices.clear();
        size = 0;
        for (const TimeLineRecording &recording : _recordings) {
            const TimeLineColumns &of_one =
                columns.emplace_back(recording, _stride, _names, kSeriesAtMost / _recordings.size());
            reports.push_back(pack_for_page(of_one.reports(), kLevel));
            slices.push_back(pack_for_page(of_one.slices(), kLevel));
            size += reports.back().size() + slices.back().size();
        }
    };
    for (TimeLineRecording &recording : _recordings) {
        keep_first_breaks(recording, std::max<std::size_t>(_limits.breaks / _recordings.size(), 1));
    }
    // Reports come first: three quarters of the room are theirs, and payloads have the rest.
    PackedPayloads packed;
    for (pack();; halve(), pack()) {
        if (can_be_fewer() && size > _limits.packed_bytes / 4 * 3) {
            continue;
        }
        packed = fit_payloads(columns, _limits.packed_bytes - std::min(_limits.packed_bytes, size));
        if (!can_be_fewer() || size + packed.size <= _limits.packed_bytes) {
            break;
        }
    }
    Json recordings = Json::array();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string block = "time-line-" + std::to_string(i);
        recordings.push_back(Json::object({{"file", _recordings[i].file},
                                           {"device", _recordings[i].device},
                                           {"reports", _recordings[i].report_count},
                                           {"block", block}}));
        page.blocks.push_back({block + "-facts", std::move(packed.facts[i])});
        page.blocks.push_back({block + "-reports", std::move(reports[i])});
        page.blocks.push_back({block + "-slices", std::move(slices[i])});
        page.blocks.push_back({block + "-payloads", std::move(packed.payloads[i])});
        page.blocks.push_back({block + "-overviews", std::move(packed.overviews[i])});
    }
    page.blocks.push_back({"time-line-layouts", pack_for_page(json_line(payload_tables()), kLevel)});
    page.sections.push_back(
        {"time-line", "Time line",
         Json::object({{"recordings", std::move(recordings)}, {"layouts", "time-line-layouts"}, {"stride", _stride}})});
}

} // namespace cli
