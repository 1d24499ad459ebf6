/** What a row of JSON Lines and one of CSV have in common. */
#pragma once

#include <cstddef>

#include "cli/reports/payload_json.h"
#include "decoder/digits.h"
#include "decoder/remembered_header.h"
#include "decoder/short_text.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** Of the part of a row between the sequence number and the payload, and of its end: keys, numbers and the time. */
inline constexpr std::size_t kRowRestRoom = 256;

/**
 * Appends the names and ids, the sequence number, and what `put_rest` writes after it: at most `kRowRestRoom`
 * characters and the payload. Each thread remembers the first part of recent headers.
 * @param fill  as for `decoder::remembered_headers`.
 * @param put_rest  a function of the place to write to, which returns the end of the text.
 */
template <typename Start, void (*fill)(Start &start, const _QorProfileReport &report), typename PutRest>
void append_row(text_buffer &out, const _QorProfileReport &report, const PutRest &put_rest) {
    thread_local constinit decoder::remembered_headers<Start, fill> starts;
    text_stream stream(out);
    char *at = stream.room(Start::kCapacity + kRowRestRoom + kPayloadJsonRoom);
    at = decoder::put_up_to_ten_digits(decoder::put(at, starts.of(report)), report.sequence_num());
    stream.commit(put_rest(at));
    stream.flush();
}

} // namespace cli
