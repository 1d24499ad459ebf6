/** Whether bytes look like the reports of a QOR. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "qor/report.h"

namespace cli {

/** Bytes that do not look like reports. */
struct Doubt {
    std::optional<std::size_t> skip; ///< where there do begin reports, 1 to 47 bytes further on; nothing: nowhere
};

/**
 * Judges the first bytes of a dump. In a dump, nearly every sequence number is one more than the one before it, or,
 * when somebody has picked reports, the ids have names at least. Bytes are doubted when neither holds of more than a
 * few, and when reports begin a few bytes further on much more likely: their numbers follow there, and time stamps rise
 * or ids have names as they do not here. Few reports are never doubted: they may be picked and unnamed. One thread at a
 * time.
 */
class Plausibility {
public:
    /** Of fewer reports nothing is said. */
    static constexpr std::size_t kFewestReports = 16;
    /** So many reports are looked at, at most. */
    static constexpr std::size_t kMostReports = 4096;

    /** Whether the bytes so far leave a doubt that those behind them could remove. */
    bool wants_more() const { return !_is_plausible && _bytes.size() < kMostReports * _QorProfileReport::kSize; }

    /** Adds the next bytes. What is not needed is left out. */
    void add(std::span<const std::byte> bytes);

    /** Judges by the bytes so far. */
    std::optional<Doubt> doubt() const;

private:
    std::vector<std::byte> _bytes;
    std::size_t _next_look = kFewestReports * _QorProfileReport::kSize; ///< as soon as there are so many bytes
    bool _is_plausible = false;
};

/** What a doubt is called in messages. @param skipped  how many bytes were skipped before these. */
std::string doubt_text(const Doubt &doubt, std::uint64_t skipped);

} // namespace cli
