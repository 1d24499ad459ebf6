#include <gtest/gtest.h>

#include "decoder/ZELLogDecoder.h"
#include "tests/decoder/report_builder.h"

namespace {

constexpr std::uint8_t kWake = 10;

std::string wake_text(const _QorProfileReport &report) { return payload_text(ZELLogDecoder::_wake, report); }
std::string generic_text(const _QorProfileReport &report) { return payload_text(ZELLogDecoder::_default, report); }

const PayloadRow kRows[] = {
    {"wake request: the endpoint keeps its 64 bits", ReportBuilder(13, 1, 0, kWake).u32(16, 3).u64(20, 4294967296),
     " 'wake_reason':         3, 'endpoint_ref':4294967296,"},
    {"wake request with the highest endpoint", ReportBuilder(13, 1, 0, kWake).u64(20, 0xFFFFFFFFFFFFFFFF),
     " 'wake_reason':         0, 'endpoint_ref':18446744073709551615,"},
    {"wake request with a short endpoint", ReportBuilder(13, 1, 0, kWake).u32(16, 4294967295).u64(20, 5),
     " 'wake_reason':4294967295, 'endpoint_ref':         5,"},
    {"wake event: no generic text follows", ReportBuilder(3, 2, 0, kWake).u32(16, 12).u32(20, 7).u32(24, 99),
     " 'wake_reason':        12, 'service_id':         7,"},
};

TEST(WakePayload, PrintsRequestsAndEvents) {
    for (const PayloadRow &row : kRows) {
        SCOPED_TRACE(row.meaning);

        EXPECT_EQ(wake_text(row.report), row.text);
    }
}

TEST(WakePayload, OtherHeadersPrintTheGenericText) {
    const ReportBuilder others[] = {
        {3, 1, 0, kWake}, {13, 2, 0, kWake}, {13, 1, 1, kWake}, {3, 2, 1, kWake}, {3, 0, 0, kWake}, {5, 2, 0, kWake},
    };

    for (_QorProfileReport report : others) {
        EXPECT_EQ(wake_text(report), generic_text(report));
    }
}

} // namespace
