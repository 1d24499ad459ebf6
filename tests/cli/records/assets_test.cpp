#include <string>

#include <gmock/gmock.h>

#include "cli/records/assets.h"
#include "tests/cli/records/known_payloads.h"

using cli_tests::array;
using cli_tests::Dictionary;
using cli_tests::haptic_assets;
using cli_tests::OwnedValue;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

std::string show(const OwnedValue &payload, const cli::TextStyle &style = {}) {
    return cli::assets_text(payload.get(), style).value_or("(another shape)");
}

TEST(AssetsTextTest, ARowForEachEventInTheFirmwaresOrder) {
    const std::string text = show(haptic_assets().take());

    EXPECT_THAT(text, StartsWith("              Slow                  Medium                 Fast\n"
                                 "               on slot gain  range   on slot  gain  range   on slot gain  range\n"
                                 "SingleDown     on    0    1 0..120   on    0 0.875 0..120   on    0 -0.5 0..120\n"
                                 "SingleUp       on    1    1 0..120   on    1 0.875 0..120   on    1 -0.5 0..120\n"));
    EXPECT_THAT(text, EndsWith("LongPressUp    on   15    1 0..120   on   15 0.875 0..120   on   15 -0.5 0..120\n"
                               "(null)        off   16    1 0..120  off   16 0.875 0..120  off   16 -0.5 0..120\n"));
}

TEST(AssetsTextTest, ATerminalDimsWhatIsDisabled) {
    const std::string text = show(haptic_assets().take(), {true, true});

    EXPECT_THAT(text, EndsWith("(null)        \x1b[2moff   16    1 0..120\x1b[0m  \x1b[2moff   16 0.875 0..120\x1b[0m"
                               "  \x1b[2moff   16 -0.5 0..120\x1b[0m\n"));
    EXPECT_THAT(text, Not(HasSubstr("\x1b[2m on")));
}

TEST(AssetsTextTest, SpeedsStandBelowOneAnotherWhereALineIsTooShort) {
    const std::string text = show(haptic_assets().take(), {false, false, 76});

    EXPECT_THAT(text, StartsWith("              Slow\n"
                                 "               on slot gain  range\n"
                                 "SingleDown     on    0    1 0..120\n"));
    EXPECT_THAT(text, HasSubstr("(null)        off   16    1 0..120\n"
                                "\n"
                                "              Medium\n"
                                "               on slot  gain  range\n"));
}

TEST(AssetsTextTest, NumbersKeepEveryDigitThatSaysSomething) {
    const OwnedValue payload = Dictionary()
                                   .with("Slow-DeepUp", "enable=255 slot=-2147483648 gain=-32768.000000 "
                                                        "min=-9223372036854775808 max=9223372036854775807")
                                   .with("Fast-DeepUp", "enable=1 slot=3 gain=0.100006 min=-1 max=10")
                                   .with("Fast-DeepDown", "enable=1 slot=3 gain=0.000000 min=-1 max=10")
                                   .take();

    const std::string text = show(payload);

    EXPECT_THAT(text, HasSubstr("255 -2147483648 -32768 -9223372036854775808..9223372036854775807"));
    EXPECT_THAT(text, HasSubstr("on    3 0.100006 -1..10"));
    EXPECT_THAT(text, HasSubstr("on    3        0 -1..10"));
}

TEST(AssetsTextTest, WhatIsMissingIsADash) {
    const OwnedValue payload = Dictionary().with("Medium-LongPress", "enable=1 slot=3 gain=1 min=0 max=9").take();

    EXPECT_THAT(show(payload), HasSubstr("\nLongPress      -    -    -     -  on    3    1  0..9   -    -    -     -"
                                         "\n"));
}

TEST(AssetsTextTest, UnknownEntriesComeLast) {
    const std::string digits(10'000, '7');
    const OwnedValue payload = Dictionary()
                                   .with("Fast-DeepUp", "enable=1 slot=3 gain=1.0 min=0 max=9")
                                   .with("Medium-DeepUp", "enable=1 slot=3 gain=1.0 min=0 max=9 more=1")
                                   .with("Slow-DeepDown", "enable=1 slot=x gain=1.0 min=0 max=9")
                                   .with("Slow-DeepUp", 5)
                                   .with("Slow-LongPress", "enable=0.5 slot=3 gain=1.0 min=0 max=9")
                                   .with("Slow-SingleUp", "enable=1 slot=3 gain=1.0 min=0 max=" + digits)
                                   .with("Slower-DeepUp", "enable=1 slot=3 gain=1.0 min=0 max=9")
                                   .take();

    EXPECT_THAT(show(payload), EndsWith("\nMedium-DeepUp:  enable=1 slot=3 gain=1.0 min=0 max=9 more=1\n"
                                        "Slow-DeepDown:  enable=1 slot=x gain=1.0 min=0 max=9\n"
                                        "Slow-DeepUp:    5\n"
                                        "Slow-LongPress: enable=0.5 slot=3 gain=1.0 min=0 max=9\n"
                                        "Slow-SingleUp:  enable=1 slot=3 gain=1.0 min=0 max=" +
                                        digits + "\nSlower-DeepUp:  enable=1 slot=3 gain=1.0 min=0 max=9\n"));
}

TEST(AssetsTextTest, APayloadWithoutAnAssetIsAnotherShape) {
    EXPECT_EQ(cli::assets_text(nullptr, {}), std::nullopt);
    EXPECT_EQ(cli::assets_text(array().get(), {}), std::nullopt);
    EXPECT_EQ(cli::assets_text(Dictionary().with("Slow-DeepUp", "enable=").take().get(), {}), std::nullopt);
    EXPECT_EQ(cli::assets_text(Dictionary().with("Slow-DeepUp", "").take().get(), {}), std::nullopt);
}

} // namespace
