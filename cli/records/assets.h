/** The payload of a record of haptic assets as people read it. */
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/terminal/text_style.h"
#include "platform/TvValues.h"

namespace cli {

/** An asset of one event at one speed. The texts belong to the payload and to the table of fields. */
struct NamedAsset {
    std::string_view speed;
    std::string_view event;
    std::vector<std::pair<std::string_view, std::string_view>>
        values; ///< of each field its name and its decimal number
};

/** The assets that are there, in the order of the firmware's table. */
std::vector<NamedAsset> assets_of(TvRef payload);

/**
 * A row for each event, with columns for each speed; one table per speed where the lines would be too long. Missing
 * entries are left out; entries of another form follow as in value_text.h.
 * @return lines, each with a newline at its end; nothing when the payload has no asset.
 */
std::optional<std::string> assets_text(TvRef payload, const TextStyle &style);

} // namespace cli
