#include "decoder/payload_text.h"

#include "decoder/line_notation.h"

namespace decoder {

void put_payload(text_stream &stream, const _QorProfileReport &report, std::size_t index) {
    char *const out = stream.room(kPayloadRooms<line_notation>[index]);
    stream.commit(put_payload_fields<line_notation>(out, report, index));
}

} // namespace decoder
