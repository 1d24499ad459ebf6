#include "decoder/payload_text.h"

#include "decoder/line_notation.h"

namespace decoder {

void put_payload(text_stream &stream, const _QorProfileReport &report, std::size_t index) {
    stream.commit(put_payload_fields<line_notation>(stream.room(kPayloadRooms<line_notation>[index]), report, index));
}

} // namespace decoder
