/** The QOR driver's commands, methods and named services, and the counters that it publishes in the registry. */
#ifndef QOR_DRIVER_H
#define QOR_DRIVER_H

#include <cstdint>

namespace qor::driver {

/** Commands of the driver interface (`QorDriverInterfaceTable::command`). */
inline constexpr std::uint32_t kGetPropertyCommand = 10;    ///< in: a property's 32-bit id; out: the property
inline constexpr std::uint32_t kAnalyticsReadyCommand = 30; ///< somebody listens to the analytics; no data either way

/** User clients of the named services are connected with this type. */
inline constexpr std::uint32_t kConnectionType = 0;
/** The user-client method that reads a property; its one scalar is the property's id. */
inline constexpr std::uint32_t kGetPropertyMethod = 2;

/** A source of profile reports: a named service, and the property or the command that hands out reports. */
struct ReportSource {
    std::uint32_t number;
    const char *type; ///< how titles name it
    const char *service;
    std::uint32_t selector;
    std::uint32_t entries; ///< how many handlers read it
};

/** By number; they are asked in this order. */
inline constexpr ReportSource kFirmwareReports = {1, "fw", "ZEL_profile", 209, 48};        ///< a property
inline constexpr ReportSource kDriverReports = {2, "drvx", "OndreQORProfileDriver", 9, 8}; ///< a command
inline constexpr ReportSource kErrorReports = {3, "err", "OndreQORProfileDriver", 8, 48};  ///< a command

inline constexpr const ReportSource *kReportSources[] = {&kFirmwareReports, &kDriverReports, &kErrorReports};

/** The registry property of driver and user client that holds their counters, and the counters' keys in it. */
inline constexpr const char *kDebugState = "DebugState";
inline constexpr const char *kNumEvents = "_num_events";            ///< the driver's; the others are the client's
inline constexpr const char *kEnqueuedEvents = "EnqueueEventCount"; //
inline constexpr const char *kDroppedEvents = "DroppedEventCount";  //
inline constexpr const char *kLastEventTime = "LastEventTime";      ///< nanoseconds
inline constexpr const char *kLastDroppedEventTime = "LastDroppedEventTime"; ///< nanoseconds

/** The registry service that publishes the correspondence of the clocks, its property, and the keys in it. */
inline constexpr const char *kTimeSyncClass = "OndreQORTimesync";
inline constexpr const char *kTimeSync = "timesync";
inline constexpr const char *kTimeSyncQor = "qor";           ///< nanoseconds of the coprocessor's clock
inline constexpr const char *kTimeSyncCalendar = "calendar"; ///< nanoseconds since the epoch

} // namespace qor::driver

#endif
