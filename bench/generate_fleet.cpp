/** Writes the dumps and stores of many devices, for measuring and trying: generate_fleet --help. */
#include <cstdio>
#include <exception>
#include <optional>
#include <string_view>

#include "bench/fleet.h"
#include "cli/arguments/whole_number.h"

namespace {

constexpr const char kUsage[] =
    "usage: generate_fleet --folder FOLDER [--devices N] [--reports N] [--seed N]\n"
    "\n"
    "Writes the dumps and the analytics stores of devices: device-0001.bin, device-0001.db and so on.\n"
    "The same numbers give the same dumps, byte for byte, and the same contents of stores.\n"
    "\n"
    "  --folder FOLDER  made when it does not exist; must not have such stores\n"
    "  --devices N      1 to 9999; default 10\n"
    "  --reports N      of each device, up to 100000000; default 100000\n"
    "  --seed N         default 1\n";

constexpr std::uint64_t kMostDevices = 9'999;
constexpr std::uint64_t kMostReports = 100'000'000;

struct Arguments {
    bench::Fleet fleet;
    std::string_view folder;
};

/** Nothing for arguments that are wrong. */
std::optional<Arguments> parse(int argc, char **argv) {
    Arguments arguments;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string_view option = argv[i];
        const std::optional<std::uint64_t> number = cli::parse_whole_number(argv[i + 1]);
        if (option == "--folder") {
            arguments.folder = argv[i + 1];
        } else if (option == "--devices" && number && *number >= 1 && *number <= kMostDevices) {
            arguments.fleet.devices = *number;
        } else if (option == "--reports" && number && *number <= kMostReports) {
            arguments.fleet.reports = *number;
        } else if (option == "--seed" && number) {
            arguments.fleet.seed = *number;
        } else {
            return std::nullopt;
        }
    }
    return argc % 2 == 1 && !arguments.folder.empty() ? std::optional(arguments) : std::nullopt;
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    const std::optional<Arguments> arguments = parse(argc, argv);
    if (!arguments) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    try {
        bench::write_fleet(arguments->fleet, arguments->folder);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "generate_fleet: %s\n", error.what());
        return 1;
    }
}
