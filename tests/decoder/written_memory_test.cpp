// Checks that no byte of a line, of JSON or of CSV comes from uninitialised memory. Runs under the memory sanitizer.

#include <algorithm>
#include <cstdio>
#include <random>
#include <string_view>
#include <vector>

#include "bench/report_mix.h"
#include "cli/reports/csv.h"
#include "cli/reports/json.h"
#include "decoder/payload_choice.h"
#include "decoder/report_line.h"

namespace {

constexpr std::size_t kReports = 200'000;

/** Every other report is random bytes; half of those have a category with a decoder. */
_QorProfileReport report_number(std::size_t index, const std::vector<std::uint8_t> &mix, std::mt19937_64 &engine) {
    auto report = _QorProfileReport::copied_from(mix.data() + index * _QorProfileReport::kSize);
    if (index % 2 == 1) {
        for (std::uint8_t &byte : report.bytes) {
            byte = static_cast<std::uint8_t>(engine());
        }
    }
    if (index % 4 == 3) {
        report.bytes[3] = static_cast<std::uint8_t>(engine() % 12);
    }
    return report;
}

/** The standard library writes reals. It is not instrumented, so the sanitizer would take its output for uninitialised.
 */
bool has_reals(const _QorProfileReport &report) {
    const decoder::payload &layouts = decoder::kPayloads[decoder::payload_index(report)];
    return std::any_of(layouts.begin(), layouts.end(), [](const qor::Layout *layout) {
        return std::any_of(layout->fields.begin(), layout->fields.end(),
                           [](const qor::Field &row) { return row.how == qor::How::FixedPoint; });
    });
}

/** The digits in a text. The sanitizer reports a branch that depends on uninitialised memory. */
std::size_t count_digits(std::string_view text) {
    std::size_t digits = 0;
    for (const char character : text) {
        if (character >= '0' && character <= '9') {
            ++digits;
        }
    }
    return digits;
}

void append_line(text_buffer &buffer, const _QorProfileReport &report, const decoder::device_clock &clock) {
    decoder::append_line(buffer, report, clock); // it has overloads
}

} // namespace

int main() {
    const std::vector<std::uint8_t> mix = bench::report_mix(kReports);
    std::mt19937_64 engine(7);
    std::size_t reports = 0;
    std::size_t characters = 0;
    std::size_t digits = 0;
    for (std::size_t index = 0; index < kReports; ++index) {
        const _QorProfileReport report = report_number(index, mix, engine);
        if (has_reals(report)) {
            continue;
        }
        ++reports;
        decoder::device_clock clock;
        if (index % 3 != 0) {
            clock.sync = decoder::time_sync{engine(), engine()};
        }
        if (index % 5 != 0) {
            clock.boot_time = engine();
        }
        for (const auto append : {append_line, cli::append_json_line, cli::append_csv_line}) {
            text_buffer line; // on the heap, in uninitialised memory
            append(line, report, clock);
            digits += count_digits(line.text());
            characters += line.size();
        }
    }
    std::printf("%zu reports, %zu characters, %zu of them digits\n", reports, characters, digits);
    return reports > kReports / 2 && digits > reports && digits < characters ? 0 : 1;
}
