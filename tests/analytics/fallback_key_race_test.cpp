// Two threads ask for the fallback key before it exists. A separate program, because a process creates the key once.

#include <gtest/gtest.h>

#include <functional>
#include <string_view>
#include <thread>
#include <utility>

#include "host/TvValues.h"
#include "tests/plugin/plug_in_fixture.h"

namespace {

constexpr std::string_view kFallbackName = "com.ondre.zel.unknown";

/** Called once, before the next new fallback key is returned to the thread that creates it. */
std::function<void()> meanwhile;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names for the replacement and for the original
extern "C" {
TvStringRef __real_TvStringCreateWithCString(const char *text, TvStringEncoding encoding);

TvStringRef __wrap_TvStringCreateWithCString(const char *text, TvStringEncoding encoding) {
    TvStringRef made = __real_TvStringCreateWithCString(text, encoding);
    if (meanwhile && text == kFallbackName) {
        std::exchange(meanwhile, nullptr)();
    }
    return made;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace plug_in_tests {
namespace {

constexpr auto kPastTheTable = static_cast<TallybookKey>(200);

using FallbackKeyRace = PlugInTest;

TEST_F(FallbackKeyRace, EveryThreadGetsTheFirstKeyAndTheOtherIsReleased) {
    TvStringRef of_the_quicker = nullptr;
    meanwhile = [&] { std::thread([&] { of_the_quicker = plug_in->keyForIndex(kPastTheTable); }).join(); };
    const std::size_t before = host::live_values();

    TvStringRef of_the_slower = plug_in->keyForIndex(kPastTheTable);

    ASSERT_NE(of_the_quicker, nullptr);
    EXPECT_EQ(of_the_slower, of_the_quicker);
    EXPECT_EQ(plug_in->keyForIndex(kPastTheTable), of_the_quicker);
    EXPECT_EQ(TvStringGetCString(of_the_quicker), kFallbackName);
    EXPECT_EQ(host::live_values(), before + 1);
}

} // namespace
} // namespace plug_in_tests
