#include "cli/records/latency.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/records/dictionary_reader.h"
#include "cli/terminal/columns.h"
#include "qor/latency.h"

namespace cli {
namespace {

namespace latency = qor::latency;

constexpr std::size_t kIndent = 2;
constexpr std::size_t kLeastTrack = 10;

struct Named {
    std::string_view name;
    const char *key;
};

constexpr std::array<Named, 3> kStampsBeforeClicks{{
    {"finger on", latency::kFingerOn.key()},
    {"start haptic", latency::kStartHaptic.key()},
    {"second scan", latency::kSecondScan.key()},
}};
constexpr std::array<Named, 3> kClickStamps{{
    {"down", latency::kClickFields[latency::kDown].key()},
    {"up", latency::kClickFields[latency::kUp].key()},
    {"play asset", latency::kClickFields[latency::kUpPlayAsset].key()},
}};
constexpr std::array<Named, 1> kStampsAfterClicks{{{"finger off", latency::kFingerOff.key()}}};

constexpr std::array<const char *, 2> kClickLatencies{latency::kClickFields[latency::kDownLatency].key(),
                                                      latency::kClickFields[latency::kUpLatency].key()};

/** Of the latencies with bounds, in their order. */
constexpr std::array<std::string_view, std::size(latency::kBounds)> kBoundedNames{
    latency::kFingerDetectToButtonDown.name, "button click to play asset", "total"};

/** Ticks are unsigned and stored bit for bit. */
std::uint64_t ticks(std::int64_t stored) { return static_cast<std::uint64_t>(stored); }

struct Measure {
    std::string name;
    std::uint64_t ticks;
};

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
    PressText(TvDictionaryRef press, const TextStyle &style) : _press(press), _style(style) {
        for (const char *const key : latency::kClickKeys) {
            _clicks.emplace_back(_press.take_dictionary(key));
        }
    }

    std::string text() {
        std::string text = _style.heading(latency::kPressKey) + "\n";
        text += counts();
        text += time_line();
        text += latencies();
        return text + rest();
    }

private:
    std::string counts() {
        std::string text;
        for (const char *const key : {latency::kClickWord.key(), latency::kTurtleScans.key()}) {
            if (const std::optional<std::int32_t> count = _press.take_number_32(key)) {
                text += (text.empty() ? "" : ", ") + _style.key(key) + ": ";
                text += std::to_string(static_cast<std::uint32_t>(*count));
            }
        }
        return text.empty() ? text : indent(text);
    }

    void take_stamp(DictionaryReader &from, const char *key, std::string name) {
        const std::optional<std::int64_t> stamp = from.take_number(key);
        if (!stamp) {
            return;
        }
        if (*stamp == 0) {
            _absent.push_back(std::move(name));
        } else {
            _stamps.push_back({std::move(name), ticks(*stamp)});
        }
    }

    template <typename Rows>
    void take_stamps(const Rows &rows) {
        for (const Named &row : rows) {
            take_stamp(_press, row.key, std::string(row.name));
        }
    }

    void take_stamps() {
        take_stamps(kStampsBeforeClicks);
        for (std::size_t i = 0; i < latency::kClicks; ++i) {
            for (const Named &row : kClickStamps) {
                take_stamp(_clicks[i], row.key, latency::kClickKeys[i] + (" " + std::string(row.name)));
            }
        }
        take_stamps(kStampsAfterClicks);
        std::stable_sort(_stamps.begin(), _stamps.end(),
                         [](const Measure &a, const Measure &b) { return a.ticks < b.ticks; });
    }

    std::string time_line() {
        take_stamps();
        std::string text = "\n" + indent("time line, in ticks: time stamp, offset from the earliest") + draw_stamps();
        std::string before(kAbsent);
        const std::size_t used = kIndent + before.size();
        for (const std::string &line : wrap_words(_absent, ",", std::max(_style.columns, used) - used)) {
            text += indent(before + line);
            before.assign(before.size(), ' ');
        }
        return text;
    }

    std::string draw_stamps() const {
        if (_stamps.empty()) {
            return "";
        }
        const std::uint64_t earliest = _stamps.front().ticks;
        std::vector<std::vector<std::string>> cells;
        for (const Measure &stamp : _stamps) {
            cells.push_back({stamp.name, std::to_string(stamp.ticks), "+" + std::to_string(stamp.ticks - earliest)});
        }
        const std::vector<std::string> rows = align_rows(cells, {Align::Left, Align::Right, Align::Right});
        const Track track(_stamps.back().ticks - earliest, track_columns(_style, rows.front()));
        std::string text;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            text += indent(rows[i] + "  " + track.mark(_stamps[i].ticks - earliest));
        }
        return text;
    }

    std::string latencies() {
        constexpr const char *kFingerToButton = latency::kFingerDetectToButtonDown.key();
        std::vector<std::vector<std::string>> cells;
        if (const std::optional<std::int64_t> latency = _press.take_number(kFingerToButton)) {
            cells.push_back({kFingerToButton, std::to_string(ticks(*latency))});
        }
        for (std::size_t i = 0; i < latency::kClicks; ++i) {
            for (const char *const key : kClickLatencies) {
                if (const std::optional<std::int64_t> latency = _clicks[i].take_number(key)) {
                    cells.push_back(
                        {latency::kClickKeys[i] + (" " + std::string(key)), std::to_string(ticks(*latency))});
                }
            }
        }
        std::string text = cells.empty() ? "" : "\n" + indent("latencies, in ticks");
        for (const std::string &row : align_rows(cells, {Align::Left, Align::Right})) {
            text += indent(row);
        }
        return text;
    }

    std::string rest() const {
        std::string text = entry_lines(_press.rest(), kIndent, _style);
        for (std::size_t i = 0; i < latency::kClicks; ++i) {
            if (const std::string entries = entry_lines(_clicks[i].rest(), 2 * kIndent, _style); !entries.empty()) {
                text += indent(_style.key(latency::kClickKeys[i]) + ":") + entries;
            }
        }
        return text.empty() ? text : "\n" + text;
    }

    static constexpr std::string_view kAbsent = "no time stamp (0): ";

    DictionaryReader _press;
    std::vector<DictionaryReader> _clicks;
    const TextStyle &_style;
    std::vector<Measure> _stamps;
    std::vector<std::string> _absent;
};

// ---- minimum and maximum latencies

struct Range {
    std::string_view name;
    std::uint64_t minimum;
    std::uint64_t maximum;

    bool is_upside_down() const { return minimum > maximum; }
};

std::vector<Range> take_ranges(DictionaryReader &bounds) {
    std::vector<Range> ranges;
    for (std::size_t i = 0; i < kBoundedNames.size(); ++i) {
        const char *const minimum_key = latency::kBounds[i].minimum.key();
        const char *const maximum_key = latency::kBounds[i].maximum.key();
        const std::optional<std::int64_t> minimum = bounds.number(minimum_key);
        const std::optional<std::int64_t> maximum = bounds.number(maximum_key);
        if (minimum && maximum) {
            bounds.take(minimum_key);
            bounds.take(maximum_key);
            ranges.push_back({kBoundedNames[i], ticks(*minimum), ticks(*maximum)});
        }
    }
    return ranges;
}

std::string range_bar(const Range &range, const Track &track) {
    if (range.is_upside_down()) {
        return "(the minimum is above the maximum)";
    }
    return range.maximum == 0 ? track.empty() : track.bar(range.minimum, range.maximum);
}

std::string draw_ranges(const std::vector<Range> &ranges, const TextStyle &style) {
    std::uint64_t greatest = 0;
    std::vector<std::vector<std::string>> cells;
    for (const Range &range : ranges) {
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
    const std::vector<Range> ranges = take_ranges(bounds);
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
