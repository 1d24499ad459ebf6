/** A cache for the local time of a second. */
#ifndef DECODER_REMEMBERED_SECOND_H
#define DECODER_REMEMBERED_SECOND_H

#include <cstdint>
#include <ctime>
#include <type_traits>

namespace decoder {

/**
 * The result of `text_of` for the local time of a second since the epoch; value-initialised if there is no such local
 * time. Each thread caches the last second for each `text_of`, because neighbouring reports mostly share it, and
 * computing the local time costs as much as the rest of a line.
 * @param text_of  a function of `const std::tm &` whose result can be initialised at compile time.
 * @return valid until the thread asks for another second.
 */
template <auto text_of>
const auto &remembered_second(std::uint64_t second) {
    using result = std::invoke_result_t<decltype(text_of), const std::tm &>;
    struct remembered {
        std::uint64_t second = ~std::uint64_t{0}; // larger than any second computed from 64-bit microseconds
        result text{};
    };
    thread_local constinit remembered last;
    if (last.second != second) {
        const auto time = static_cast<std::time_t>(second);
        std::tm local{};
        last.text = localtime_r(&time, &local) != nullptr ? text_of(local) : result{};
        last.second = second;
    }
    return last.text;
}

} // namespace decoder

#endif
