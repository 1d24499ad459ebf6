/** The decoder's text stream: a reusable buffer, and raw memory at its end. */
#ifndef DECODER_TEXT_STREAM_H
#define DECODER_TEXT_STREAM_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>

/**
 * Collects text. The caller owns the buffer and reuses it from line to line. It grows by doubling and never shrinks.
 * Not copyable. One thread at a time.
 */
class text_buffer {
public:
    text_buffer() = default;
    /** Uses `storage`, which must outlive the buffer, until the text no longer fits; then memory from the heap. */
    template <std::size_t size>
    explicit text_buffer(char (&storage)[size]) : _begin(storage), _end(storage), _limit(storage + size) {}
    text_buffer(const text_buffer &) = delete;
    text_buffer &operator=(const text_buffer &) = delete;

    std::string_view text() const { return {_begin, static_cast<std::size_t>(_end - _begin)}; }
    std::size_t size() const { return static_cast<std::size_t>(_end - _begin); }
    void clear() { _end = _begin; }

    /** @throws std::bad_alloc with the buffer unchanged. */
    void append(std::string_view text) {
        if (static_cast<std::size_t>(_limit - _end) < text.size()) [[unlikely]] {
            grow(size(), text.size());
        }
        _end = std::copy(text.begin(), text.end(), _end);
    }

private:
    friend class text_stream;

    /** Makes room for `room` bytes after the first `used`, which are kept. @throws std::bad_alloc */
    void grow(std::size_t used, std::size_t room);

    std::unique_ptr<char[]> _heap;
    char *_begin = nullptr;
    char *_end = nullptr;
    char *_limit = nullptr;
};

/**
 * Writes to the end of a `text_buffer`, several values at once. `flush` makes the text part of the buffer; a stream
 * that is destroyed without it leaves the buffer unchanged. While a stream is in use, nothing else may append to its
 * buffer. A stream has no state for widths or number bases that could carry over from one field to the next.
 */
class text_stream {
public:
    explicit text_stream(text_buffer &buffer) : _buffer(&buffer), _out(buffer._end), _limit(buffer._limit) {}

    void flush() { _buffer->_end = _out; }

    /**
     * Memory for at least `size` bytes at the end of the text. Call `commit` with the end of the text written there to
     * make it part of the stream. @throws std::bad_alloc if the buffer cannot grow.
     */
    char *room(std::size_t size) {
        if (static_cast<std::size_t>(_limit - _out) < size) [[unlikely]] {
            grow(size);
        }
        return _out;
    }
    void commit(char *end) { _out = end; }

private:
    void grow(std::size_t room);

    text_buffer *_buffer;
    char *_out;
    char *_limit;
};

#endif
