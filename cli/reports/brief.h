/** A report as a line that fits a terminal, for people. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cli/dumps/owner_names.h"
#include "cli/terminal/text_style.h"
#include "decoder/device_clock.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/**
 * Writes brief lines: the time, the place (category, component and event with points between them), the type where the
 * place does not say it already, and the fields of the payload.
 *
 * The time is that since another report, in seconds; with a time synchronisation it is the wall-clock time. Fields that
 * are zero or empty are left out, and so are constants and what another field of the payload shows as well:
 * - of fields that show the same bytes, the one that says most is kept: a text that is legible, then a named id or a
 *   component of a vector, then a number, then a number in hexadecimal, then raw bytes; the first of equal ones;
 * - the type when it is `event`, when each of its words stands in the place, or when it has no name but a layout.
 *
 * An id that has a name is shown even when it is 0. A payload without a layout is shown as `raw` up to its last byte
 * that is not zero. Texts are escaped (`escape_controls`), also in files and pipes. Any thread.
 */
class BriefLines {
public:
    /**
     * On a terminal, lines are cut at its width and places have the colours of their categories.
     * @param names  the owner's, which stand in place of numbers; null for none. Must outlive the object.
     */
    explicit BriefLines(const TextStyle &style, const OwnerNames *names = nullptr);

    /**
     * Appends the line of a report, with its newline.
     * @param start  stands before it; printable.
     * @param since  the time stamp from which times count.
     */
    void append(text_buffer &out, std::string_view start, const _QorProfileReport &report,
                const decoder::device_clock &clock, std::uint64_t since) const;
    /** Appends a line between reports. @param start, text  printable. */
    void append_remark(text_buffer &out, std::string_view start, std::string_view text) const;

private:
    TextStyle _style;
    const OwnerNames &_names;
    std::string_view _cut_mark;
};

/** The time between two time stamps as "+7200.000015s", or with a minus sign when `time` is before `since`. */
std::string elapsed_text(std::uint64_t since, std::uint64_t time);

} // namespace cli
