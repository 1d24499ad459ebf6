#include "cli/records/sensor.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/records/decimal_fields.h"
#include "cli/records/dictionary_reader.h"
#include "cli/terminal/columns.h"
#include "host/TvValues.h"
#include "qor/sensor.h"

namespace cli {
namespace {

namespace sensor = qor::sensor;

constexpr std::size_t kIndent = 2;

enum class Form { Line, Matrix, Words };

struct Setting {
    const char *key;
    Form form;
};

struct Group {
    std::string_view heading; ///< empty for the entries at the start of the card
    std::span<const Setting> settings;
};

constexpr std::array<Setting, 4> kIdentity{{
    {sensor::kSensorTypeKey, Form::Line},
    {sensor::kManufacturer.key, Form::Line},
    {sensor::kModel.key, Form::Line},
    {sensor::kLocation.key, Form::Line},
}};
constexpr std::array<Setting, 8> kIntervals{{
    {sensor::kReportInterval.key, Form::Line},
    {sensor::kSystickInterval.key, Form::Line},
    {sensor::kBatchIntervalFields[0].key(), Form::Line},
    {sensor::kBatchIntervalFields[1].key(), Form::Line},
    {sensor::kBatchIntervalFields[2].key(), Form::Line},
    {sensor::kBatchIntervalFields[3].key(), Form::Line},
    {sensor::kBatchIntervalFields[4].key(), Form::Line},
    {sensor::kStartupTime.key, Form::Line},
}};
constexpr std::array<Setting, 3> kModes{{
    {sensor::kDecimationEnabled.key, Form::Line},
    {sensor::kRawMode.key, Form::Line},
    {sensor::kFactoryMode.key, Form::Line},
}};
constexpr std::array<Setting, 6> kCalibration{{
    {sensor::kCalibrationComplete.key, Form::Line},
    {sensor::kInterruptCalibration.key, Form::Line},
    {sensor::kCalibrationMatrix.key, Form::Matrix},
    {sensor::kCalibrationOffset.key, Form::Line},
    {sensor::kOrientationMatrix.key, Form::Matrix},
    {sensor::kCompassMatrix.key, Form::Matrix},
}};
constexpr std::array<Setting, 1> kRegisters{{{sensor::kRegisters.key, Form::Words}}};
constexpr std::array<Setting, 1> kEvents{{{sensor::kEventsKey, Form::Line}}};

constexpr std::array<Group, 5> kGroupsBeforeClients{{
    {"", kIdentity},
    {"intervals", kIntervals},
    {"modes", kModes},
    {"calibration", kCalibration},
    {"", kRegisters},
}};
constexpr Group kGroupAfterClients{"", kEvents};

/** A key and the lines of its value. */
struct CardEntry {
    std::string key;
    std::vector<std::string> lines;
};

/** Three rows of three numbers each; nothing for any other text. */
std::optional<std::vector<std::string>> matrix_rows(std::string_view text) {
    std::vector<std::vector<std::string>> rows(3);
    std::size_t count = 0;
    for (std::string word : words_of(text)) {
        if (word == "|") {
            continue;
        }
        if (word.back() == ',') {
            word.pop_back();
        }
        if (count == 9 || !is_decimal(word)) {
            return std::nullopt;
        }
        rows[count++ / 3].push_back(std::move(word));
    }
    return count == 9 ? std::optional(align_rows(rows, {Align::Right, Align::Right, Align::Right})) : std::nullopt;
}

/** An entry whose key is a prefix followed by a number. */
struct Numbered {
    std::string_view number;
    std::string_view key;
    std::string_view text;
};

/** The digits after the prefix: at most ten, without leading zeros. Nothing for any other key. */
std::optional<std::string_view> number_after(std::string_view prefix, std::string_view key) {
    if (key.substr(0, prefix.size()) != prefix) {
        return std::nullopt;
    }
    const std::string_view number = key.substr(prefix.size());
    const bool is_number = !number.empty() && number.size() <= 10 &&
                           number.find_first_not_of("0123456789") == std::string_view::npos &&
                           (number.size() == 1 || number.front() != '0');
    return is_number ? std::optional(number) : std::nullopt;
}

/** The texts under keys of a prefix, in the order of their numbers. */
std::vector<Numbered> numbered_texts(TvDictionaryRef sensor, std::string_view prefix) {
    std::vector<Numbered> found;
    host::for_each_entry(sensor, [&](std::string_view key, TvRef value) {
        const std::optional<std::string_view> number = number_after(prefix, key);
        const std::optional<std::string_view> text = text_of(value);
        if (number && text) {
            found.push_back({*number, key, *text});
        }
    });
    // Keys come in text order, which is the order of numbers of the same length.
    std::stable_sort(found.begin(), found.end(),
                     [](const Numbered &a, const Numbered &b) { return a.number.size() < b.number.size(); });
    return found;
}

/** The number, name and settings of a client; nothing for a text of another form. */
std::optional<std::vector<std::string>> client_cells(const Numbered &client, const TextStyle &style) {
    constexpr std::string_view kEndOfName = ": ";
    // A client's name may contain anything, so the settings begin at the last place that looks like them.
    const std::size_t end = client.text.rfind(std::string(kEndOfName) + sensor::kClientSettings[0].key() + "=");
    std::array<std::string_view, std::size(sensor::kClientSettings)> values;
    if (end > sensor::kClientName.size ||
        !take_decimal_fields(client.text.substr(end + kEndOfName.size()), sensor::kClientSettings, values)) {
        return std::nullopt;
    }
    std::vector<std::string> cells{std::string(client.number), style.show(client.text.substr(0, end))};
    cells.insert(cells.end(), values.begin(), values.end());
    return cells;
}

class SensorText {
public:
    SensorText(TvDictionaryRef sensor, const TextStyle &style) : _sensor(sensor), _reader(sensor), _style(style) {}

    std::optional<std::string> text() {
        for (const Group &group : kGroupsBeforeClients) {
            append_group(group);
        }
        append_extra_lines();
        append_clients();
        append_group(kGroupAfterClients);
        if (!_reader.took_any()) {
            return std::nullopt;
        }
        append_section("", entry_lines(_reader.rest(), kIndent, _style));
        return _text;
    }

private:
    void append_section(std::string_view heading, const std::string &lines) {
        if (lines.empty()) {
            return;
        }
        _text += _text.empty() ? "" : "\n";
        _text += heading.empty() ? "" : std::string(kIndent, ' ') + _style.heading(heading) + "\n";
        _text += lines;
    }

    void append_group(const Group &group) {
        std::size_t width = 0;
        for (const Setting &setting : group.settings) {
            width = std::max(width, std::string_view(setting.key).size());
        }
        std::vector<CardEntry> entries;
        for (const Setting &setting : group.settings) {
            if (const TvRef value = _reader.take_line(setting.key)) {
                entries.push_back({setting.key, lines_of(value, setting.form, kIndent + width + 2)});
            }
        }
        append_section(group.heading, card_lines(entries, width));
    }

    /** @param before  the columns of the line that are used already. */
    std::vector<std::string> lines_of(TvRef value, Form form, std::size_t before) const {
        const std::optional<std::string_view> text = text_of(value);
        if (text && form == Form::Matrix) {
            if (std::optional<std::vector<std::string>> rows = matrix_rows(*text)) {
                return *std::move(rows);
            }
        }
        if (text && form == Form::Words) {
            return wrap_words(words_of(_style.show(*text)), "", std::max(_style.columns, before) - before);
        }
        return {text ? line_of(*text) : value_line(value, _style)};
    }

    /** Drops one newline at the end. */
    std::string line_of(std::string_view text) const {
        if (!text.empty() && text.back() == '\n') {
            text.remove_suffix(1);
        }
        return _style.show(text);
    }

    std::string card_lines(const std::vector<CardEntry> &entries, std::size_t width) const {
        std::string text;
        for (const CardEntry &entry : entries) {
            text += std::string(kIndent, ' ') + _style.key(entry.key) + ":";
            std::size_t spaces = width - entry.key.size() + 1;
            for (const std::string &line : entry.lines) {
                text += std::string(spaces, ' ') + line + "\n";
                spaces = kIndent + width + 2;
            }
            text += entry.lines.empty() ? "\n" : "";
        }
        return text;
    }

    void append_extra_lines() {
        std::size_t width = 0;
        std::vector<CardEntry> entries;
        for (const Numbered &extra : numbered_texts(_sensor, sensor::kExtraData[0].key)) {
            _reader.take(extra.key);
            width = std::max(width, extra.key.size());
            entries.push_back({std::string(extra.key), {_style.show(extra.text)}});
        }
        append_section("extra data", card_lines(entries, width));
    }

    void append_clients() {
        std::vector<std::vector<std::string>> rows{{sensor::kClientKey, std::string(sensor::kClientName.name)}};
        for (const qor::Field &setting : sensor::kClientSettings) {
            rows.front().emplace_back(setting.name);
        }
        for (const Numbered &client : numbered_texts(_sensor, sensor::kClientKey)) {
            if (std::optional<std::vector<std::string>> cells = client_cells(client, _style)) {
                _reader.take(client.key);
                rows.push_back(*std::move(cells));
            }
        }
        std::string lines;
        if (rows.size() > 1) {
            for (const std::string &line : align_rows(
                     rows, {Align::Right, Align::Left, Align::Right, Align::Right, Align::Right, Align::Right})) {
                lines += std::string(kIndent, ' ') + line + "\n";
            }
        }
        append_section("", lines);
    }

    TvDictionaryRef _sensor;
    DictionaryReader _reader;
    const TextStyle &_style;
    std::string _text;
};

} // namespace

std::optional<std::string> sensor_text(TvRef payload, const TextStyle &style) {
    return SensorText(payload, style).text();
}

} // namespace cli
