/** The replies of a sensor's driver: properties, clients, registers, and tagged extra data. */
#ifndef QOR_SENSOR_H
#define QOR_SENSOR_H

#include <iterator>

#include "qor/field.h"

namespace qor::sensor {

/** A property of the driver, and its key in the snapshot. */
struct Property {
    const char *key;
    std::uint32_t id;
    std::uint16_t size; ///< in bytes; the maximum for texts and registers
};

// clang-format off

inline constexpr Property kReportInterval          = {"reportInterval",                      0,   4};
inline constexpr Property kRawMode                 = {"rawMode",                            10,   4};
inline constexpr Property kCalibrationMatrix       = {"calibrationMatrix",                  11,  36};
inline constexpr Property kFactoryMode             = {"factoryMode",                        13,   4};
inline constexpr Property kManufacturer            = {"manufacturer",                       15,  32};
inline constexpr Property kModel                   = {"model",                              16,  32};
inline constexpr Property kOrientationMatrix       = {"orientationMatrix",                  24,   9};
inline constexpr Property kInterruptCalibration    = {"intCal",                             25,   4};
inline constexpr Property kCalibrationOffset       = {"calibrationOffset",                  26,  12};
inline constexpr Property kCompassMatrix           = {"compassSensitivityCalibrationMatrix", 29,  36};
inline constexpr Property kDecimationEnabled       = {"decimationEnabled",                  36,   4};
inline constexpr Property kStartupTime             = {"startupTime",                        45,   4};
inline constexpr Property kRegisters               = {"registers",                          56, 128};
inline constexpr Property kCalibrationComplete     = {"calibrationComplete",                61,   4};
inline constexpr Property kSystickInterval         = {"systickInterval",                    64,   4};
/** Has one key for each of its fields: see `kBatchIntervalFields`. */
inline constexpr Property kBatchIntervals          = {nullptr,                              67,  20};
inline constexpr Property kLocation                = {"location",                           68,   5};

/** Properties with tagged extra data. Each of their lines has a key: this prefix and a number. */
inline constexpr Property kExtraData[] = {
    {"extra", 57, 256},
    {"extra", 58, 256},
    {"extra", 59, 256},
    {"extra", 60, 256},
};

/** Keys of the snapshot whose values do not come from properties. */
inline constexpr const char *kSensorTypeKey = "sensorType";
inline constexpr const char *kEventsKey = "APEvents";

/** The fields of `kBatchIntervals`. The names are the keys of the snapshot. */
inline constexpr Field kBatchIntervalFields[] = {
    u32("sensorBatchInterval",  0),
    u32("muxBatchInterval",     4),
    u32("apBatchInterval",      8),
    u32("apReportInterval",    12),
    u32("endpointBatchCount",  16),
};

/** The fields of `kLocation`: a letter, zero for no location, and the number of an alternative. */
inline constexpr Field kLocationName      = text("name", 0, 1);
inline constexpr Field kLocationAlternate = s32("alternate", 1);

/**
 * Matrices are stored row by row, nine elements each. Those of calibration and compass have 16 fraction bits; the
 * orientation has signed bytes.
 */
inline constexpr Field kMatrixElement      = fixed_point("", 0, 16);
inline constexpr Field kOrientationElement = s8("", 0);
/** The offset is stored as x, y, z. */
inline constexpr Field kOffsetElement = s32("", 0);

/** The property `kRegisters`: a count of entries, then the entries. Snapshots show every second entry: intended. */
inline constexpr Field kRegisterCount  = u32("count", 0);
inline constexpr Field kRegisterNumber = u16("register", 0);
inline constexpr Field kRegisterValue  = u16("value", 2);
inline constexpr std::size_t kRegisterSize = 4;
inline constexpr std::size_t kMostRegisters = (kRegisters.size - kRegisterCount.size) / kRegisterSize;

/** The driver command that returns the sensor's clients, and the prefix of their keys. */
inline constexpr std::uint32_t kClientsCommand = 57;
inline constexpr const char *kClientKey = "client";

inline constexpr Field kClientName  = text("name", 0, 12);
inline constexpr Field kClientInUse = u8("in_use", 28);
/** A client's settings, in the order in which they are shown. */
inline constexpr Field kClientSettings[] = {
    s32("report",    12),
    s32("batch",     16),
    s32("threshold", 20),
    s32("timelimit", 24),
};
inline constexpr std::size_t kClientSize = 31;
inline constexpr std::size_t kMostClients = 16;

// clang-format on

/** The tag byte before each item of extra data. */
enum Tag : std::uint8_t {
    kNumber32 = 0,    ///< followed by a signed number of 4 bytes
    kNumber64 = 1,    ///< followed by a signed number of 8 bytes
    kText = 2,        ///< followed by characters up to a zero byte
    kEndOfLine = 3,   ///< the items that follow belong to the next line
    kHexadecimal = 4, ///< the numbers that follow are shown in hexadecimal
    kDecimal = 5      ///< the numbers that follow are shown in decimal, the default
};

static_assert(stay_inside(kBatchIntervalFields, kBatchIntervals.size));
static_assert(stay_inside(kClientSettings, kClientSize));
static_assert(kMostRegisters == 31);

} // namespace qor::sensor

#endif
