#include "cli/records/latency.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/records/dictionary_reader.h"
#include "cli/records/latency_values.h"
#include "cli/terminal/columns.h"
#include "qor/latency.h"

namespace cli {
namespace {

namespace latency = qor::latency;

constexpr std::size_t kIndent = 2;
constexpr std::size_t kLeastTrack = 10;

/** A scale from 0 to `greatest` between two borders. */
class Track {
public:
    Track(std::uint64_t greatest, std::size_t columns) : _greatest(greatest), _columns(columns) {}

    std::string mark(std::uint64_t at) const { return draw(column(at), column(at), '*'); }
    std::string bar(std::uint64_t from, std::uint64_t to) const { return draw(column(from), column(to), '='); }
    std::string empty() const { return "|" + std::string(_columns, ' ') + "|"; }

private:
    std::size_t column(std::uint64_t at) const {
        if (_greatest == 0) {
            return 0;
        }
        const double share = static_cast<double>(at) / static_cast<double>(_greatest);
        return std::min(static_cast<std::size_t>(std::lround(share * static_cast<double>(_columns - 1))), _columns - 1);
    }

    std::string draw(std::size_t first, std::size_t last, char sign) const {
        std::string track = empty();
        std::fill_n(track.begin() + 1 + static_cast<std::ptrdiff_t>(first), last - first + 1, sign);
        return track;
    }

    std::uint64_t _greatest;
    std::size_t _columns;
};

/** The width left for a track after an indented text, the gap and the borders. */
std::size_t track_columns(const TextStyle &style, const std::string &before) {
    const std::size_t used = kIndent + before.size() + 2 + 2;
    return style.columns < used + kLeastTrack ? kLeastTrack : style.columns - used;
}

std::string indent(std::string_view line) { return std::string(kIndent, ' ') + std::string(line) + "\n"; }

// ---- the last press

/** The last press as text. */
class PressText {
public:
    PressText(TvDictionaryRef press, const TextStyle &style) : _reader(press), _values(_reader.take()), _style(style) {}

    std::string text() const {
        return _style.heading(latency::kPressKey) + "\n" + counts() + time_line() + latencies() + rest();
    }

private:
    std::string counts() const {
        std::string text;
        for (const LatencyValue &count : _values.counts) {
            text += (text.empty() ? "" : ", ") + _style.key(count.name) + ": " + std::to_string(count.value);
        }
        return text.empty() ? text : indent(text);
    }

    std::string time_line() const {
        std::string text = "\n" + indent("time line, in ticks: time stamp, offset from the earliest") + draw_stamps();
        std::string before(kAbsent);
        const std::size_t used = kIndent + before.size();
        for (const std::string &line : wrap_words(_values.absent, ",", std::max(_style.columns, used) - used)) {
            text += indent(before + line);
            before.assign(before.size(), ' ');
        }
        return text;
    }

    std::string draw_stamps() const {
        const std::vector<LatencyValue> &stamps = _values.stamps;
        if (stamps.empty()) {
            return "";
        }
        const std::uint64_t earliest = stamps.front().value;
        std::vector<std::vector<std::string>> cells;
        for (const LatencyValue &stamp : stamps) {
            cells.push_back({stamp.name, std::to_string(stamp.value), "+" + std::to_string(stamp.value - earliest)});
        }
        const std::vector<std::string> rows = align_rows(cells, {Align::Left, Align::Right, Align::Right});
        const Track track(stamps.back().value - earliest, track_columns(_style, rows.front()));
        std::string text;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            text += indent(rows[i] + "  " + track.mark(stamps[i].value - earliest));
        }
        return text;
    }

    std::string latencies() const {
        std::vector<std::vector<std::string>> cells;
        for (const PressLatency &latency : _values.latencies) {
            cells.push_back({latency.name, std::to_string(latency.ticks)});
        }
        std::string text = cells.empty() ? "" : "\n" + indent("latencies, in ticks");
        for (const std::string &row : align_rows(cells, {Align::Left, Align::Right})) {
            text += indent(row);
        }
        return text;
    }

    std::string rest() const {
        std::string text = entry_lines(_reader.press.rest(), kIndent, _style);
        for (std::size_t i = 0; i < latency::kClicks; ++i) {
            const std::string entries = entry_lines(_reader.clicks[i].rest(), 2 * kIndent, _style);
            text += entries.empty() ? "" : indent(_style.key(latency::kClickKeys[i]) + ":") + entries;
        }
        return text.empty() ? text : "\n" + text;
    }

    static constexpr std::string_view kAbsent = "no time stamp (0): ";

    PressReader _reader;
    PressValues _values;
    const TextStyle &_style;
};

// ---- minimum and maximum latencies

std::string range_bar(const LatencyRange &range, const Track &track) {
    if (range.is_upside_down()) {
        return "(the minimum is above the maximum)";
    }
    return range.maximum == 0 ? track.empty() : track.bar(range.minimum, range.maximum);
}

std::string draw_ranges(const std::vector<LatencyRange> &ranges, const TextStyle &style) {
    std::uint64_t greatest = 0;
    std::vector<std::vector<std::string>> cells;
    for (const LatencyRange &range : ranges) {
        greatest = range.is_upside_down() ? greatest : std::max(greatest, range.maximum);
        cells.push_back({std::string(range.name), std::to_string(range.minimum), "to", std::to_string(range.maximum)});
    }
    const std::vector<std::string> rows = align_rows(cells, {Align::Left, Align::Right, Align::Left, Align::Right});
    std::string text;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += indent(rows[i] + "  " + range_bar(ranges[i], Track(greatest, track_columns(style, rows[i]))));
    }
    return text;
}

std::string ranges_text(TvDictionaryRef dictionary, const TextStyle &style) {
    DictionaryReader bounds(dictionary);
    const std::vector<LatencyRange> ranges = take_ranges(bounds);
    return style.heading(latency::kBoundsKey) + ", minimum to maximum, in ticks\n" + draw_ranges(ranges, style) +
           entry_lines(bounds.rest(), kIndent, style);
}

} // namespace

std::optional<std::string> latency_text(TvRef payload, const TextStyle &style) {
    DictionaryReader statistics(payload);
    const TvDictionaryRef press = statistics.take_dictionary(latency::kPressKey);
    const TvDictionaryRef bounds = statistics.take_dictionary(latency::kBoundsKey);
    if (!statistics.took_any()) {
        return std::nullopt;
    }
    std::string text = press == nullptr ? "" : PressText(press, style).text();
    if (bounds != nullptr) {
        text += (text.empty() ? "" : "\n") + ranges_text(bounds, style);
    }
    return text + entry_lines(statistics.rest(), 0, style);
}

} // namespace cli
