/** Builds reports for tests byte by byte. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "decoder/profile_decoder.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

/** A report with these ids, in memory order, and zeros elsewhere. Offsets count from the report's start. */
class ReportBuilder {
public:
    ReportBuilder(std::uint8_t type, std::uint8_t event, std::uint8_t component, std::uint8_t category)
        : _report{{type, event, component, category}} {}

    ReportBuilder &u8(std::size_t offset, std::uint8_t value) { return put(offset, value, 1); }
    ReportBuilder &u16(std::size_t offset, std::uint16_t value) { return put(offset, value, 2); }
    ReportBuilder &u32(std::size_t offset, std::uint32_t value) { return put(offset, value, 4); }
    ReportBuilder &u64(std::size_t offset, std::uint64_t value) { return put(offset, value, 8); }

    ReportBuilder &bytes(std::size_t offset, std::initializer_list<std::uint8_t> values) {
        for (std::uint8_t value : values) {
            u8(offset++, value);
        }
        return *this;
    }

    /** 1, 2, 3, ... from `first` to `last`. */
    ReportBuilder &counting(std::size_t first, std::size_t last) {
        for (std::size_t offset = first; offset <= last; ++offset) {
            u8(offset, static_cast<std::uint8_t>(offset - first + 1));
        }
        return *this;
    }

    ReportBuilder &text(std::size_t offset, std::string_view characters) {
        for (char character : characters) {
            u8(offset++, static_cast<std::uint8_t>(character));
        }
        return *this;
    }

    // Implicit, so that rows of tables can be builders.
    operator _QorProfileReport() const { return _report; } // NOLINT(google-explicit-constructor)

private:
    ReportBuilder &put(std::size_t offset, std::uint64_t value, std::size_t size) {
        for (std::size_t byte = 0; byte < size; ++byte) {
            _report.bytes[offset + byte] = static_cast<std::uint8_t>(value >> (8 * byte));
        }
        return *this;
    }

    _QorProfileReport _report;
};

/** The text that `decoder` writes for the payload alone. */
inline std::string payload_text(const profile_decoder &decoder, const _QorProfileReport &report) {
    text_buffer buffer;
    text_stream stream(buffer);
    decoder.parse_datatype(stream, report);
    stream.flush();
    return std::string(buffer.text());
}

/** A report and its expected payload text. */
struct PayloadRow {
    const char *meaning;
    _QorProfileReport report;
    std::string text;
};
