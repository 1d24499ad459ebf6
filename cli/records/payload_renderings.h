/** Payloads of known titles in the forms that suit them. */
#pragma once

#include <optional>
#include <string>

#include "cli/terminal/text_style.h"
#include "platform/TvValues.h"

namespace cli {

/**
 * A payload as lines, each with a newline at its end; nothing when it has another shape than its title promises.
 * Entries that are missing are left out; those that are not understood stand behind the others, as any typed value.
 */
using PayloadRendering = std::optional<std::string> (*)(TvRef payload, const TextStyle &style);

/**
 * Latency statistics: the last press as a time line to scale, then the least and the greatest latencies as bars on
 * one scale. Time stamps and latencies are read as the firmware's unsigned 64-bit ticks.
 */
std::optional<std::string> latency_text(TvRef payload, const TextStyle &style);

/** Haptic assets: a row for each event, columns for each speed; one table a speed where a line has no room for all. */
std::optional<std::string> assets_text(TvRef payload, const TextStyle &style);

/** What a sensor is, how it is set, and who uses it, as a card. */
std::optional<std::string> sensor_text(TvRef payload, const TextStyle &style);

/** Lines of reports as they are, the category's value in a colour of its own. */
std::optional<std::string> profile_text(TvRef payload, const TextStyle &style);

} // namespace cli
