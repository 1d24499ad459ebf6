#include "cli/contract/report.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

#include "cli/terminal/columns.h"
#include "cli/terminal/json_text.h"
#include "host/count_text.h"

namespace cli {
namespace {

constexpr std::size_t kStatusWidth = 9;
constexpr std::size_t kNameWidth = 24;
constexpr std::size_t kIndent = kStatusWidth;

/** At most this many lines of the module's output are printed. */
constexpr std::size_t kMostMessageLines = 20;

struct StatusLook {
    const char *name;
    int colour; ///< of terminals
};

/** In the order of `CheckStatus`. */
constexpr std::array<StatusLook, 5> kStatusLooks = {
    {{"passed", 32}, {"failed", 31}, {"crashed", 31}, {"skipped", 36}, {"warning", 33}}};

const StatusLook &look_of(CheckStatus status) { return kStatusLooks[static_cast<std::size_t>(status)]; }

std::string pad(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

std::string indent(const std::string &text) { return std::string(kIndent, ' ') + text + "\n"; }

std::vector<std::string> last_lines(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    if (lines.size() > kMostMessageLines) {
        const std::size_t left_out = lines.size() - kMostMessageLines;
        lines.erase(lines.begin(), lines.end() - kMostMessageLines);
        lines.insert(lines.begin(), "(" + std::to_string(left_out) + " earlier lines)");
    }
    return lines;
}

/** The module's output, with control characters escaped even when written to a file. */
std::string message_lines(const std::string &messages) {
    std::string text;
    for (const std::string &line : last_lines(messages)) {
        text += indent("| " + escape_controls(line));
    }
    return text;
}

Json json_of(const CheckReport &report) {
    Json json;
    json["name"] = report.check.name;
    json["promise"] = report.check.promise;
    json["status"] = name_of(report.result.status);
    json["reasons"] = Json::array();
    for (const std::string &reason : report.result.reasons) {
        json["reasons"].push_back(escape_controls(reason));
    }
    if (report.result.status != CheckStatus::Passed && report.result.status != CheckStatus::Skipped) {
        put_text(json, "messages", report.messages);
        put_text(json, "reproduce", report.reproduce);
    }
    return json;
}

} // namespace

std::size_t Validation::count(CheckStatus status) const {
    return static_cast<std::size_t>(std::count_if(reports.begin(), reports.end(), [status](const CheckReport &report) {
        return report.result.status == status;
    }));
}

std::string name_of(CheckStatus status) { return look_of(status).name; }

std::string report_text(const CheckReport &report, bool shows_reproduce, const TextStyle &style) {
    const CheckStatus status = report.result.status;
    std::string text = style.colour(pad(name_of(status), kStatusWidth), look_of(status).colour) +
                       pad(report.check.name, kNameWidth) + report.check.promise + "\n";
    for (const std::string &reason : report.result.reasons) {
        text += indent(escape_controls(reason));
    }
    if (status == CheckStatus::Passed) {
        return text;
    }
    text += message_lines(report.messages);
    if (shows_reproduce && (status == CheckStatus::Failed || status == CheckStatus::Crashed)) {
        text += indent("again: " + style.show(report.reproduce));
    }
    return text;
}

std::string totals_text(const Validation &validation) {
    std::string text =
        host::count_text(validation.reports.size(), "check") + " with seed " + std::to_string(validation.seed) + ": ";
    for (std::size_t i = 0; i < kStatusLooks.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(validation.count(static_cast<CheckStatus>(i))) + " " +
                kStatusLooks[i].name;
    }
    return text + "\n";
}

std::string validation_json(const Validation &validation) {
    Json json;
    put_text(json, "module", validation.module);
    json["seed"] = validation.seed;
    json["checks"] = Json::array();
    for (const CheckReport &report : validation.reports) {
        json["checks"].push_back(json_of(report));
    }
    for (std::size_t i = 0; i < kStatusLooks.size(); ++i) {
        json["totals"][kStatusLooks[i].name] = validation.count(static_cast<CheckStatus>(i));
    }
    return json_lines(json);
}

std::string list_text(std::span<const ContractCheck> checks) {
    std::string text;
    for (const ContractCheck &check : checks) {
        text += pad(check.name, kNameWidth) + check.promise + "\n";
    }
    return text;
}

std::string list_json(std::span<const ContractCheck> checks) {
    Json json = Json::array();
    for (const ContractCheck &check : checks) {
        json.push_back(Json::object({{"name", check.name}, {"promise", check.promise}}));
    }
    return json_lines(json);
}

} // namespace cli
