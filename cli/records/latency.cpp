#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/records/dictionary_reader.h"
#include "cli/records/payload_renderings.h"
#include "cli/terminal/columns.h"

namespace cli {
namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kLeastTrack = 10;

struct Named {
    std::string_view name;
    const char *key;
};

constexpr std::array<Named, 3> kStampsBeforeClicks{{
    {"finger on", "finger on ts"},
    {"start haptic", "start haptic ts"},
    {"second scan", "second scan ts"},
}};
constexpr std::array<Named, 3> kClickStamps{{
    {"down", "button down ts"},
    {"up", "button up ts"},
    {"play asset", "play asset ts"},
}};
constexpr std::array<Named, 1> kStampsBehindClicks{{{"finger off", "finger off ts"}}};

constexpr std::array<const char *, 3> kClicks{"click 1", "click 2", "click 3"};
constexpr std::array<const char *, 2> kClickLatencies{"button down to play asset", "button up to play asset"};

struct Bounds {
    std::string_view name;
    const char *minimum;
    const char *maximum;
};

/** The first two minima are those above zero. */
constexpr std::array<Bounds, 3> kBounds{{
    {"finger detect to button down", "min_nz_latency_FD_to_BD", "max_latency_FD_to_BD"},
    {"button click to play asset", "min_nz_latency_BC_to_PlayAsset", "max_latency_BC_to_PlayAsset"},
    {"total", "min_latency_Total", "max_latency_Total"},
}};

/** Ticks are unsigned and stored bit for bit. */
std::uint64_t ticks(std::int64_t stored) { return static_cast<std::uint64_t>(stored); }

struct Measure {
    std::string name;
    std::uint64_t ticks;
};

/** From 0 to `greatest`, drawn from one border to the other. */
class Track {
public:
    Track(std::uint64_t greatest, std::size_t columns) : _greatest(greatest), _columns(columns) {}

    std::string mark(std::uint64_t at) const { return drawn(column(at), column(at), '*'); }
    std::string bar(std::uint64_t from, std::uint64_t to) const { return drawn(column(from), column(to), '='); }
    std::string empty() const { return "|" + std::string(_columns, ' ') + "|"; }

private:
    std::size_t column(std::uint64_t at) const {
        if (_greatest == 0) {
            return 0;
        }
        const double share = static_cast<double>(at) / static_cast<double>(_greatest);
        return std::min(static_cast<std::size_t>(std::lround(share * static_cast<double>(_columns - 1))), _columns - 1);
    }

    std::string drawn(std::size_t first, std::size_t last, char sign) const {
        std::string track = empty();
        std::fill_n(track.begin() + 1 + static_cast<std::ptrdiff_t>(first), last - first + 1, sign);
        return track;
    }

    std::uint64_t _greatest;
    std::size_t _columns;
};

/** What is left of a line behind an indented text, without the gap and the track's borders. */
std::size_t track_columns(const TextStyle &style, const std::string &before) {
    const std::size_t used = kIndent + before.size() + 2 + 2;
    return style.columns < used + kLeastTrack ? kLeastTrack : style.columns - used;
}

std::string indented(std::string_view line) { return std::string(kIndent, ' ') + std::string(line) + "\n"; }

// ---- the last press

/** Reads one press, entry by entry. */
class PressText {
public:
    PressText(TvDictionaryRef press, const TextStyle &style) : _press(press), _style(style) {
        for (const char *const key : kClicks) {
            _clicks.emplace_back(_press.take_dictionary(key));
        }
    }

    std::string text() {
        std::string text = _style.heading("last button press") + "\n";
        text += counts();
        text += time_line();
        text += latencies();
        return text + rest();
    }

private:
    std::string counts() {
        std::string text;
        for (const char *const key : {"click count", "turtle scans"}) {
            if (const std::optional<std::int32_t> count = _press.take_number_32(key)) {
                text += (text.empty() ? "" : ", ") + _style.key(key) + ": ";
                text += std::to_string(static_cast<std::uint32_t>(*count));
            }
        }
        return text.empty() ? text : indented(text);
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
        for (std::size_t i = 0; i < kClicks.size(); ++i) {
            for (const Named &row : kClickStamps) {
                take_stamp(_clicks[i], row.key, kClicks[i] + (" " + std::string(row.name)));
            }
        }
        take_stamps(kStampsBehindClicks);
        std::stable_sort(_stamps.begin(), _stamps.end(),
                         [](const Measure &a, const Measure &b) { return a.ticks < b.ticks; });
    }

    std::string time_line() {
        take_stamps();
        std::string text =
            "\n" + indented("time line, in ticks: time stamp, offset from the earliest") + drawn_stamps();
        std::string before(kAbsent);
        const std::size_t used = kIndent + before.size();
        for (const std::string &line : wrap_words(_absent, ",", std::max(_style.columns, used) - used)) {
            text += indented(before + line);
            before.assign(before.size(), ' ');
        }
        return text;
    }

    std::string drawn_stamps() const {
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
            text += indented(rows[i] + "  " + track.mark(_stamps[i].ticks - earliest));
        }
        return text;
    }

    std::string latencies() {
        constexpr const char *kFingerToButton = "finger detect to button down";
        std::vector<std::vector<std::string>> cells;
        if (const std::optional<std::int64_t> latency = _press.take_number(kFingerToButton)) {
            cells.push_back({kFingerToButton, std::to_string(ticks(*latency))});
        }
        for (std::size_t i = 0; i < kClicks.size(); ++i) {
            for (const char *const key : kClickLatencies) {
                if (const std::optional<std::int64_t> latency = _clicks[i].take_number(key)) {
                    cells.push_back({kClicks[i] + (" " + std::string(key)), std::to_string(ticks(*latency))});
                }
            }
        }
        std::string text = cells.empty() ? "" : "\n" + indented("latencies, in ticks");
        for (const std::string &row : align_rows(cells, {Align::Left, Align::Right})) {
            text += indented(row);
        }
        return text;
    }

    std::string rest() const {
        std::string text = entry_lines(_press.rest(), kIndent, _style);
        for (std::size_t i = 0; i < kClicks.size(); ++i) {
            if (const std::string entries = entry_lines(_clicks[i].rest(), 2 * kIndent, _style); !entries.empty()) {
                text += indented(_style.key(kClicks[i]) + ":") + entries;
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

// ---- least and greatest latencies

struct Range {
    std::string_view name;
    std::uint64_t minimum;
    std::uint64_t maximum;

    bool is_upside_down() const { return minimum > maximum; }
};

std::vector<Range> take_ranges(DictionaryReader &latency) {
    std::vector<Range> ranges;
    for (const Bounds &bounds : kBounds) {
        const std::optional<std::int64_t> minimum = latency.number(bounds.minimum);
        const std::optional<std::int64_t> maximum = latency.number(bounds.maximum);
        if (minimum && maximum) {
            latency.take(bounds.minimum);
            latency.take(bounds.maximum);
            ranges.push_back({bounds.name, ticks(*minimum), ticks(*maximum)});
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

std::string drawn_ranges(const std::vector<Range> &ranges, const TextStyle &style) {
    std::uint64_t greatest = 0;
    std::vector<std::vector<std::string>> cells;
    for (const Range &range : ranges) {
        greatest = range.is_upside_down() ? greatest : std::max(greatest, range.maximum);
        cells.push_back({std::string(range.name), std::to_string(range.minimum), "to", std::to_string(range.maximum)});
    }
    const std::vector<std::string> rows = align_rows(cells, {Align::Left, Align::Right, Align::Left, Align::Right});
    std::string text;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += indented(rows[i] + "  " + range_bar(ranges[i], Track(greatest, track_columns(style, rows[i]))));
    }
    return text;
}

std::string ranges_text(TvDictionaryRef dictionary, const TextStyle &style) {
    DictionaryReader latency(dictionary);
    const std::vector<Range> ranges = take_ranges(latency);
    return style.heading("latency") + ", minimum to maximum, in ticks\n" + drawn_ranges(ranges, style) +
           entry_lines(latency.rest(), kIndent, style);
}

} // namespace

std::optional<std::string> latency_text(TvRef payload, const TextStyle &style) {
    DictionaryReader statistics(payload);
    const TvDictionaryRef press = statistics.take_dictionary("last button press");
    const TvDictionaryRef latency = statistics.take_dictionary("latency");
    if (!statistics.took_any()) {
        return std::nullopt;
    }
    std::string text = press == nullptr ? "" : PressText(press, style).text();
    if (latency != nullptr) {
        text += (text.empty() ? "" : "\n") + ranges_text(latency, style);
    }
    return text + entry_lines(statistics.rest(), 0, style);
}

} // namespace cli
