#include "state/ExtraData.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "qor/sensor.h"

namespace {

/** A line under construction, of at most 1023 characters. */
class Line {
public:
    const char *text() const { return _text; }
    bool isEmpty() const { return _length == 0; }
    void clear() {
        _length = 0;
        _text[0] = '\0';
    }

    /** Appends a number, truncated at the end of the line. */
    void appendNumber(const char *digits) { append(digits, std::strlen(digits), kLimit - _length); }

    /**
     * Appends a text, truncated earlier than a number. The limit for the line is 1023 minus its present length, and
     * the present length and a terminating zero count against it again. Intended.
     */
    void appendText(const char *text, size_t length) {
        const size_t size = kLimit - _length;
        append(text, length, _length < size ? size - _length - 1 : 0);
    }

private:
    static constexpr size_t kLimit = 1023;

    void append(const char *text, size_t length, size_t room) {
        const size_t taken = std::min(length, room);
        std::memcpy(_text + _length, text, taken);
        _length += taken;
        _text[_length] = '\0';
    }

    char _text[kLimit + 1] = {};
    size_t _length = 0;
};

/** A walk over the items of one property. */
class Walk {
public:
    Walk(const uint8_t *data, uint64_t length)
        : _length(static_cast<size_t>(std::min<uint64_t>(length, kExtraDataCapacity))) {
        std::memcpy(_data, data, kExtraDataCapacity);
    }

    bool hasNext() const { return _position < _length; }

    void appendNextTo(Line &line, bool &endOfLine) {
        switch (takeByte()) {
        case qor::sensor::kNumber32:
            appendNumber(line, take<int32_t>());
            break;
        case qor::sensor::kNumber64:
            appendNumber(line, take<int64_t>());
            break;
        case qor::sensor::kText:
            takeText(line);
            break;
        case qor::sensor::kEndOfLine:
            endOfLine = true;
            break;
        case qor::sensor::kHexadecimal:
            _hexadecimal = true;
            break;
        case qor::sensor::kDecimal:
            _hexadecimal = false;
            break;
        default:
            break;
        }
    }

private:
    uint8_t takeByte() { return _data[_position++]; }

    template <typename T>
    T take() {
        T value = qor::load_little_endian<T>(_data + _position);
        _position += sizeof(T);
        return value;
    }

    void takeText(Line &line) {
        const char *text = reinterpret_cast<const char *>(_data + _position);
        const size_t length = strnlen(text, sizeof _data - _position);
        line.appendText(text, length);
        _position += length + 1;
    }

    void appendNumber(Line &line, int32_t value) const {
        char digits[32];
        std::snprintf(digits, sizeof digits, _hexadecimal ? "%x" : "%d", value);
        line.appendNumber(digits);
    }
    void appendNumber(Line &line, int64_t value) const {
        char digits[32];
        std::snprintf(digits, sizeof digits, _hexadecimal ? "%llx" : "%lld", static_cast<long long>(value));
        line.appendNumber(digits);
    }

    /** Zero after the capacity, for an item that starts at its last byte. */
    uint8_t _data[kExtraDataCapacity + sizeof(int64_t)] = {};
    size_t _length;
    size_t _position = 0;
    bool _hexadecimal = false;
};

} // namespace

void walkExtraData(const uint8_t *data, uint64_t length, const std::function<void(const char *line)> &emit) {
    Line line;
    bool endOfLine = false;
    for (Walk walk(data, length); walk.hasNext();) {
        if (endOfLine) {
            // An empty line is emitted as well, provided that another item follows the mark. Intended.
            emit(line.text());
            line.clear();
            endOfLine = false;
        }
        walk.appendNextTo(line, endOfLine);
    }
    if (!line.isEmpty()) {
        emit(line.text());
    }
}
