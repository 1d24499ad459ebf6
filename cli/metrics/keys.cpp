#include "cli/metrics/keys.h"

#include "qor/analytics.h"

namespace cli {
namespace {

constexpr std::size_t kOther = kSubsystems.size() - 1;

/** The second is intended: the plug-in publishes one key with this spelling. */
constexpr std::array<std::string_view, 2> kPrefixes{"com.ondre.zel.", "com.ondre.com.zel."};

struct Meaning {
    std::string_view unit;
    std::string_view help;
};

/** By the plug-in's number of the key. */
constexpr std::array<Meaning, qor::analytics::kKeyCount> kMeanings{{
    /*  0 */ {"", "Button: clicks"},
    /*  1 */ {"", "Button: single clicks"},
    /*  2 */ {"", "Button: double clicks"},
    /*  3 */ {"", "Button: triple clicks"},
    /*  4 */ {"", "Button: long presses"},
    /*  5 */ {"", "Button: touches with a click"},
    /*  6 */ {"", "Button: touches without a click"},
    /*  7 */ {"", "Button: pico of clicks"},
    /*  8 */ {"", "Button: pico of touches"},
    /*  9 */ {"", "Button: time from click to pico"},
    /* 10 */ {"", "Button: time from touch to pico"},
    /* 11 */ {"", "Button: duration of clicks"},
    /* 12 */ {"", "Button: duration of touches"},
    /* 13 */ {"", "Button: time from touch to first click"},
    /* 14 */ {"", "Button: time from touch to last unclick"},
    /* 15 */ {"", "Button: time from first click to last unclick"},
    /* 16 */ {"", "Button: time from first click to untouch"},
    /* 17 */ {"", "Button: time from last unclick to untouch"},
    /* 18 */ {"", "Button: critical errors"},
    /* 19 */ {"", "Button: timeouts"},
    /* 20 */ {"", "Proximity: ext_bl_capture events"},
    /* 21 */ {"", "Proximity: smudge timeouts, bh"},
    /* 22 */ {"", "Proximity: smudge timeouts, nonbh"},
    /* 23 */ {"", "Proximity: high_amb events"},
    /* 24 */ {"kcpss", "Proximity: first pocket signal sample"},
    /* 25 */ {"", "Proximity: time from baseline to trigger"},
    /* 26 */ {"", "Proximity: signal delta at ext_bl_capture"},
    /* 27 */ {"percent", "Proximity: increase of ref_rate"},
    /* 28 */ {"", "Proximity: frames for a high ambient baseline capture"},
    /* 29 */ {"", "Proximity: bias corrected frames for a high ambient baseline capture"},
    /* 30 */ {"", "Proximity: frames for a high ambient baseline capture, target approached"},
    /* 31 */ {"", "Proximity: bias corrected frames for a high ambient baseline capture, target approached"},
    /* 32 */ {"", "Button: duration of touches with a click, AP on"},
    /* 33 */ {"", "Button: duration of touches without a click, AP on"},
    /* 34 */ {"", "Button: duration of touches with a click, AP off"},
    /* 35 */ {"", "Button: duration of touches without a click, AP off"},
    /* 36 */ {"", "Button: duration of touches, AP on"},
    /* 37 */ {"", "Button: duration of touches, AP off"},
    /* 38 */ {"", "Kiru: reset_hb"},
    /* 39 */ {"", "Kiru: resets"},
    /* 40 */ {"", "Kiru: ibfd timeouts"},
    /* 41 */ {"", "Tovrane: reset timeouts"},
    /* 42 */ {"", "Button: cl timeouts of pellox"},
    /* 43 */ {"", "Button: cl faults of pellox"},
    /* 44 */ {"", "Button: probe failures of kiru"},
    /* 45 */ {"", "Button: probe failures of the force sensor"},
    /* 46 */ {"", "Button: probe failures of riv"},
    /* 47 */ {"", "Button: probe failures of btmspk"},
    /* 48 */ {"", "Dravo: doppler subscriptions"},
    /* 49 */ {"", "Dravo: doppler unsubscriptions"},
    /* 50 */ {"", "Audio: duration of riv on"},
    /* 51 */ {"", "Audio: duration of riv off"},
    /* 52 */ {"", "Audio: duration of riv prewarm"},
    /* 53 */ {"", "Audio: duration of btmspk on"},
    /* 54 */ {"", "Audio: duration of btmspk off"},
    /* 55 */ {"", "Audio: duration of btmspk prewarm"},
    /* 56 */ {"", "TTW: distribution by cell"},
    /* 57 */ {"", "Test"},
}};

bool starts_with_word(std::string_view text, std::string_view word) {
    return text.substr(0, word.size()) == word && text.substr(word.size(), 1) == ".";
}

} // namespace

ShortKey short_key(std::string_view key) {
    for (const std::string_view prefix : kPrefixes) {
        if (key.substr(0, prefix.size()) != prefix) {
            continue;
        }
        const std::string_view rest = key.substr(prefix.size());
        for (std::size_t i = 0; i < kOther; ++i) {
            if (starts_with_word(rest, kSubsystems[i])) {
                return {i, rest.substr(kSubsystems[i].size() + 1)};
            }
        }
    }
    return {kOther, key};
}

KnownKey known_key(std::size_t number) {
    return {qor::analytics::kKeys[number], kMeanings[number].unit, kMeanings[number].help};
}

} // namespace cli
