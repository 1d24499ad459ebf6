#include <gtest/gtest.h>

#include "decoder/ZELLogDecoder.h"
#include "tests/decoder/report_builder.h"

namespace {

constexpr std::uint8_t kVastrel = 4;

ReportBuilder data_in() { return {3, 0, 0, kVastrel}; }
ReportBuilder data_out() { return {3, 1, 0, kVastrel}; }

std::string vastrel_text(const _QorProfileReport &report) { return payload_text(ZELLogDecoder::_vastrel, report); }
std::string generic_text(const _QorProfileReport &report) { return payload_text(ZELLogDecoder::_default, report); }

TEST(VastrelPayload, DataInIsAVectorWith16FractionBitsAndThenTheGenericText) {
    const _QorProfileReport report =
        data_in().u32(16, 0xFFFF0000).u32(20, 1).u32(24, 98304).u32(28, 4).u32(32, 5).u32(36, 6);

    EXPECT_EQ(vastrel_text(report),
              " 'arg1':4294901760, 'arg2':         1, 'arg3':     98304, 'arg4':         4, 'arg5':         5,"
              " 'arg6':         6, 'x':        -1, 'y':1.52588e-05, 'z':       1.5," +
                  generic_text(report));
    EXPECT_NE(generic_text(report), "");
}

TEST(VastrelPayload, DataOutIsAVectorWith12FractionBitsAndNothingElse) {
    const _QorProfileReport report = data_out().u32(16, 4096).u32(20, 6144).u32(24, 0xFFFFFFFF).u32(36, 4294967295);

    EXPECT_EQ(vastrel_text(report),
              " 'arg1':      4096, 'arg2':      6144, 'arg3':4294967295, 'arg4':         0, 'arg5':         0,"
              " 'arg6':4294967295, 'x':         1, 'y':       1.5, 'z':-0.000244141,");
}

struct RealRow {
    const char *meaning;
    std::uint32_t word;
    const char *in;  ///< with 16 fraction bits
    const char *out; ///< with 12 fraction bits
};

const RealRow kReals[] = {
    {"zero", 0, "         0", "         0"},
    {"the least positive value", 1, "1.52588e-05", "0.000244141"},
    {"the greatest", 0x7FFFFFFF, "     32768", "    524288"},
    {"the least", 0x80000000, "    -32768", "   -524288"},
    {"whole numbers have no point", 0x7A120000, "     31250", "    500000"},
    {"a third", 21845, "  0.333328", "   5.33325"},
    {"trailing zeros are dropped", 0x00018000, "       1.5", "        24"},
};

TEST(VastrelPayload, VectorPrintsSixSignificantDigits) {
    for (const RealRow &row : kReals) {
        SCOPED_TRACE(row.meaning);

        EXPECT_NE(vastrel_text(data_in().u32(16, row.word)).find(std::string(" 'x':") + row.in + ","),
                  std::string::npos);
        EXPECT_NE(vastrel_text(data_out().u32(24, row.word)).find(std::string(" 'z':") + row.out + ","),
                  std::string::npos);
    }
}

TEST(VastrelPayload, OtherHeadersPrintTheGenericText) {
    const ReportBuilder others[] = {
        {3, 0, 1, kVastrel}, {3, 1, 1, kVastrel}, {3, 2, 0, kVastrel}, {2, 0, 0, kVastrel}, {4, 1, 0, kVastrel},
    };

    for (_QorProfileReport report : others) {
        EXPECT_EQ(vastrel_text(report), generic_text(report));
    }
}

} // namespace
