#include "decoder/ProfileDescription.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "decoder/ZELLogDecoder.h"
#include "host/fault_points.h"
#include "platform/Owned.h"
#include "tests/decoder/report_builder.h"

namespace {

/** While set, array allocations of this thread fail. */
thread_local bool no_memory = false;

} // namespace

// The decoder's buffer is the only array allocated while a report is described.
void *operator new[](std::size_t size) {
    void *memory = no_memory ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }

namespace {

std::string text_of(const platform::OwnedValue &description) { return TvStringGetCString(description.get()); }

/** A report whose line is longer than the buffer on the stack. */
_QorProfileReport long_line_report() { return ReportBuilder(10, 0, 0, 7).counting(16, 47).u16(16, 4); }

_QorProfileReport short_line_report() { return ReportBuilder(4, 0, 0, 1).u32(20, 5); }

TEST(CopyProfileDescription, IsTheDecodersLine) {
    for (const _QorProfileReport &report : {long_line_report(), short_line_report()}) {
        const platform::OwnedValue description(CopyProfileDescription(report.bytes));

        ASSERT_TRUE(description);
        EXPECT_EQ(TvGetTypeID(description.get()), TvStringGetTypeID());
        EXPECT_EQ(text_of(description), ZELLogDecoder::to_string(report));
    }
}

TEST(CopyProfileDescription, IsNullWhenTheStringCannotBeCreated) {
    host::arm_fault("TvStringCreateWithBytes", 0, host::Strikes::Once);

    EXPECT_EQ(CopyProfileDescription(short_line_report().bytes), nullptr);

    host::disarm_faults();
}

TEST(CopyProfileDescription, IsEmptyWhenTheLineExhaustsMemory) {
    const _QorProfileReport report = long_line_report();

    no_memory = true;
    const platform::OwnedValue description(CopyProfileDescription(report.bytes));
    no_memory = false;

    ASSERT_TRUE(description);
    EXPECT_EQ(text_of(description), "");
}

TEST(QorProfilePrint, WritesAnEmptyLineForAnEmptyDescription) {
    const _QorProfileReport report = long_line_report();

    testing::internal::CaptureStdout();
    no_memory = true;
    qor_profile_print(report.bytes);
    no_memory = false;

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n");
}

} // namespace
