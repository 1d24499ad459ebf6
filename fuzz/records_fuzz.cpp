// Reads any file of state-capture records: its records are printed as text and as JSON, or it is refused with one
// error. The reports that its lines carry are decoded, each as a line that gives the same report again.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/dumps/recorded_input.h"
#include "cli/dumps/recorded_line.h"
#include "cli/records/json.h"
#include "cli/records/text.h"
#include "decoder/report_line.h"
#include "fuzz/controls.h"
#include "fuzz/input.h"
#include "host/RvStateCapture.h"
#include "host/error.h"
#include "host/state_records.h"

namespace {

using fuzz::require;
using Bytes = std::span<const std::byte>;

constexpr std::array<std::string_view, 5> kTitles{"SSHB Statistics", "SSHB assets", "SensorInfo",
                                                  "ZEL Profile 0 ;count=32 ;type=fw", "of another maker"};

/** A record with a valid header. */
std::vector<std::byte> record_of(std::string_view title, Bytes payload) {
    RvStateCaptureRecord header{};
    header.type_code = kRvStateCaptureTypeSerializedValue;
    header.payload_size = static_cast<std::uint32_t>(payload.size());
    std::memcpy(header.title, title.data(), title.size());
    std::vector<std::byte> record(sizeof header + payload.size());
    std::memcpy(record.data(), &header, sizeof header);
    std::copy(payload.begin(), payload.end(), record.begin() + sizeof header);
    return record;
}

std::string without_colours(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        if (text.front() == '\x1b') {
            text.remove_prefix(std::min(text.find('m'), text.size() - 1) + 1);
        } else {
            const std::size_t length = std::min(text.find('\x1b'), text.size());
            plain += text.substr(0, length);
            text.remove_prefix(length);
        }
    }
    return plain;
}

void show(const host::StateRecord &record, Bytes file, std::size_t columns) {
    // For each byte a line is at most 64 levels of indentation, a column of keys and a name.
    constexpr std::size_t kMostPerByte = 200;
    constexpr std::size_t kMostForAnEmptyTable = 32 * 1024;

    const std::string exact = cli::record_text(record, file, {false, false, columns});
    const std::string escaped = cli::record_text(record, file, {true, false, columns});
    const std::string coloured = cli::record_text(record, file, {true, true, columns});

    require(exact.back() == '\n', "the last line ends with a newline");
    require(exact.size() <= kMostForAnEmptyTable + kMostPerByte * record.size, "the text's length is proportionate");
    require(!fuzz::has_controls(escaped), "a terminal gets no control character");
    require(without_colours(coloured) == escaped, "colours do not change the text");

    cli::Json json;
    cli::put_record(json, record, file);
    const std::string printed = json.dump();
    require(nlohmann::ordered_json::parse(printed).dump(2) == printed, "the JSON reads back the same");
}

void show_all(Bytes file, std::size_t columns) {
    std::vector<host::StateRecord> records;
    try {
        records = host::parse_records(file, "input");
    } catch (const host::Error &) {
        return;
    }
    std::size_t end = 0;
    for (const host::StateRecord &record : records) {
        require(record.offset == end && record.size >= sizeof(RvStateCaptureRecord),
                "records follow each other without a gap");
        end += record.size;
        show(record, file, columns);
    }
    require(end == file.size(), "records cover the whole file");
}

/** Decodes the reports of the lines. */
void decode_all(Bytes bytes) {
    try {
        const std::unique_ptr<cli::RecordedInput> input = cli::RecordedInput::parse(bytes, "file");
        while (const std::optional<cli::ReportPiece> piece = input ? input->read_next() : std::nullopt) {
            for (std::size_t i = 0; i < piece->count(); ++i) {
                text_buffer line;
                decoder::append_line(line, piece->report(i), piece->clocks[i]);
                const std::optional<cli::RecordedReport> again = cli::parse_recorded_line(line.text());
                require(again &&
                            std::memcmp(again->report.bytes, piece->report(i).bytes, sizeof again->report.bytes) == 0,
                        "a line gives its report");
            }
        }
    } catch (const host::Error &) {
        return; // damaged, or with a line that has no report
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::size_t title = data[0];
    const std::size_t columns = data[1];
    const Bytes rest = std::as_bytes(std::span(data + 2, size - 2));
    if (title < kTitles.size()) {
        show_all(record_of(kTitles[title], rest), columns);
        decode_all(record_of(kTitles[title], rest));
    } else {
        show_all(rest, columns);
        decode_all(rest);
    }
    return 0;
}
