/** A payload's fields as the line shows them. */
#ifndef DECODER_PAYLOAD_TEXT_H
#define DECODER_PAYLOAD_TEXT_H

#include "decoder/payload_layouts.h"
#include "decoder/profile_report.h"
#include "decoder/text_stream.h"

namespace decoder {

/** Appends every field of `layouts` as its key, its value and ",". */
void put_payload(text_stream &stream, const _QorProfileReport &report, const payload &layouts);

} // namespace decoder

#endif
