#include "decoder/ProfileDescription.h"

#include <cstdio>
#include <string_view>

#include "decoder/report_line.h"
#include "platform/Owned.h"

static_assert(kQorProfileReportSize == qor::kReportSize);

namespace {

/** Room on the stack. Nearly every line fits; longer ones go to the heap. */
constexpr std::size_t kUsualLineRoom = 1024;

TvStringRef string_of(std::string_view text) {
    return TvStringCreateWithBytes(text.data(), text.size(), kTvStringEncodingUTF8);
}

} // namespace

/* Never read: clients may set it, and it has no effect. Intended. */
std::uint8_t _qor_profile_delta_enabled = 0;

TvStringRef CopyProfileDescription(const void *report) {
    if (report == nullptr) {
        return nullptr;
    }
    try {
        // The copy comes before the clock is read, so that the processor fetches the report in the meantime.
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
