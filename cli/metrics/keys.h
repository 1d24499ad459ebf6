/** The keys of an analytics store: their subsystems, short names, units and help. */
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace cli {

/** The subsystems in the order of display. The last one is for keys of no other. */
inline constexpr std::array<std::string_view, 8> kSubsystems{"button",  "prox",  "audio", "kiru",
                                                             "tovrane", "dravo", "ttw",   "other"};

/** A key split into its subsystem and the rest. */
struct ShortKey {
    std::size_t subsystem; ///< index in `kSubsystems`
    /** The part of the key after its subsystem's name; in the last subsystem, the whole key. */
    std::string_view name;
};

/** @return a view of `key`. */
ShortKey short_key(std::string_view key);

/** A key that the plug-in publishes, with its unit and description. */
struct KnownKey {
    std::string_view key;
    std::string_view unit; ///< as named in the key; may be empty
    std::string_view help; ///< for people; plain ASCII without quotation marks, backslashes or newlines
};

/** @param number the plug-in's number of the key, below `qor::analytics::kKeyCount`. */
KnownKey known_key(std::size_t number);

} // namespace cli
