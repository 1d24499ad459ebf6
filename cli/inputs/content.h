/** What a file is, by its first bytes. */
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace cli {

enum class ContentKind {
    Empty,
    Dump,    ///< what is nothing else: reports have no mark of their own
    Records, ///< state-capture records
    Store,   ///< an analytics store
    Text,    ///< of no known kind
    Foreign  ///< something else that is known
};

struct Content {
    ContentKind kind;
    std::string_view name; ///< with its article: "a PNG image"; a literal

    friend bool operator==(const Content &, const Content &) = default;
};

/** How the content is packed. */
enum class Packing { None, Gzip, Zstd };

/** More first bytes than these change nothing. */
inline constexpr std::size_t kSampleBytes = 512;

/**
 * Recognises content that is not packed. An answer never changes with the bytes that follow.
 * @param bytes   the first ones.
 * @param is_all  there are no others.
 * @return nothing while that depends on others: there are some, and `bytes` are fewer than `kSampleBytes`.
 */
std::optional<Content> content_of(std::span<const std::byte> bytes, bool is_all);

/** The same for the packing. */
std::optional<Packing> packing_of(std::span<const std::byte> bytes, bool is_all);

} // namespace cli
