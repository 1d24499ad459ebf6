/** The QOR driver's commands, methods and named services, and the data that it publishes in the registry. */
#ifndef QOR_DRIVER_H
#define QOR_DRIVER_H

#include <cstdint>

namespace qor::driver {

/** Selectors of `QorDriverInterfaceTable::command`. */
inline constexpr std::uint32_t kGetPropertyCommand = 10;    ///< in: the 32-bit id of a property; out: the property
inline constexpr std::uint32_t kAnalyticsReadyCommand = 30; ///< analytics have a receiver; no data in or out

/** The type for connections to the named services. */
inline constexpr std::uint32_t kConnectionType = 0;
/** The user-client method that reads a property. Its only scalar is the property's id. */
inline constexpr std::uint32_t kGetPropertyMethod = 2;

/** A source of profile reports: a named service, and the property or command that returns reports. */
struct ReportSource {
    std::uint32_t number;
    const char *type; ///< its name in the titles of snapshots
    const char *service;
    std::uint32_t selector; ///< the id of the property, or the number of the command
    std::uint32_t entries;  ///< the number of handlers that read from it
};

/** The sources. `kReportSources` has the order in which their handlers are registered. */
inline constexpr ReportSource kFirmwareReports = {1, "fw", "ZEL_profile", 209, 48};        ///< a property
inline constexpr ReportSource kDriverReports = {2, "drvx", "OndreQORProfileDriver", 9, 8}; ///< a command
inline constexpr ReportSource kErrorReports = {3, "err", "OndreQORProfileDriver", 8, 48};  ///< a command

/** The most reports that a handler reads. */
inline constexpr std::uint32_t kReportsPerEntry = 32;

inline constexpr const ReportSource *kReportSources[] = {&kFirmwareReports, &kDriverReports, &kErrorReports};

/** The registry property of the driver and its user client that holds their event counters, and its keys. */
inline constexpr const char *kDebugState = "DebugState";
inline constexpr const char *kNumEvents = "_num_events"; ///< in the driver's property; the others are in the client's
inline constexpr const char *kEnqueuedEvents = "EnqueueEventCount";          //
inline constexpr const char *kDroppedEvents = "DroppedEventCount";           //
inline constexpr const char *kLastEventTime = "LastEventTime";               ///< nanoseconds
inline constexpr const char *kLastDroppedEventTime = "LastDroppedEventTime"; ///< nanoseconds

/** The class of the registry service that publishes the time synchronisation, its property, and the keys in it. */
inline constexpr const char *kTimeSyncClass = "OndreQORTimesync";
inline constexpr const char *kTimeSync = "timesync";
inline constexpr const char *kTimeSyncQor = "qor";           ///< nanoseconds of the coprocessor's clock
inline constexpr const char *kTimeSyncCalendar = "calendar"; ///< nanoseconds since the epoch

} // namespace qor::driver

#endif
