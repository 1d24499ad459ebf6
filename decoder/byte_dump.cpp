#include "decoder/byte_dump.h"

namespace decoder {

char *put_dump(char *out, const std::uint8_t *data, std::size_t length) {
    *out++ = '[';
    if (length == 0) {
        *out++ = ']';
        return out;
    }
    for (std::size_t index = 0; index < length; ++index) {
        out = put_byte_and_comma(out, data[index]);
    }
    out[-1] = ']';
    return out;
}

} // namespace decoder
