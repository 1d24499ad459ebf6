// Writes generated reports to standard output: every payload, ids without names, extreme numbers and hostile texts.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string_view>

#include "tests/decoder/report_generator.h"

namespace {

using oracle::Report;
using namespace std::string_view_literals;

/** Well-formed sequences at the ends of their lengths, ill-formed ones beside these, and what formats must escape. */
constexpr std::string_view kPieces[] = {
    "a"sv,
    "\x7F"sv,
    "\xC2\x80"sv,
    "\xDF\xBF"sv,
    "\xE0\xA0\x80"sv,
    "\xED\x9F\xBF"sv,
    "\xEE\x80\x80"sv,
    "\xEF\xBF\xBF"sv,
    "\xF0\x90\x80\x80"sv,
    "\xF3\xBF\xBF\xBF"sv,
    "\xF4\x8F\xBF\xBF"sv,
    "\x80"sv,
    "\xC1\xBF"sv,
    "\xC2"sv,
    "\xE0\x9F\xBF"sv,
    "\xED\xA0\x80"sv,
    "\xF0\x8F\xBF\xBF"sv,
    "\xF4\x90\x80\x80"sv,
    "\xF5\x80\x80\x80"sv,
    "\xFF"sv,
    "\""sv,
    "'"sv,
    "\\"sv,
    "\n"sv,
    "\t"sv,
    "\r"sv,
    ","sv,
    "\x01"sv,
    "\x1B[31m"sv,
    "\0"sv,
    "%s"sv,
    " "sv,
};

/** One in two texts that are well-formed for most of their pieces, or they would hardly ever be. */
void put_hostile_payload(oracle::ReportGenerator &generator, Report &report) {
    const std::uint64_t pieces = generator.below(2) == 0 ? std::size(kPieces) : 11;
    for (std::size_t at = oracle::kReportSize - 32; at < oracle::kReportSize;) {
        for (const char byte : kPieces[generator.below(pieces)]) {
            if (at < oracle::kReportSize) {
                report[at++] = static_cast<unsigned char>(byte);
            }
        }
    }
    if (generator.below(2) == 0) {
        report[oracle::kReportSize - 1 - generator.below(24)] = 0;
    }
}

Report next_report(oracle::ReportGenerator &generator) {
    // One more kind, with a payload of its own.
    const std::uint64_t kind = generator.below(oracle::ReportGenerator::kKinds + 1);
    if (kind < oracle::ReportGenerator::kKinds) {
        return generator.report_of_kind(kind);
    }
    Report report = generator.generic_report();
    put_hostile_payload(generator, report);
    return report;
}

/** Distinct for each report of a dump, and of every length: reports are told apart by it. */
void put_distinct_sequence_number(Report &report, std::uint32_t number) {
    number *= 2'654'435'761u;
    for (std::size_t i = 4; i < 8; ++i, number >>= 8) {
        report[i] = static_cast<unsigned char>(number);
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: generate_reports SEED COUNT\n";
        return 2;
    }
    oracle::ReportGenerator generator(std::strtoull(argv[1], nullptr, 10));
    const std::uint64_t count = std::strtoull(argv[2], nullptr, 10);
    for (std::uint64_t i = 0; i < count; ++i) {
        Report report = next_report(generator);
        put_distinct_sequence_number(report, static_cast<std::uint32_t>(i));
        if (std::fwrite(report.data(), 1, report.size(), stdout) != report.size()) {
            std::cerr << "generate_reports: cannot write\n";
            return 1;
        }
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
