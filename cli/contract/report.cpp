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

/** Text of an XML element or of an attribute in double quotes. */
std::string xml_text(const std::string &text) {
    std::string escaped;
    for (const char character : escape_controls(text)) {
        switch (character) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += character;
        }
    }
    // The two characters that are UTF-8 and no text.
    for (const std::string_view noncharacter : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = escaped.find(noncharacter); at != std::string::npos; at = escaped.find(noncharacter)) {
            escaped.replace(at, noncharacter.size(), noncharacter.back() == '\xBE' ? "\\uFFFE" : "\\uFFFF");
        }
    }
    return escaped;
}

/** What is inside of the element of a check's result. */
std::string junit_details(const CheckReport &report) {
    std::string text;
    for (const std::string &reason : report.result.reasons) {
        text += xml_text(reason) + "\n";
    }
    for (const std::string &line : last_lines(report.messages)) {
        text += "| " + xml_text(line) + "\n";
    }
    return report.reproduce.empty() ? text : text + "again: " + xml_text(report.reproduce) + "\n";
}

/** The element of a check's result: the form has none for a check that passed, nor for a warning. */
std::string junit_result(const CheckReport &report) {
    const auto element = [&report](const std::string &name) {
        const std::string message = report.result.reasons.empty() ? "" : xml_text(report.result.reasons.front());
        return "      <" + name + " message=\"" + message + "\">" + junit_details(report) + "</" + name + ">\n";
    };
    switch (report.result.status) {
    case CheckStatus::Failed:
        return element("failure");
    case CheckStatus::Crashed:
        return element("error");
    case CheckStatus::Skipped:
        return element("skipped");
    case CheckStatus::Warning:
        return "      <system-out>" + junit_details(report) + "</system-out>\n";
    default:
        return "";
    }
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

std::string validation_junit(const Validation &validation) {
    const auto attribute = [](const std::string &name, std::size_t number) {
        return " " + name + "=\"" + std::to_string(number) + "\"";
    };
    const std::string counts = attribute("tests", validation.reports.size()) +
                               attribute("failures", validation.count(CheckStatus::Failed)) +
                               attribute("errors", validation.count(CheckStatus::Crashed)) +
                               attribute("skipped", validation.count(CheckStatus::Skipped));
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + counts + ">\n  <testsuite name=\"" +
                      xml_text(validation.module) + "\"" + counts +
                      ">\n    <properties>\n      <property name=\"seed\"" + attribute("value", validation.seed) +
                      "/>\n    </properties>\n";
    for (const CheckReport &report : validation.reports) {
        xml += "    <testcase classname=\"qorstat.validate\" name=\"" + xml_text(report.check.name) + "\">\n" +
               junit_result(report) + "    </testcase>\n";
    }
    return xml + "  </testsuite>\n</testsuites>\n";
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
