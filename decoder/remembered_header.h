/** A cache for what depends on the four ids of a report alone. */
#ifndef DECODER_REMEMBERED_HEADER_H
#define DECODER_REMEMBERED_HEADER_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "qor/report.h"

namespace decoder {

/**
 * Remembers a `Text` for the first word of each report. Most dumps have few different headers. A header whose place is
 * taken by another one is put together again. One thread at a time.
 * @param fill  overwrites a text for a report; reads the report's four ids and a context that is always the same.
 */
template <typename Text, typename Context, void (*fill)(Text &text, const _QorProfileReport &report, Context context)>
class remembered_headers {
public:
    constexpr remembered_headers() = default;

    /** Valid until the next call. */
    const Text &of(const _QorProfileReport &report, Context context) {
        const std::uint32_t header = report.header();
        place &kept = _places[(header * kFibonacci) >> (32 - kBits)];
        if (kept.header != header || !kept.is_taken) [[unlikely]] {
            fill(kept.text, report, context);
            kept.header = header;
            kept.is_taken = true;
        }
        return kept.text;
    }

private:
    static constexpr unsigned kBits = 7;
    static constexpr std::uint32_t kFibonacci = 2'654'435'769; ///< spreads neighbouring ids over all places

    struct place {
        Text text{};
        std::uint32_t header = 0;
        bool is_taken = false;
    };

    std::array<place, std::size_t{1} << kBits> _places{};
};

} // namespace decoder

#endif
