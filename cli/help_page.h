/** How `--help` looks. */
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace cli {

/** Short enough for a screen: names and one line of text each, without the parser's own annotations. */
class HelpPage : public CLI::Formatter {
public:
    HelpPage();

    std::string make_usage(const CLI::App *app, std::string name) const override;
    std::string make_option_opts(const CLI::Option *option) const override;
};

} // namespace cli
