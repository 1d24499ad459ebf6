/** A report as a line in a caller's buffer: what many records are described with. */
#ifndef DECODER_REPORT_LINE_H
#define DECODER_REPORT_LINE_H

#include <string>

#include "decoder/device_clock.h"
#include "decoder/profile_decoder.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace decoder {

/**
 * Appends the line of `report`, without a newline: byte for byte what `ZELLogDecoder::to_string` gives where the
 * platform's clock is `clock`. Local time is that of the process's zone.
 * @throws std::bad_alloc with `buffer` as it was. Any thread; one buffer belongs to one thread at a time.
 */
void append_line(text_buffer &buffer, const _QorProfileReport &report, const device_clock &clock);

/** The names that a line shows, between apostrophes. */
struct line_names {
    std::string category;
    std::string component;
    std::string event;
    std::string type;
};

/** The same with the names and the payload of a certain decoder. */
void append_line(text_buffer &buffer, const profile_decoder &decoder, const line_names &names,
                 const _QorProfileReport &report, const device_clock &clock);

} // namespace decoder

#endif
