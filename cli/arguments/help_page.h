/** The layout of `--help`. */
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace cli {

/** Fits a screen: arguments and options in one block, one line each, without the parser's own annotations. */
class HelpPage : public CLI::Formatter {
public:
    HelpPage();

    std::string make_group(std::string group, bool is_positional,
                           std::vector<const CLI::Option *> options) const override;
    std::string make_usage(const CLI::App *app, std::string name) const override;
    std::string make_option_opts(const CLI::Option *option) const override;
};

/** The last lines of a help page. */
std::string examples(const std::string &first, const std::string &second);

} // namespace cli
