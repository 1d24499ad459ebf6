#include "tests/cli/inputs/packed.h"

#include <array>
#include <memory>

#include <gtest/gtest.h>
#define ZLIB_CONST
#include <zlib.h>
#include <zstd.h>

namespace cli_tests {

std::string gzip(std::string_view text, std::size_t times) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 1, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string packed;
    std::array<Bytef, 4096> room{};
    int result = Z_OK;
    for (std::size_t left = times + 1; left > 0 && result != Z_STREAM_END; --left) {
        stream.next_in = static_cast<const Bytef *>(static_cast<const void *>(text.data()));
        stream.avail_in = left > 1 ? static_cast<uInt>(text.size()) : 0;
        do {
            stream.next_out = room.data();
            stream.avail_out = room.size();
            result = deflate(&stream, left > 1 ? Z_NO_FLUSH : Z_FINISH);
            packed.append(static_cast<const char *>(static_cast<const void *>(room.data())),
                          room.size() - stream.avail_out);
        } while (stream.avail_out == 0);
    }
    EXPECT_EQ(result, Z_STREAM_END);
    deflateEnd(&stream);
    return packed;
}

std::string zstd(std::string_view text, std::size_t times) {
    const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context(ZSTD_createCCtx(), ZSTD_freeCCtx);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
    std::string packed;
    std::array<char, 4096> room{};
    for (std::size_t left = times + 1; left > 0; --left) {
        ZSTD_inBuffer input{text.data(), left > 1 ? text.size() : 0, 0};
        const ZSTD_EndDirective directive = left > 1 ? ZSTD_e_continue : ZSTD_e_end;
        std::size_t rest = 0;
        do {
            ZSTD_outBuffer output{room.data(), room.size(), 0};
            rest = ZSTD_compressStream2(context.get(), &output, &input, directive);
            EXPECT_FALSE(ZSTD_isError(rest));
            packed.append(room.data(), output.pos);
        } while (left > 1 ? input.pos < input.size : rest != 0);
    }
    return packed;
}

} // namespace cli_tests
