#include "cli/reports/sequence_break.h"

#include "cli/reports/brief.h"

namespace cli {
namespace {

std::string number_text(const SequenceBreak &found) {
    return std::to_string(found.number) + " after " + std::to_string(found.number_before);
}

} // namespace

std::string break_text(const SequenceBreak &found) {
    if (found.is_restart()) {
        return "restart: number " + number_text(found);
    }
    std::string text;
    if (found.is_gap()) {
        text = found.missing() != 0 ? "gap: " + std::to_string(found.missing()) + " missing"
                                    : "gap: number " + number_text(found);
    }
    if (found.goes_back_in_time()) {
        text += text.empty() ? "" : ", ";
        // Without its sign.
        text += "clock goes back " + elapsed_text(found.time_before, found.time).substr(1);
    }
    return text;
}

} // namespace cli
