#include "cli/fleet_sides.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <utility>

#include "cli/comparison/side_collector.h"
#include "cli/questions/fleet_reader.h"
#include "cli/questions/label_condition.h"
#include "cli/terminal/progress_bar.h"
#include "host/error.h"
#include "qor/report.h"

namespace cli {
namespace {

using Devices = std::map<std::string, FleetDevice>;

std::vector<std::string> matching(const Devices &devices, const char *option, const std::string &text,
                                  const LabelCondition &condition) {
    std::vector<std::string> names;
    for (const auto &[name, device] : devices) {
        if (condition.holds(device.labels)) {
            names.push_back(name);
        }
    }
    if (names.empty()) {
        throw host::Error("", "",
                          std::string(option) + " " + host::in_quotes(text) + " holds for none of " +
                              std::to_string(devices.size()) + " devices");
    }
    return names;
}

std::uint64_t bytes_of(const Devices &devices, const std::vector<std::string> &names) {
    std::uint64_t bytes = 0;
    for (const std::string &name : names) {
        bytes += devices.at(name).reports * _QorProfileReport::kSize;
    }
    return bytes;
}

/** The option requires that servers are named. */
Argument beside_servers(const FleetArguments &arguments, Argument option) {
    option.needs = arguments.from.option;
    return option;
}

} // namespace

Argument from_argument(FleetArguments &arguments) {
    return urls_argument(arguments.from, "Devices that were loaded into ClickHouse; with\n--cluster one of each shard");
}

Argument condition_a_argument(FleetArguments &arguments) {
    return beside_servers(arguments, {.name = "--a",
                                      .value_name = "CONDITION",
                                      .target = &arguments.a,
                                      .help = "Those of side a by labels, such as firmware = 7",
                                      .kind = ValueKind::Other});
}

Argument condition_b_argument(FleetArguments &arguments) {
    return beside_servers(arguments, {.name = "--b",
                                      .value_name = "CONDITION",
                                      .target = &arguments.b,
                                      .help = "Those of side b",
                                      .kind = ValueKind::Other});
}

Argument fleet_cluster_argument(FleetArguments &arguments) {
    return beside_servers(arguments, cluster_argument(arguments.from, "From the shards of a cluster"));
}

Argument fleet_database_argument(FleetArguments &arguments) {
    return beside_servers(arguments, database_argument(arguments.from, "That has the tables; default: qor"));
}

Argument fleet_patience_argument(FleetArguments &arguments) {
    return beside_servers(arguments, patience_argument(arguments.from));
}

Argument fleet_silence_argument(FleetArguments &arguments) {
    return beside_servers(arguments, silence_argument(arguments.from));
}

FleetSides collect_fleet(const FleetArguments &arguments) {
    const auto condition_in = [](const char *option, const std::optional<std::string> &text) {
        return text ? std::optional<LabelCondition>(std::in_place, option, *text) : std::nullopt;
    };
    const std::optional<LabelCondition> a = condition_in("--a", arguments.a);
    const std::optional<LabelCondition> b = condition_in("--b", arguments.b);
    FleetReader reader(servers_of(arguments.from));
    const Devices devices = reader.devices();
    std::vector<std::string> names_a;
    std::vector<std::string> names_b;
    if (a) {
        names_a = matching(devices, "--a", *arguments.a, *a);
    }
    if (b) {
        names_b = matching(devices, "--b", *arguments.b, *b);
    }
    for (const std::string &name : names_a) {
        if (std::ranges::binary_search(names_b, name)) {
            throw host::Error("", "", "--a and --b both hold for the device " + host::in_quotes(name));
        }
    }

    ProgressBar bar(bytes_of(devices, names_a) + bytes_of(devices, names_b));
    std::uint64_t done = 0;
    const auto collect = [&](const std::vector<std::string> &names) {
        SideCollector collector;
        reader.read(names, {.begin = [&](const std::string &device) { collector.begin_recording(device); },
                            .add_reports =
                                [&](std::span<const _QorProfileReport> reports) {
                                    collector.add_reports(reports);
                                    done += reports.size_bytes();
                                    bar.show(done);
                                },
                            .add_store = [&](const host::StoreContents &contents) { collector.add_store(contents); },
                            .add_records = [&](const std::vector<host::StateRecord> &records,
                                               std::int64_t taken) { collector.add_records(records, taken); }});
        return collector.finish();
    };
    FleetSides sides;
    sides.a = collect(names_a);
    sides.b = collect(names_b);
    return sides;
}

} // namespace cli
