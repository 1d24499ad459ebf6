/** A number with six decimals as text, rounded as `printf` rounds "%f", whatever the locale. */
#pragma once

#include <charconv>
#include <system_error>

class DecimalText {
public:
    /**
     * @param value  below 10^12 in magnitude: seconds of a 64-bit count of nanoseconds, fixed-point numbers. A number
     *               whose text does not fit has an empty one.
     */
    explicit DecimalText(double value) {
        const std::to_chars_result result =
            std::to_chars(_text, _text + sizeof _text - 1, value, std::chars_format::fixed, 6);
        *(result.ec == std::errc{} ? result.ptr : _text) = '\0';
    }
    const char *get() const { return _text; }

private:
    /** A sign, 12 digits, the point, six decimals and the terminating zero: 21. */
    char _text[24];
};
