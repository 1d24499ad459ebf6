#include "plugin/AssertionLine.h"

#include <cstdio>
#include <mutex>

namespace {

std::once_flag sharedLogOnce;
RvLogRef sharedLogObject = nullptr;

} // namespace

RvLogRef sharedLog() { return sharedLogObject; }

void createSharedLog() {
    std::call_once(sharedLogOnce, [] { sharedLogObject = RvLogCreate("ZEL", "OndreQORHIDStatistics"); });
}

void logAssertion(const char *condition, int line, uint32_t value, const char *errorText) {
    if (!RvLogIsEnabled(sharedLog(), kRvLogLevelDefault)) {
        return;
    }
    char text[1024];
    std::snprintf(text, sizeof text, "%s: Kelmarks: %s, %s file: %s, line: %d value:%x\n", "", condition,
                  errorText != nullptr ? errorText : "", "plugin/OndreQORHIDStatistics.cpp", line, value);
    RvLogWrite(sharedLog(), kRvLogLevelDefault, text);
}
