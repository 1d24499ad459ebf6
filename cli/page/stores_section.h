/** The section of analytics stores: every distribution as a histogram with its percentiles, and the scalars. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "cli/page/page.h"
#include "cli/recordings/recordings.h"
#include "host/store/analytics_store.h"

namespace cli {

/** What is known of a key of a store. Both may be empty. */
struct KeyNote {
    std::string_view unit;
    std::string_view help;
};

/** Adds the stores of each device up, as `metrics --merge` does. One thread at a time. */
class StoresSection {
public:
    /** The bars of a histogram. A distribution with at most so many distinct values is drawn value by value. */
    static constexpr std::size_t kBars = 64;
    /** Devices that the page shows one by one; where there are more, it shows the sum of all alone. */
    static constexpr std::size_t kDevicesAtMost = 50;

    /** @param note_of  what is known of a key. */
    explicit StoresSection(std::function<KeyNote(std::string_view key)> note_of);

    void add(const Recording &recording, const host::StoreContents &contents);

    bool empty() const { return _device_names.empty(); }

    PageSection finish();

private:
    struct Device {
        std::uint64_t stores = 0;
        host::StoreContents contents;
    };

    Json device_json(const std::string &name, const Device &device) const;
    Json distribution_json(const std::string &key, const host::Distribution &distribution) const;
    Json keyed(const std::string &key) const;

    std::function<KeyNote(std::string_view key)> _note_of;
    std::map<std::string, Device> _devices; ///< empty when there are too many
    std::set<std::string> _device_names;    ///< of all
    Device _sum;
};

} // namespace cli
