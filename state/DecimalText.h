/** A number with six decimals as text, rounded as `printf` rounds "%f", whatever the locale. */
#pragma once

#include <charconv>

class DecimalText {
public:
    explicit DecimalText(double value) {
        *std::to_chars(_text, _text + sizeof _text - 1, value, std::chars_format::fixed, 6).ptr = '\0';
    }
    const char *get() const { return _text; }

private:
    /** The largest double has 309 digits before the point. */
    char _text[320];
};
