/** A cache for what depends on the four ids of a report alone. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "qor/report.h"

namespace cli {

/**
 * Remembers a `Text` for the first word of each report. Most dumps have some tens of different headers. Two headers
 * never take each other's places; of three or more that share two places, the later ones take turns. One thread at a
 * time.
 * @param fill  overwrites a text for a report; reads the report's four ids and a context that is always the same.
 */
template <typename Text, typename Context, void (*fill)(Text &text, const _QorProfileReport &report, Context context)>
class RememberedHeaders {
public:
    /** Valid until the next call. */
    const Text &of(const _QorProfileReport &report, Context context) {
        const std::uint32_t header = report.header();
        std::array<Place, 2> &places = _places[(header * kFibonacci) >> (32 - kBits)];
        for (const Place &place : places) {
            if (place.header == header) [[likely]] {
                return place.text;
            }
        }
        Place &place = places[0].header == kNoHeader ? places[0] : places[1];
        fill(place.text, report, context);
        place.header = header;
        return place.text;
    }

private:
    static constexpr unsigned kBits = 7;
    static constexpr std::uint32_t kFibonacci = 2'654'435'769; ///< spreads neighbouring ids over all places
    static constexpr std::uint64_t kNoHeader = ~std::uint64_t{0};

    struct Place {
        Text text{};
        std::uint64_t header = kNoHeader;
    };

    std::array<std::array<Place, 2>, std::size_t{1} << kBits> _places{};
};

} // namespace cli
