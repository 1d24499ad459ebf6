/** A QOR whose registry entries, plug-ins and driver services are played by functions, for tests and contract checks.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "host/RvHID.h"
#include "host/RvRegistry.h"
#include "host/device/qor_plug_ins.h"
#include "qor/services.h"

namespace host {

/** Pairs of usage page and usage. */
using Usages = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

inline const Usages kConsumerControl{qor::services::kConsumerControl};
inline const Usages kTelephony{qor::services::kTelephony};
inline const Usages kSensor{qor::services::kAccelerometer};
inline const Usages kVendor{qor::services::kVendor};

/** A report of the control category. Its line names no text of the firmware. */
std::vector<std::uint8_t> control_report(std::uint8_t sequence_number);

/** `count` such reports, with sequence numbers from 0. */
std::vector<std::uint8_t> control_reports(std::size_t count);

/** A driver service that hands out profile reports. Registered as long as it lives. */
class PlayedReportService {
public:
    PlayedReportService(std::uint64_t registry_id, const char *name);
    ~PlayedReportService() { device_registry::remove(_entry); }
    PlayedReportService(const PlayedReportService &) = delete;
    PlayedReportService &operator=(const PlayedReportService &) = delete;

    /** The answer to every read. Bytes beyond the caller's room are not written. */
    std::vector<std::uint8_t> bytes;
    std::optional<std::size_t> reported_size; ///< claimed instead of the size of `bytes`
    RvStatus status = kRvStatusSuccess;

    std::vector<std::uint32_t> methods; ///< of all calls, in their order
    std::vector<std::uint64_t> scalars; ///< given to the last call
    std::size_t capacity = 0;           ///< the room in the last call, in bytes

private:
    RvRegistryEntry _entry;
};

struct PlayedQorOptions {
    bool driver_plug_in = true;
    bool device_plug_in = true;
    /** How many entries stand above the driver: 2 for interface and device, 1 for the interface, or 0. */
    int ancestors = 2;
    /** How many reports each report service has at first. */
    std::size_t reports = 0;
};

/**
 * A QOR in the registry as long as this object lives: device, interface, driver and user client, each the parent of the
 * next, and the two driver services that hand out profile reports. Several may live side by side; of report services
 * with the same name a look-up finds the one added first.
 */
class PlayedQor {
public:
    explicit PlayedQor(PlayedQorOptions options = {});
    ~PlayedQor();
    PlayedQor(const PlayedQor &) = delete;
    PlayedQor &operator=(const PlayedQor &) = delete;

    /** A HID service of this driver, with the transport "QOR". */
    RvHIDService service(const Usages &usages) const;
    /** The same, announcing that it delivers analytics. */
    RvHIDService tallybook_service(const Usages &usages) const;

    /**
     * Until `driver->command` is replaced, every command and property is answered with as many zeros as there is room
     * for, and recorded in `commands`.
     */
    std::shared_ptr<DriverBehaviour> driver = std::make_shared<DriverBehaviour>();
    std::shared_ptr<DeviceBehaviour> device = std::make_shared<DeviceBehaviour>();
    std::vector<std::uint32_t> commands;      ///< the selectors of all calls, in their order
    std::optional<std::size_t> reported_size; ///< claimed for a command instead of the bytes written
    RvStatus status = kRvStatusSuccess;       ///< of a command

    /** Entries that the options leave out are 0. */
    RvRegistryEntry device_entry = 0;
    RvRegistryEntry interface_entry = 0;
    RvRegistryEntry driver_entry = 0;
    RvRegistryEntry client_entry = 0;

    PlayedReportService firmware_reports; ///< of `qor::driver::kFirmwareReports`
    PlayedReportService driver_reports;   ///< of `qor::driver::kDriverReports` and `kErrorReports`

private:
    RvRegistryEntry add(RegistryEntryDescription entry, RvRegistryEntry parent);
    RvStatus answer_with_zeros(DriverCommand &command);

    std::uint64_t _driver_id = 0;
    std::vector<RvRegistryEntry> _entries;
};

} // namespace host
