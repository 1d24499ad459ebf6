/** Writes a report as a line into the caller's buffer: the fast way to describe many reports. */
#ifndef DECODER_REPORT_LINE_H
#define DECODER_REPORT_LINE_H

#include <cstddef>
#include <functional>
#include <string>

#include "decoder/device_clock.h"
#include "decoder/profile_decoder.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace decoder {

/** No line is longer, and a buffer with this much storage of its own never needs memory from the heap for one. */
inline constexpr std::size_t kLineRoom = 4096;

/**
 * Appends the line of `report`, without a newline. It is byte for byte the result of `ZELLogDecoder::to_string` on a
 * platform whose clock is `clock`. Local time is in the process's time zone. Any thread; a buffer may be used by one
 * thread at a time.
 * @throws std::bad_alloc with `buffer` unchanged.
 */
void append_line(text_buffer &buffer, const _QorProfileReport &report, const device_clock &clock);

/** The names in a line, between apostrophes. */
struct line_names {
    std::string category;
    std::string component;
    std::string event;
    std::string type;
};

/**
 * The same with the given names and payload.
 * @param put_fields  appends the payload's fields, each as its key, its value and ",".
 */
void append_line(text_buffer &buffer, const line_names &names,
                 const std::function<void(text_stream &stream)> &put_fields, const _QorProfileReport &report,
                 const device_clock &clock);

/** The same with the payload that `decoder` writes. */
void append_line(text_buffer &buffer, const profile_decoder &decoder, const line_names &names,
                 const _QorProfileReport &report, const device_clock &clock);

} // namespace decoder

#endif
