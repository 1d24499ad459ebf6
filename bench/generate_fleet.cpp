/** Writes the dumps and stores of many devices, for measuring and trying: generate_fleet --help. */
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iterator>
#include <optional>
#include <string_view>

#include "bench/fleet.h"
#include "cli/arguments/whole_number.h"

namespace {

constexpr const char kUsage[] =
    "usage: generate_fleet --folder FOLDER [--devices N] [--reports N] [--seed N] [--first-device N]\n"
    "                      [--plant WHAT[:SIZE]] [--planted-devices N]\n"
    "\n"
    "Writes the dumps and the analytics stores of devices: device-0001.bin, device-0001.db and so on.\n"
    "The same numbers give the same dumps, byte for byte, and the same contents of stores.\n"
    "\n"
    "  --folder FOLDER      made when it does not exist; must not have such stores\n"
    "  --devices N          1 to 9999; default 10\n"
    "  --reports N          of each device, up to 100000000; default 100000\n"
    "  --seed N             default 1\n"
    "  --first-device N     the number of the first one; default 1, and the last is at most 9999\n"
    "  --plant WHAT[:SIZE]  what a comparison is to find, SIZE from 1 to 10000:\n"
    "      slower-function  one function takes SIZE percent longer; default 100\n"
    "      new-event        SIZE in 1000 steps end with an event that is not there otherwise; default 20\n"
    "      lost-reports     SIZE in 1000 steps lose up to 300 reports more; default 20\n"
    "      shifted-store    the values of one distribution are greater by SIZE percent; default 900\n"
    "  --planted-devices N  only the first N devices have it; 1 is one sick device among many\n"
    "\n"
    "A step of the firmware is about two reports.\n";

constexpr std::uint64_t kMostDevices = 9'999;
constexpr std::uint64_t kMostReports = 100'000'000;

constexpr std::uint64_t kGreatestSize = 10'000;

struct PlantWord {
    std::string_view word;
    bench::Planted what;
    std::uint32_t usual_size;
};

constexpr PlantWord kPlantWords[] = {{"slower-function", bench::Planted::SlowerFunction, 100},
                                     {"new-event", bench::Planted::NewEvent, 20},
                                     {"lost-reports", bench::Planted::LostReports, 20},
                                     {"shifted-store", bench::Planted::ShiftedStore, 900}};

struct Arguments {
    bench::Fleet fleet;
    std::string_view folder;
};

/** Reads WHAT[:SIZE] into a plant. @return whether it is right. */
bool read_plant(std::string_view text, bench::Plant &plant) {
    const std::size_t colon = text.find(':');
    const auto *const word = std::ranges::find(kPlantWords, text.substr(0, colon), &PlantWord::word);
    if (word == std::end(kPlantWords)) {
        return false;
    }
    plant.what = word->what;
    plant.size = word->usual_size;
    if (colon == std::string_view::npos) {
        return true;
    }
    const std::optional<std::uint64_t> size = cli::parse_whole_number(text.substr(colon + 1));
    plant.size = static_cast<std::uint32_t>(size.value_or(0));
    return size && *size >= 1 && *size <= kGreatestSize;
}

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
        } else if (option == "--first-device" && number && *number >= 1 && *number <= kMostDevices) {
            arguments.fleet.first = *number;
        } else if (option == "--planted-devices" && number && *number >= 1 && *number <= kMostDevices) {
            arguments.fleet.plant.devices = *number;
        } else if (option != "--plant" || !read_plant(argv[i + 1], arguments.fleet.plant)) {
            return std::nullopt;
        }
    }
    const bool is_right = argc % 2 == 1 && !arguments.folder.empty() &&
                          arguments.fleet.first + arguments.fleet.devices - 1 <= kMostDevices;
    return is_right ? std::optional(arguments) : std::nullopt;
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
