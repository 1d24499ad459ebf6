#include "decoder/text_stream.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kFirstCapacity = 2048;

/** Enough for 20 digits, and for a sign, six digits, a point and an exponent. */
constexpr std::size_t kNumberRoom = 24;

} // namespace

void text_buffer::grow(std::size_t used, std::size_t room) {
    std::size_t capacity = std::max(kFirstCapacity, static_cast<std::size_t>(_limit - _begin));
    while (capacity - used < room) {
        capacity *= 2;
    }
    std::unique_ptr<char[]> larger(new char[capacity]);
    if (used != 0) {
        std::memcpy(larger.get(), _begin, used);
    }
    _end = larger.get() + size();
    _begin = larger.get();
    _limit = _begin + capacity;
    _heap = std::move(larger);
}

void text_stream::grow(std::size_t room) {
    std::size_t used = static_cast<std::size_t>(_out - _buffer->_begin);
    _buffer->grow(used, room);
    _out = _buffer->_begin + used;
    _limit = _buffer->_limit;
}

text_stream &text_stream::operator<<(std::string_view text) {
    std::size_t blanks = _width > text.size() ? _width - text.size() : 0;
    char *out = std::fill_n(room(blanks + text.size()), blanks, ' ');
    commit(std::copy(text.begin(), text.end(), out));
    _width = 0;
    return *this;
}

text_stream &text_stream::operator<<(std::int32_t number) {
    if (_base == number_base::hexadecimal) {
        return *this << static_cast<std::uint32_t>(number);
    }
    char digits[kNumberRoom];
    char *end = std::to_chars(digits, digits + kNumberRoom, number).ptr;
    return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
}

text_stream &text_stream::operator<<(std::uint64_t number) {
    char digits[kNumberRoom];
    char *end = std::to_chars(digits, digits + kNumberRoom, number, _base == number_base::decimal ? 10 : 16).ptr;
    return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
}

text_stream &text_stream::operator<<(double number) {
    char digits[kNumberRoom];
    char *end = std::to_chars(digits, digits + kNumberRoom, number, std::chars_format::general, 6).ptr;
    return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
}
