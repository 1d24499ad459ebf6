/** The section of state captures: the last press, assets and sensors, and lines of the log, of each device. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/page/page.h"
#include "cli/recordings/recordings.h"

namespace cli {

/** A record as the page shows it. What its form has not is empty. All texts are UTF-8. */
struct PageRecord {
    std::string title;
    std::uint64_t size = 0;          ///< in bytes, header included
    std::optional<Json> latencies{}; ///< of the last press
    std::optional<Json> assets{};    ///< rows of texts
    std::optional<Json> sensor{};    ///< `key` and `value` of each setting
    std::optional<Json> entries{};   ///< the same of any other dictionary
    std::vector<std::string> lines{};
};

/** Gathers the records of each device. Of latencies, assets and a sensor, the newest stay. One thread at a time. */
class CapturesSection {
public:
    /** The last lines of a device that the page has, and of all devices together. */
    static constexpr std::size_t kLinesOfDevice = 500;
    static constexpr std::size_t kLinesOfPage = 5000;
    /** Devices that the page shows; of all others it has the number. */
    static constexpr std::size_t kDevicesAtMost = 100;
    /** Sensors, and other dictionaries, that it shows of a device. */
    static constexpr std::size_t kTablesOfDevice = 50;

    void add(const Recording &recording, PageRecord record);

    bool empty() const { return _devices.empty(); }

    /** @param blocks  get the lines. */
    PageSection finish(std::vector<PageBlock> &blocks);

private:
    struct Table {
        std::string title;
        Json entries;
    };

    struct Device {
        std::uint64_t records = 0;
        std::uint64_t bytes = 0;
        std::int64_t newest_latencies = 0; ///< when that was taken; microseconds since 1970
        std::int64_t newest_assets = 0;
        std::optional<Json> latencies;
        std::optional<Json> assets;
        std::vector<Json> sensors;
        std::vector<Table> tables;
        std::uint64_t more_tables = 0;
        std::vector<std::string> lines; ///< the last ones
        std::uint64_t line_count = 0;
    };

    static void add_lines(Device &device, std::vector<std::string> lines);
    static Json device_json(const std::string &name, Device &device);

    std::map<std::string, Device> _devices;
    std::uint64_t _other_devices = 0; ///< records of devices beyond `kDevicesAtMost`
};

} // namespace cli
