/** Where the bytes of a described device's answers come from. */
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace host {

/** The size of one report of a stream. */
inline constexpr std::size_t kStreamReportSize = 48;

/**
 * Bytes that are read again and again. Not synchronised: read on the device's queue only.
 *
 * A block gives the same bytes from its start on every read, as many as fit. A stream gives successive whole
 * reports: as many as fit, going on where the last read stopped, and no further than the last report of the
 * stream; the read after that starts again with the first. So no read holds the same report twice, and none is
 * empty for which there was room.
 */
class ByteSource {
public:
    enum class Kind { Block, Stream };

    /** @param bytes  for a stream, one or more whole reports. */
    ByteSource(Kind kind, std::vector<std::byte> bytes);

    /** Writes into `out`. @return how many bytes, at most `out.size()`. */
    std::size_t read(std::span<std::byte> out);

private:
    Kind _kind;
    std::vector<std::byte> _bytes;
    std::size_t _position = 0; ///< where a stream goes on: below its size
};

} // namespace host
