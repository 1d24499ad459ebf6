#include "decoder/text_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

void append(text_stream &stream, std::string_view text) {
    stream.commit(std::copy(text.begin(), text.end(), stream.room(text.size())));
}

TEST(TextStream, BufferGrowsAndKeepsItsText) {
    text_buffer buffer;
    buffer.append("first");

    for (int line = 0; line < 1000; ++line) {
        text_stream stream(buffer);
        append(stream, std::string(97, 'x'));
        append(stream, "  y");
        stream.flush();
    }

    EXPECT_EQ(buffer.size(), 5u + 1000 * 100);
    EXPECT_EQ(buffer.text().substr(0, 6), "firstx");
    EXPECT_EQ(buffer.text().substr(buffer.size() - 5), "xx  y");
}

TEST(TextStream, BufferLeavesItsInitialStorageWhenThatIsFull) {
    char storage[8];
    text_buffer buffer(storage);

    buffer.append("12345678");
    EXPECT_EQ(buffer.text().data(), storage);
    buffer.append("9");

    EXPECT_NE(buffer.text().data(), storage);
    EXPECT_EQ(buffer.text(), "123456789");
}

TEST(TextStream, ClearedBufferStartsEmpty) {
    text_buffer buffer;
    buffer.append("old");
    buffer.clear();
    buffer.append("new");

    EXPECT_EQ(buffer.text(), "new");
}

TEST(TextStream, TextIsKeptOnlyAfterFlush) {
    text_buffer buffer;
    buffer.append("kept");
    {
        text_stream abandoned(buffer);
        append(abandoned, std::string(5000, 'z'));
    }

    EXPECT_EQ(buffer.text(), "kept");
}

} // namespace
