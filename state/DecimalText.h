/** A number as text with six decimals, rounded as by `printf` with "%f", independent of the locale. */
#pragma once

#include <charconv>
#include <system_error>

class DecimalText {
public:
    /**
     * @param value  below 10^12 in magnitude, as are the seconds in a 64-bit count of nanoseconds and fixed-point
     * numbers. If the text does not fit, it is empty.
     */
    explicit DecimalText(double value) {
        const std::to_chars_result result =
            std::to_chars(_text, _text + sizeof _text - 1, value, std::chars_format::fixed, 6);
        *(result.ec == std::errc{} ? result.ptr : _text) = '\0';
    }
    const char *get() const { return _text; }

private:
    /** Needs 21: a sign, 12 digits, the point, six decimals and the terminating zero. */
    char _text[24];
};
