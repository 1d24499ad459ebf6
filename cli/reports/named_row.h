/** Rows with the owner's names: room for them, and their common end. */
#pragma once

#include <cstddef>

#include "cli/reports/named_payload.h"
#include "decoder/text_stream.h"

namespace cli {

/** The room for a row: its payload, and more than its keys, four names, numbers, times and all bytes of the report. */
inline constexpr std::size_t kNamedRowRoom = kNamedPayloadJsonRoom + 4096;

/** Appends a row. @param put  writes the row and returns its end; has room for `kNamedRowRoom` characters. */
template <typename Put>
void append_named_row(text_buffer &out, const Put &put) {
    text_stream stream(out);
    stream.commit(put(stream.room(kNamedRowRoom)));
    stream.flush();
}

} // namespace cli
