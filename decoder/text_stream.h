/** The decoder's text stream: the vocabulary of the standard streams over one reusable buffer, without a locale. */
#ifndef DECODER_TEXT_STREAM_H
#define DECODER_TEXT_STREAM_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "decoder/short_text.h"

/**
 * Where text is collected; the caller owns it and reuses it from line to line. Grows by doubling, never
 * shrinks. Not copyable; one thread at a time.
 */
class text_buffer {
public:
    text_buffer() = default;
    /** Uses `storage`, which must outlive the buffer, until the text no longer fits there. */
    template <std::size_t size>
    explicit text_buffer(char (&storage)[size]) : _begin(storage), _end(storage), _limit(storage + size) {}
    text_buffer(const text_buffer &) = delete;
    text_buffer &operator=(const text_buffer &) = delete;

    std::string_view text() const { return {_begin, static_cast<std::size_t>(_end - _begin)}; }
    std::size_t size() const { return static_cast<std::size_t>(_end - _begin); }
    void clear() { _end = _begin; }

    /** @throws std::bad_alloc with the buffer as it was. */
    void append(std::string_view text) {
        if (static_cast<std::size_t>(_limit - _end) < text.size()) [[unlikely]] {
            grow(size(), text.size());
        }
        _end = std::copy(text.begin(), text.end(), _end);
    }

private:
    friend class text_stream;

    /** Makes room for `room` bytes behind the first `used`, which are kept. @throws std::bad_alloc */
    void grow(std::size_t used, std::size_t room);

    std::unique_ptr<char[]> _heap;
    char *_begin = nullptr;
    char *_end = nullptr;
    char *_limit = nullptr;
};

enum class number_base { decimal, hexadecimal };

/** The field width for the next value only. */
struct set_width {
    std::size_t width;
};

/**
 * Appends values to a `text_buffer`, right-aligned and filled with blanks where a width is set. The text counts
 * as the buffer's from `flush` on; a stream that goes without it leaves the buffer as it was. While a stream is
 * in use nothing else may append to its buffer.
 *
 * Operations throw std::bad_alloc when the buffer cannot grow.
 */
class text_stream {
public:
    explicit text_stream(text_buffer &buffer) : _buffer(&buffer), _out(buffer._end), _limit(buffer._limit) {}

    void flush() { _buffer->_end = _out; }

    text_stream &operator<<(set_width width) {
        _width = width.width;
        return *this;
    }
    text_stream &operator<<(number_base base) {
        _base = base;
        return *this;
    }
    text_stream &operator<<(char character) { return *this << std::string_view(&character, 1); }
    text_stream &operator<<(const char *text) { return *this << std::string_view(text); }
    text_stream &operator<<(std::string_view text);
    text_stream &operator<<(std::int32_t number);
    text_stream &operator<<(std::uint32_t number) { return *this << static_cast<std::uint64_t>(number); }
    text_stream &operator<<(std::uint64_t number);
    /** As "%g" in the C locale. */
    text_stream &operator<<(double number);

    std::size_t width() const { return _width; }
    number_base base() const { return _base; }

    /**
     * For writing several values at once: memory for at least `size` bytes at the end of the text. What is
     * written there counts once `commit` is given its end. Ignores the width and the base.
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
    std::size_t _width = 0;
    number_base _base = number_base::decimal;
};

#endif
