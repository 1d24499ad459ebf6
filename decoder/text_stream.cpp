#include "decoder/text_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kFirstCapacity = 2048;

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
