#include "cli/terminal/log.h"

#include <array>
#include <string>
#include <string_view>

#include <unistd.h>

#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "host/error.h"

namespace cli {
namespace {

/** By level: green, bold red, bold on red. */
constexpr std::array<std::string_view, 3> kColours = {"\x1b[32m", "\x1b[31m\x1b[1m", "\x1b[1m\x1b[41m"};
constexpr std::string_view kPlain = "\x1b[m";

std::string coloured(const host::LogLine &line) {
    const auto escape = [](std::string_view text) { return escape_for_terminal(text, Colours::Escaped); };
    const std::string_view text = line.text;
    return escape(text.substr(0, line.level_begin)) + std::string(kColours[static_cast<std::size_t>(line.level)]) +
           escape(text.substr(line.level_begin, line.level_end - line.level_begin)) + std::string(kPlain) +
           escape(text.substr(line.level_end));
}

void write_line(Output &output, const host::LogLine &line) {
    try {
        if (output.style().is_coloured) {
            output.write_styled(coloured(line));
        } else {
            output.write(line.text);
        }
        output.flush();
    } catch (const host::Error &) {
    } catch (const ReaderHasGone &) {
    } catch (const Interrupted &) {
    }
}

} // namespace

TerminalLog::TerminalLog(RvLogLevel least) : _least(least) {
    const auto output = std::make_shared<Output>(STDERR_FILENO, "standard error");
    _sink = host::log_to_lines([this, output](const host::LogLine &line) {
        ++_counts.at(static_cast<std::size_t>(line.level));
        if (line.level >= _least) {
            write_line(*output, line);
        }
    });
}

} // namespace cli
