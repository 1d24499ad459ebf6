#include "cli/arguments/help_page.h"

namespace cli {
namespace {

constexpr std::size_t kNameColumnWidth = 26;

} // namespace

HelpPage::HelpPage() { column_width(kNameColumnWidth); }

std::string HelpPage::make_group(std::string, bool is_positional, std::vector<const CLI::Option *> options) const {
    std::string rows;
    for (const CLI::Option *const option : options) {
        rows += make_option(option, is_positional);
    }
    return rows;
}

std::string HelpPage::make_usage(const CLI::App *app, std::string name) const {
    if (app->get_parent() == nullptr) {
        return "Usage: qorstat VERB [OPTIONS] [ARGUMENTS]\n";
    }
    std::string usage = "Usage: " + name + " [OPTIONS]";
    for (const CLI::Option *const argument :
         app->get_options([](const CLI::Option *o) { return o->get_positional(); })) {
        const std::string word = argument->get_name(true) + (argument->get_expected_max() > 1 ? "..." : "");
        usage += argument->get_required() ? " " + word : " [" + word + "]";
    }
    return usage + "\n";
}

std::string HelpPage::make_option_opts(const CLI::Option *option) const {
    return option->get_option_text().empty() ? "" : " " + option->get_option_text();
}

std::string examples(const std::string &first, const std::string &second) {
    return "Examples:\n  " + first + "\n  " + second;
}

} // namespace cli
