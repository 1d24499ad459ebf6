/** The bytes of a described device's answers. */
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace host {

/**
 * Bytes that can be read any number of times. Not synchronised: read on the device's queue only.
 *
 * Each read of a block returns the same bytes from the start, as many as fit. A stream returns successive whole
 * reports, as many as fit, and continues where the last read stopped. A read ends at the last report of the stream; the
 * next one starts over with the first. So no read returns the same report twice, and a read with room for a report is
 * never empty.
 */
class ByteSource {
public:
    enum class Kind { Block, Stream };

    /** @param bytes  one or more whole reports for a stream. */
    ByteSource(Kind kind, std::vector<std::byte> bytes);

    /** Copies bytes to `out`. @return how many, at most `out.size()`. */
    std::size_t read(std::span<std::byte> out);

private:
    Kind _kind;
    std::vector<std::byte> _bytes;
    std::size_t _position = 0; ///< of a stream's next report; less than its size
};

} // namespace host
