/** Writes a payload's fields as they appear in the line. */
#ifndef DECODER_PAYLOAD_TEXT_H
#define DECODER_PAYLOAD_TEXT_H

#include <cstddef>

#include "decoder/text_stream.h"
#include "qor/report.h"

namespace decoder {

/**
 * Appends every field of the payload as its key, its value and ",".
 * @param index  an index into `kPayloads`, from `payload_index`.
 * @throws std::bad_alloc if the stream's buffer cannot grow.
 */
void put_payload(text_stream &stream, const _QorProfileReport &report, std::size_t index);

} // namespace decoder

#endif
