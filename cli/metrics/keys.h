/** The keys of an analytics store, as people and monitoring systems know them. */
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace cli {

/** The subsystems in the order in which they are shown; keys of no other belong to the last. */
inline constexpr std::array<std::string_view, 8> kSubsystems{"button",  "prox",  "audio", "kiru",
                                                             "tovrane", "dravo", "ttw",   "other"};

/** A key as its subsystem shows it. */
struct ShortKey {
    std::size_t subsystem; ///< in `kSubsystems`
    /** The part of the key behind its subsystem's name; the whole key in the last subsystem. */
    std::string_view name;
};

/** @return refers to `key`'s characters. */
ShortKey short_key(std::string_view key);

/** A key that the plug-in publishes under, and what is known about it. */
struct KnownKey {
    std::string_view key;
    std::string_view unit; ///< as the key itself names it; empty where it names none
    std::string_view help; ///< for people; plain ASCII without quotation marks, backslashes or newlines
};

/** @param number the plug-in's number of the key, below `qor::analytics::kKeyCount`. */
KnownKey known_key(std::size_t number);

} // namespace cli
