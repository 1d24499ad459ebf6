#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"
#include "cli/comparison/baseline.h"
#include "cli/comparison/collection.h"
#include "cli/comparison/comparison.h"
#include "cli/comparison/json.h"
#include "cli/comparison/table.h"
#include "cli/dumps/owner_names.h"
#include "cli/fleet_sides.h"
#include "cli/page/comparison_section.h"
#include "cli/page/page.h"
#include "cli/recordings/recordings.h"
#include "cli/terminal/input.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/terminal/progress_bar.h"
#include "cli/verbs.h"
#include "host/count_text.h"

namespace cli {
namespace {

constexpr double kUsualLevel = 0.05;

struct CompareArguments {
    std::vector<std::string> inputs; ///< of a; with a baseline of the only side
    std::vector<std::string> inputs_of_b;
    std::string device_by = "file";
    FleetArguments fleet;
    std::optional<std::string> baseline;
    std::optional<std::string> saved_baseline;
    std::optional<std::string> names;
    bool is_json = false;
    bool shows_all = false;
    bool fails_on_change = false;
    std::optional<std::uint64_t> seed;
    double level = kUsualLevel;
    std::optional<std::string> page_file;
    std::optional<std::string> output_file;
    bool has_no_pager = false;
};

/** The value is a share of false discoveries. */
ValueReader level_reader(double &level) {
    return [&level](const std::string &name, const std::string &text) {
        char *end = nullptr;
        const double number = std::strtod(text.c_str(), &end);
        const bool is_number = !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos &&
                               end == text.c_str() + text.size();
        if (!is_number || number < 1e-6 || number > 0.5) {
            throw WrongUse(invalid_value(name, text) + ": expected 0.000001 to 0.5");
        }
        level = number;
    };
}

/** The inputs of the sides. With a baseline, b alone; to save one, a alone. */
struct SideInputs {
    std::vector<std::string> a;
    std::vector<std::string> b;
};

bool is_input(const std::string &word) {
    return !word.starts_with('-') || word == kStandardInputArgument || access(word.c_str(), F_OK) == 0;
}

SideInputs sides_of(const CompareArguments &arguments) {
    const std::vector<std::string> &a = arguments.inputs;
    const std::vector<std::string> &b = arguments.inputs_of_b;
    if (const auto option = std::ranges::find_if_not(b, is_input); option != b.end()) {
        throw WrongUse("what is behind -- is an input; options stand before it: \"" + *option + "\"");
    }
    const bool is_one_side = arguments.baseline || arguments.saved_baseline;
    if (is_one_side && !b.empty()) {
        throw WrongUse("with a baseline the inputs are one side, without --");
    }
    if (is_one_side && a.empty()) {
        throw WrongUse("inputs are required");
    }
    if (!is_one_side && (a.empty() || b.empty())) {
        throw WrongUse("inputs are required on both sides of --, such as: before -- after");
    }
    const auto names_of_standard_input = std::ranges::count(a, kStandardInputArgument) +
                                         std::ranges::count(b, kStandardInputArgument) +
                                         (arguments.baseline == kStandardInputArgument ? 1 : 0);
    if (names_of_standard_input > 1) {
        throw WrongUse("standard input is named more than once");
    }
    return arguments.baseline ? SideInputs{{}, a} : SideInputs{a, b};
}

/** What was read of both sides. */
struct ReadSides {
    Side a;
    Side b;
    bool has_failed = false;
};

/** Throws WrongUse unless a fleet is to give exactly the sides that are compared or saved. */
void require_fleet_sides(const CompareArguments &arguments) {
    const auto require = [](bool is_wanted, const char *option, bool is_given) {
        if (is_wanted != is_given) {
            throw WrongUse(std::string("with --from ") + option +
                           (is_wanted ? " is required" : " is not of what is compared"));
        }
    };
    if (!arguments.inputs.empty() || !arguments.inputs_of_b.empty()) {
        throw WrongUse("--from excludes inputs");
    }
    require(!arguments.baseline, "--a", arguments.fleet.a.has_value());
    require(!arguments.saved_baseline, "--b", arguments.fleet.b.has_value());
}

ReadSides read_fleet(const CompareArguments &arguments) {
    std::optional<Side> baseline;
    if (arguments.baseline) {
        baseline = read_baseline(*arguments.baseline);
    }
    FleetSides read = collect_fleet(arguments.fleet);
    return {baseline ? std::move(*baseline) : std::move(read.a), std::move(read.b), false};
}

ReadSides read_sides(const CompareArguments &arguments, const SideInputs &inputs) {
    const DeviceName device = arguments.device_by == "folder" ? DeviceName::Folder : DeviceName::File;
    ReadSides sides;
    std::optional<RecordingSequence> a;
    std::optional<RecordingSequence> b;
    if (!inputs.a.empty()) {
        a.emplace(inputs.a, std::nullopt, WantedRecordings::All, std::nullopt);
    }
    if (!inputs.b.empty()) {
        b.emplace(inputs.b, std::nullopt, WantedRecordings::All, std::nullopt);
    }
    const std::uint64_t size_of_a = a ? a->total_size() : 0;
    ProgressBar bar(size_of_a + (b ? b->total_size() : 0));
    const auto show_from = [&](std::uint64_t start) {
        return [&bar, start](std::uint64_t done) { bar.show(start + done); };
    };
    if (arguments.baseline) {
        sides.a = read_baseline(*arguments.baseline);
    }
    if (a) {
        sides.a = collect_side(*a, device, show_from(0));
    }
    if (b) {
        sides.b = collect_side(*b, device, show_from(size_of_a));
    }
    sides.has_failed = (a && a->has_failed()) || (b && b->has_failed());
    return sides;
}

int save(const CompareArguments &arguments, const ReadSides &sides) {
    if (sides.a.devices.empty()) {
        return kExitFailed; // said already
    }
    OutputFile file(arguments.saved_baseline);
    write_baseline(file, sides.a);
    file.finish();
    const SideSummary summary = sides.a.summary();
    print_outcome("written to " + *arguments.saved_baseline + ": " + host::count_text(summary.devices, "device") +
                  ", " + host::count_text(summary.recordings, "recording") + ", " +
                  host::count_text(summary.reports, "report") + "\n");
    return sides.has_failed ? kExitFailed : kExitOk;
}

/** Whether something is found that was not so on side a. */
bool has_changed(const ComparisonResult &result) {
    return !result.settings.empty() || std::ranges::any_of(result.findings, [](const Finding &finding) {
        return finding.kind == FindingKind::Group || (finding.kind == FindingKind::OneDevice && finding.is_of_b);
    });
}

FindingDrawing drawing_of(const Finding &finding) {
    const auto curve_of = [](const std::vector<CurvePoint> &points) {
        FindingDrawing::Curve curve;
        for (const CurvePoint &point : points) {
            curve.emplace_back(point.value, point.share);
        }
        return curve;
    };
    FindingDrawing drawing{finding.label, curve_of(finding.curve_a), curve_of(finding.curve_b), {}};
    for (const DeviceValue &device : finding.devices) {
        drawing.devices.push_back({device.device, device.is_of_b, device.median, device.has_moved});
    }
    return drawing;
}

void write_comparison_page(const std::string &name, const ComparisonResult &result) {
    std::vector<FindingDrawing> drawings;
    std::ranges::transform(result.findings, std::back_inserter(drawings), drawing_of);
    OutputFile file(name);
    write_page(file.output(), {"qorstat compare", {comparison_section(comparison_object(result), drawings)}, {}});
    file.finish();
}

int compare(const CompareArguments &arguments) {
    const bool is_of_fleet = arguments.fleet.is_given();
    const SideInputs inputs = is_of_fleet ? SideInputs{} : sides_of(arguments);
    if (is_of_fleet) {
        require_fleet_sides(arguments);
    }
    const OwnerNames names = arguments.names ? OwnerNames::read(*arguments.names) : OwnerNames();
    const ReadSides sides = is_of_fleet ? read_fleet(arguments) : read_sides(arguments, inputs);
    if (arguments.saved_baseline) {
        return save(arguments, sides);
    }
    if (sides.a.devices.empty() || sides.b.devices.empty()) {
        return kExitFailed; // said already
    }
    const ComparisonOptions options{arguments.seed.value_or(1), arguments.level, arguments.shows_all, &names};
    const ComparisonResult result = compare_sides(sides.a, sides.b, options);
    if (arguments.page_file) {
        write_comparison_page(*arguments.page_file, result);
    }
    OutputFile file(arguments.output_file);
    if (arguments.is_json) {
        file.output().write(comparison_json(result));
    } else {
        if (!arguments.has_no_pager) {
            file.output().page_when_long();
        }
        file.output().write_styled(comparison_text(result, arguments.shows_all, file.output().style()));
    }
    file.finish();
    return sides.has_failed || (arguments.fails_on_change && has_changed(result)) ? kExitFailed : kExitOk;
}

} // namespace

Verb declare_compare() {
    const auto arguments = std::make_shared<CompareArguments>();
    return {.arguments = {{.name = "A",
                           .target = &arguments->inputs,
                           .help = "One side: dumps, records, stores, folders of them, -"},
                          {.name = "B",
                           .target = &arguments->inputs_of_b,
                           .help = "The other side: the same, behind --",
                           .is_behind_separator = true},
                          {.name = "--device-by",
                           .value_name = "WHAT",
                           .target = word_reader(arguments->device_by, {"file", "folder"}),
                           .help = "What names a device: its file (default) or folder"},
                          {.name = "--save-baseline",
                           .value_name = "FILE",
                           .target = &arguments->saved_baseline,
                           .help = "Keep A as a baseline, and compare nothing"},
                          {.name = "--baseline",
                           .value_name = "FILE",
                           .target = &arguments->baseline,
                           .help = "Compare A with this baseline, which is side a then",
                           .excludes = "--save-baseline"},
                          from_argument(arguments->fleet),
                          condition_a_argument(arguments->fleet),
                          condition_b_argument(arguments->fleet),
                          fleet_cluster_argument(arguments->fleet),
                          fleet_database_argument(arguments->fleet),
                          fleet_patience_argument(arguments->fleet),
                          fleet_silence_argument(arguments->fleet),
                          {.name = "--json", .target = &arguments->is_json, .help = "Print JSON"},
                          {.name = "--html",
                           .value_name = "FILE",
                           .target = &arguments->page_file,
                           .help = "Also write a page that draws the findings"},
                          {.name = "--all",
                           .target = &arguments->shows_all,
                           .help = "Show all that was compared, not only twenty findings"},
                          {.name = "--level",
                           .value_name = "SHARE",
                           .target = level_reader(arguments->level),
                           .help = "Share of findings that may be false; default: 0.05",
                           .kind = ValueKind::Other},
                          {.name = "--seed",
                           .value_name = "N",
                           .target = whole_number_reader(arguments->seed),
                           .help = "Of random permutations; default: 1",
                           .kind = ValueKind::Other},
                          {.name = "--fail-on-change",
                           .target = &arguments->fails_on_change,
                           .help = "Exit with 1 when something has changed"},
                          {.name = "--names",
                           .value_name = "FILE.toml",
                           .target = &arguments->names,
                           .help = "Names of your own for ids (docs/decode.md)",
                           .has_variable = true},
                          output_argument(arguments->output_file),
                          no_pager_argument(arguments->has_no_pager)},
            .notes = "Devices are compared, not reports: each weighs the same.",
            .examples = {"qorstat compare before -- after", "qorstat compare --baseline good.qorbase tonight"},
            .run = [arguments] { return compare(*arguments); }};
}

} // namespace cli
