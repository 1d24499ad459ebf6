#include "cli/inputs/unpacker.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <new>

#define ZLIB_CONST // the library's input is constant
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

namespace cli {
namespace {

/** Members that follow one another, and zeros behind the last one, as on a tape. */
class GzipUnpacker : public Unpacker {
public:
    GzipUnpacker() {
        constexpr int kGzipOnly = 16;
        if (inflateInit2(&_stream, MAX_WBITS + kGzipOnly) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    ~GzipUnpacker() override { inflateEnd(&_stream); }

    std::size_t unpack(std::span<const std::byte> &packed, std::span<std::byte> room) override {
        if (_failure != nullptr) {
            throw UnpackError{_failure};
        }
        std::size_t written = 0;
        while (written == 0 && (_holds_output || !packed.empty())) {
            if (_state == State::InMember) {
                written = inflate_some(packed, room);
                _holds_output = written == room.size();
            } else {
                _holds_output = false;
                leave_gap(packed);
            }
        }
        return written;
    }

    bool may_end() const override { return _state != State::InMember; }

private:
    enum class State { InMember, BehindMember, InZeros };

    /** Goes on behind a member: another one begins, or zeros until the end. */
    void leave_gap(std::span<const std::byte> &packed) {
        if (packed.empty()) {
            return;
        }
        if (packed.front() == std::byte{0}) {
            _state = State::InZeros;
            packed = packed.subspan(1);
        } else if (_state == State::InZeros) {
            throw UnpackError{"there is something behind the end of the gzip data"};
        } else {
            inflateReset(&_stream);
            _state = State::InMember;
        }
    }

    std::size_t inflate_some(std::span<const std::byte> &packed, std::span<std::byte> room) {
        constexpr std::size_t kMost = std::numeric_limits<uInt>::max();
        const std::size_t size = std::min(packed.size(), kMost);
        const std::size_t space = std::min(room.size(), kMost);
        _stream.next_in = static_cast<const Bytef *>(static_cast<const void *>(packed.data()));
        _stream.avail_in = static_cast<uInt>(size);
        _stream.next_out = static_cast<Bytef *>(static_cast<void *>(room.data()));
        _stream.avail_out = static_cast<uInt>(space);
        const int result = inflate(&_stream, Z_NO_FLUSH);
        packed = packed.subspan(size - _stream.avail_in);
        if (result == Z_MEM_ERROR) {
            throw std::bad_alloc();
        }
        const std::size_t written = space - _stream.avail_out;
        if (result == Z_STREAM_END) {
            _state = State::BehindMember;
        } else if (result != Z_OK && result != Z_BUF_ERROR) {
            _failure = "the gzip data are damaged";
            if (written == 0) {
                throw UnpackError{_failure};
            }
        }
        return written;
    }

    z_stream _stream{};
    State _state = State::InMember;
    const char *_failure = nullptr; ///< behind what was unpacked last
    bool _holds_output = false;     ///< there was no room for all that was unpacked, perhaps
};

/** Frames that follow one another. */
class ZstdUnpacker : public Unpacker {
public:
    ZstdUnpacker() : _context(ZSTD_createDCtx()) {
        constexpr int kWindowBits = std::bit_width(kLargestWindow) - 1;
        if (_context == nullptr ||
            ZSTD_isError(ZSTD_DCtx_setParameter(_context.get(), ZSTD_d_windowLogMax, kWindowBits))) {
            throw std::bad_alloc();
        }
    }

    std::size_t unpack(std::span<const std::byte> &packed, std::span<std::byte> room) override {
        ZSTD_outBuffer output{room.data(), room.size(), 0};
        while (output.pos == 0 && (_holds_output || !packed.empty())) {
            // What the library holds comes first: an error behind it would take it away.
            ZSTD_inBuffer input{packed.data(), _holds_output ? 0 : std::min(packed.size(), _wanted), 0};
            const std::size_t result = ZSTD_decompressStream(_context.get(), &output, &input);
            packed = packed.subspan(input.pos);
            require_success(result);
            _is_between_frames = result == 0;
            _wanted = _is_between_frames ? kFrameStart : result > kBlockStart ? result - kBlockStart : result;
            _holds_output = !_is_between_frames && output.pos == output.size;
        }
        return output.pos;
    }

    bool may_end() const override { return _is_between_frames; }

private:
    struct Free {
        void operator()(ZSTD_DCtx *context) const { ZSTD_freeDCtx(context); }
    };

    static void require_success(std::size_t result) {
        if (ZSTD_isError(result) == 0) {
            return;
        }
        switch (ZSTD_getErrorCode(result)) {
        case ZSTD_error_memory_allocation:
            throw std::bad_alloc();
        case ZSTD_error_frameParameter_windowTooLarge:
            throw UnpackError{"the zstd data need more than 128 MB of memory to unpack"};
        case ZSTD_error_dictionary_wrong:
            throw UnpackError{"the zstd data need a dictionary"};
        case ZSTD_error_prefix_unknown:
            throw UnpackError{"there is something behind the end of the zstd data"};
        default:
            throw UnpackError{"the zstd data are damaged"};
        }
    }

    static constexpr std::size_t kFrameStart = 5; ///< mark and description
    /** The library asks for this of the next block together with a block. An error there would take the block away. */
    static constexpr std::size_t kBlockStart = 3;

    std::unique_ptr<ZSTD_DCtx, Free> _context;
    std::size_t _wanted = kFrameStart; ///< what the library takes next: an error is no further away than that
    bool _is_between_frames = false;
    bool _holds_output = false; ///< there was no room for all that was unpacked, perhaps
};

} // namespace

std::unique_ptr<Unpacker> make_unpacker(Packing packing) {
    if (packing == Packing::Gzip) {
        return std::make_unique<GzipUnpacker>();
    }
    return std::make_unique<ZstdUnpacker>();
}

} // namespace cli
