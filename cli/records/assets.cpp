#include "cli/records/assets.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/records/decimal_fields.h"
#include "cli/records/dictionary_reader.h"
#include "cli/terminal/columns.h"
#include "qor/assets.h"

namespace cli {
namespace {

using qor::assets::kEvents;
using qor::assets::kFields;
using qor::assets::kSpeeds;

/** The values of an asset's fields, as text. */
using Asset = std::array<std::string_view, std::size(kFields)>;

std::optional<Asset> asset_of(std::string_view text) {
    Asset asset;
    if (!take_decimal_fields(text, kFields, asset) || is_fraction(asset[qor::assets::kEnable])) {
        return std::nullopt;
    }
    return asset;
}

/** Drops trailing zeros of the fraction. */
std::string short_gain(std::string_view gain) {
    if (is_fraction(gain)) {
        gain = gain.substr(0, gain.find_last_not_of('0') + 1);
        gain = gain.back() == '.' ? gain.substr(0, gain.size() - 1) : gain;
    }
    return std::string(gain);
}

/** A flag other than 0 and 1 is printed unchanged. */
std::string enable_text(std::string_view enable) {
    return enable == "0" ? "off" : enable == "1" ? "on" : std::string(enable);
}

std::vector<std::string> cells_of(const Asset &asset) {
    return {enable_text(asset[qor::assets::kEnable]), std::string(asset[qor::assets::kSlot]),
            short_gain(asset[qor::assets::kGain]),
            std::string(asset[qor::assets::kMinimum]) + ".." + std::string(asset[qor::assets::kMaximum])};
}

/** The columns for one speed: two lines of heading, then a line for each event, all equally wide. */
struct SpeedColumns {
    std::vector<std::string> lines;
    std::array<bool, std::size(kEvents)> is_disabled{};
};

std::string key_of(std::size_t speed, std::size_t event) {
    return std::string(kSpeeds[speed]) + "-" + std::string(kEvents[event]);
}

std::optional<Asset> asset_under(TvDictionaryRef assets, const std::string &key) {
    const std::optional<std::string_view> text = text_of(TvDictionaryGetValue(assets, key.c_str()));
    return text ? asset_of(*text) : std::nullopt;
}

class AssetsText {
public:
    AssetsText(TvDictionaryRef assets, const TextStyle &style) : _assets(assets), _reader(assets), _style(style) {
        for (std::size_t speed = 0; speed < std::size(kSpeeds); ++speed) {
            for (std::size_t event = 0; event < std::size(kEvents); ++event) {
                _keys[speed][event] = key_of(speed, event);
            }
        }
    }

    std::optional<std::string> text() {
        std::vector<SpeedColumns> speeds;
        for (std::size_t speed = 0; speed < std::size(kSpeeds); ++speed) {
            speeds.push_back(columns_of(speed));
        }
        if (!_reader.took_any()) {
            return std::nullopt;
        }
        return tables(speeds) + entry_lines(_reader.rest(), 0, _style);
    }

private:
    std::optional<Asset> take_asset(const std::string &key) {
        std::optional<Asset> asset = asset_under(_assets, key);
        if (asset) {
            _reader.take(key);
        }
        return asset;
    }

    SpeedColumns columns_of(std::size_t speed) {
        SpeedColumns columns;
        std::vector<std::vector<std::string>> cells{{"on", "slot", "gain", "range"}};
        for (std::size_t event = 0; event < std::size(kEvents); ++event) {
            const std::optional<Asset> asset = take_asset(_keys[speed][event]);
            if (asset) {
                columns.is_disabled[event] = (*asset)[qor::assets::kEnable] == "0";
                cells.push_back(cells_of(*asset));
            } else {
                cells.push_back({"-", "-", "-", "-"});
            }
        }
        columns.lines = align_rows(cells, std::vector<Align>(cells.front().size(), Align::Right), " ");
        std::string heading(kSpeeds[speed]);
        heading.resize(columns.lines.front().size(), ' ');
        columns.lines.insert(columns.lines.begin(), heading);
        return columns;
    }

    std::string tables(const std::vector<SpeedColumns> &speeds) const {
        std::size_t width = kEventWidth;
        for (const SpeedColumns &speed : speeds) {
            width += kGap.size() + speed.lines.front().size();
        }
        if (width <= _style.columns) {
            return table(speeds);
        }
        std::string text;
        for (const SpeedColumns &speed : speeds) {
            text += (text.empty() ? "" : "\n") + table({speed});
        }
        return text;
    }

    std::string table(const std::vector<SpeedColumns> &speeds) const {
        constexpr std::size_t kHeadings = 2;
        std::string text;
        for (std::size_t line = 0; line < kHeadings + std::size(kEvents); ++line) {
            std::string row(line < kHeadings ? "" : kEvents[line - kHeadings]);
            row.resize(kEventWidth, ' ');
            for (const SpeedColumns &speed : speeds) {
                const bool is_disabled = line >= kHeadings && speed.is_disabled[line - kHeadings];
                row += std::string(kGap) + (is_disabled ? _style.dim(speed.lines[line]) : speed.lines[line]);
            }
            text += row.substr(0, row.find_last_not_of(' ') + 1) + "\n";
        }
        return text;
    }

    static constexpr std::size_t kEventWidth = 12;
    static constexpr std::string_view kGap = "  ";

    TvDictionaryRef _assets;
    std::array<std::array<std::string, std::size(kEvents)>, std::size(kSpeeds)> _keys;
    DictionaryReader _reader;
    const TextStyle &_style;
};

} // namespace

std::vector<NamedAsset> assets_of(TvRef payload) {
    std::vector<NamedAsset> assets;
    for (std::size_t speed = 0; speed < std::size(kSpeeds); ++speed) {
        for (std::size_t event = 0; event < std::size(kEvents); ++event) {
            const std::optional<Asset> asset = asset_under(payload, key_of(speed, event));
            if (!asset) {
                continue;
            }
            NamedAsset &added = assets.emplace_back();
            added.speed = kSpeeds[speed];
            added.event = kEvents[event];
            for (std::size_t field = 0; field < std::size(kFields); ++field) {
                added.values.emplace_back(kFields[field].name, (*asset)[field]);
            }
        }
    }
    return assets;
}

std::optional<std::string> assets_text(TvRef payload, const TextStyle &style) {
    return AssetsText(payload, style).text();
}

} // namespace cli
