// Reads any text as a time: it is refused with a reason, or it means the same when it is written in another form.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <variant>

#include "cli/arguments/time_text.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/clock.h"
#include "cli/dumps/wall_time.h"
#include "fuzz/input.h"

namespace {

using fuzz::require;

/** In seconds, with as many decimals as a microsecond has. */
std::string in_seconds(std::uint64_t microseconds) {
    std::string fraction = std::to_string(microseconds % cli::kMicrosecondsOfASecond);
    fraction.insert(0, 6 - fraction.size(), '0');
    return std::to_string(microseconds / cli::kMicrosecondsOfASecond) + "." + fraction + "s";
}

/** Writes each kind of time in another form and reads it again. */
struct Rewrite {
    const std::string &text;

    void operator()(const cli::FirmwareTime &time) const {
        const auto again = cli::parse_time(in_seconds(time.microseconds));
        require(std::get<cli::FirmwareTime>(again).microseconds == time.microseconds, "a time keeps its value", text);
    }
    void operator()(const cli::AfterFirstReport &time) const {
        const auto again = cli::parse_time("+" + in_seconds(time.microseconds));
        require(std::get<cli::AfterFirstReport>(again).microseconds == time.microseconds, "a time keeps its value",
                text);
    }
    void operator()(const cli::BeforeLastReport &time) const {
        const auto again = cli::parse_time("-" + std::to_string(time.microseconds) + "us");
        require(std::get<cli::BeforeLastReport>(again).microseconds == time.microseconds, "a time keeps its value",
                text);
    }
    void operator()(const cli::WallTime &time) const {
        try {
            const std::uint64_t since_epoch = cli::since_epoch(time);
            const std::string shown = cli::iso_wall_time(since_epoch, {0, 0});
            require(cli::since_epoch(cli::parse_wall_time(shown)) == since_epoch, "a date keeps its value", text);
            const decoder::time_sync sync = cli::parse_time_sync("qor=0,calendar=" + text);
            require(sync.calendar == since_epoch * 1000, "a synchronisation takes the date", text);
        } catch (const cli::WrongUse &) {
            return; // before 1970 in UTC
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    const std::string text = bytes.substr(0, bytes.find('\0')); // as an argument ends
    try {
        std::visit(Rewrite{text}, cli::parse_time(text));
    } catch (const std::invalid_argument &error) {
        require(*error.what() != '\0', "a refusal has a reason", text);
    }
    try {
        cli::parse_time_sync(text);
    } catch (const cli::WrongUse &error) {
        require(std::string(error.what()).find("expected times such as") != std::string::npos,
                "a refused synchronisation shows right ones", text);
    }
    return 0;
}
