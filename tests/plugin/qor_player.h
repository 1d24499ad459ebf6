/** A QOR played by functions, for the tests of everything that talks to one through the platform. */
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/RvAllocator.h"
#include "host/RvHID.h"
#include "host/RvRegistry.h"
#include "host/device/qor_plug_ins.h"
#include "platform/Owned.h"

namespace plug_in_tests {

/** Counts what is taken and given back; can be told to have no memory for the allocation of that number. */
class CountingAllocator final : public RvAllocator {
public:
    void *allocate(std::size_t size) const override {
        if (allocations++ == fails_at) {
            return nullptr;
        }
        ++live;
        return std::malloc(size);
    }
    void deallocate(void *storage) const override {
        --live;
        std::free(storage);
    }

    mutable int allocations = 0;
    mutable int live = 0;
    int fails_at = -1;
};

inline platform::OwnedValue string_value(const char *text) {
    return platform::OwnedValue(TvStringCreateWithCString(text, kTvStringEncodingUTF8));
}
inline platform::OwnedValue number_value(int64_t number) { return platform::OwnedValue(TvNumberCreateSInt64(number)); }
inline platform::OwnedValue boolean_value(bool value) { return platform::OwnedValue(TvRetain(TvBooleanGet(value))); }

/** A dictionary of numbers. */
inline platform::OwnedValue numbers(const std::vector<std::pair<const char *, int64_t>> &entries) {
    platform::OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    for (const auto &[key, number] : entries) {
        TvDictionarySetValue(dictionary.get(), string_value(key).get(), number_value(number).get());
    }
    return platform::OwnedValue(dictionary.detach());
}

/** The assertion line of a condition, whatever its line number. */
MATCHER_P3(IsAssertionLine, condition, value, error_text, "") {
    const std::string head =
        std::string(": Kelmarks: ") + condition + ", " + error_text + " file: plugin/OndreQORHIDStatistics.cpp, line: ";
    const std::string tail = std::string(" value:") + value;
    if (arg.size() <= head.size() + tail.size() || arg.compare(0, head.size(), head) != 0 ||
        arg.compare(arg.size() - tail.size(), tail.size(), tail) != 0) {
        return false;
    }
    const std::string line = arg.substr(head.size(), arg.size() - head.size() - tail.size());
    return line.find_first_not_of("0123456789") == std::string::npos;
}

inline auto assertion_line(const char *condition, const char *value = "0", const char *error_text = "") {
    return IsAssertionLine(condition, value, error_text);
}

using Usages = std::vector<std::pair<uint32_t, uint32_t>>;

inline const Usages kConsumerControl{{0x000C, 0x0001}};
inline const Usages kTelephony{{0x000B, 0x0001}};
inline const Usages kSensor{{0xFF00, 0x0003}};
inline const Usages kVendor{{0xFF00, 0x0029}};

struct QorOptions {
    bool driver_plug_in = true;
    bool device_plug_in = true;
    /** How many entries there are above the driver: interface and device, or fewer. */
    int ancestors = 2;
};

/** A QOR in the registry for as long as it lives: device, interface, driver, user client, each the next one's parent.
 */
class QorPlayer {
public:
    explicit QorPlayer(QorOptions options = {}) {
        if (options.ancestors >= 2) {
            host::RegistryEntryDescription entry{.name = "QOR device"};
            if (options.device_plug_in) {
                entry.plug_ins.push_back(host::device_plug_in(device));
            }
            device_entry = add(std::move(entry), 0);
        }
        if (options.ancestors >= 1) {
            interface_entry = add({.name = "QOR interface"}, device_entry);
        }
        host::RegistryEntryDescription entry{.name = "QOR driver"};
        if (options.driver_plug_in) {
            entry.plug_ins.push_back(host::driver_plug_in(driver));
        }
        driver_id = next_id;
        driver_entry = add(std::move(entry), interface_entry);
        client_entry = add({.name = "QOR user client"}, driver_entry);
    }
    ~QorPlayer() {
        // Children before their parents.
        for (; !_entries.empty(); _entries.pop_back()) {
            host::device_registry::remove(_entries.back());
        }
    }
    QorPlayer(const QorPlayer &) = delete;
    QorPlayer &operator=(const QorPlayer &) = delete;

    /** A HID service of this driver, over the QOR's transport. */
    RvHIDService service(const Usages &usages) const {
        RvHIDService service;
        service.name = "QOR service";
        service.properties.emplace("Transport", string_value("QOR"));
        service.usages = usages;
        service.registry_id = number_value(static_cast<int64_t>(driver_id));
        return service;
    }

    /** The same, announcing that it delivers analytics. */
    RvHIDService tallybook_service(const Usages &usages) const {
        RvHIDService result = service(usages);
        result.properties.emplace("ZELSupportsTallybook", boolean_value(true));
        return result;
    }

    std::shared_ptr<host::DriverBehaviour> driver = std::make_shared<host::DriverBehaviour>();
    std::shared_ptr<host::DeviceBehaviour> device = std::make_shared<host::DeviceBehaviour>();
    RvRegistryEntry device_entry = 0;
    RvRegistryEntry interface_entry = 0;
    RvRegistryEntry driver_entry = 0;
    RvRegistryEntry client_entry = 0;
    uint64_t driver_id = 0;

private:
    RvRegistryEntry add(host::RegistryEntryDescription entry, RvRegistryEntry parent) {
        entry.registry_id = next_id++;
        if (parent != 0) {
            entry.parents.emplace(kRvServicePlane, parent);
        }
        _entries.push_back(host::device_registry::add(std::move(entry)));
        return _entries.back();
    }

    static inline uint64_t next_id = 0x1000;
    std::vector<RvRegistryEntry> _entries;
};

} // namespace plug_in_tests
