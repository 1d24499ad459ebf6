#include "decoder/ProfileDescription.h"

#include <cstdio>
#include <string_view>

#include "decoder/report_line.h"
#include "platform/Owned.h"

static_assert(kQorProfileReportSize == qor::kReportSize);

namespace {

/** On the stack; nearly every line fits, the longest go to the heap. */
constexpr std::size_t kUsualLineRoom = 1024;

TvStringRef string_of(std::string_view text) {
    return TvStringCreateWithBytes(text.data(), text.size(), kTvStringEncodingUTF8);
}

} // namespace

/* Not read anywhere, as intended: clients may set it, and it changes nothing. */
std::uint8_t _qor_profile_delta_enabled = 0;

TvStringRef CopyProfileDescription(const void *report) {
    if (report == nullptr) {
        return nullptr;
    }
    try {
        // Before the clock is read: meanwhile a processor fetches the report.
        const auto copy = _QorProfileReport::copied_from(report);
        char usual_room[kUsualLineRoom];
        text_buffer buffer(usual_room);
        decoder::append_line(buffer, copy, decoder::read_device_clock());
        return string_of(buffer.text());
    } catch (...) {
        return string_of("");
    }
}

void qor_profile_print(const void *report) {
    if (platform::OwnedValue description(CopyProfileDescription(report)); description) {
        std::puts(TvStringGetCString(description.get()));
    }
}
