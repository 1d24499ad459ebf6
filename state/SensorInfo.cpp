// The sensor information snapshot: what a sensor is, how it is set, and who uses it.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "state/DecimalText.h"
#include "state/DictionarySetters.h"
#include "state/ExtraData.h"
#include "state/FirmwareBytes.h"

using platform::OwnedEntry;
using platform::OwnedMutableValue;

namespace {

constexpr size_t kTextSize = 256;

/** The driver's properties by what they hold. */
enum Property : uint32_t {
    kReportInterval = 0,
    kRawMode = 10,
    kCalibrationMatrix = 11,
    kFactoryMode = 13,
    kManufacturer = 15,
    kModel = 16,
    kOrientationMatrix = 24,
    kInterruptCalibration = 25,
    kCalibrationOffset = 26,
    kCompassSensitivityMatrix = 29,
    kDecimationEnabled = 36,
    kStartupTime = 45,
    kRegisters = 56,
    kExtraDataFirst = 57,
    kExtraDataLast = 60,
    kCalibrationComplete = 61,
    kSystickInterval = 64,
    kBatchIntervals = 67,
    kLocation = 68
};

/** The driver command that lists the sensor's clients. */
constexpr uint32_t kClientsCommand = 57;

/** One client, packed and little-endian. */
struct ClientRecord {
    uint8_t bytes[31];

    bool isInUse() const { return bytes[28] != 0; }
    int reportInterval() const { return loadLittleEndian<int32_t>(bytes + 12); }
    int batchInterval() const { return loadLittleEndian<int32_t>(bytes + 16); }
    int threshold() const { return loadLittleEndian<int32_t>(bytes + 20); }
    int timeLimit() const { return loadLittleEndian<int32_t>(bytes + 24); }

    static constexpr int kNameSize = 12;
    /** Ends at the first zero or after `kNameSize` bytes. */
    const char *name() const { return reinterpret_cast<const char *>(bytes); }
};

constexpr size_t kMostClients = 16;
static_assert(sizeof(ClientRecord[kMostClients]) == 496);

/** Reads the properties of one sensor into one dictionary. */
class SensorReader {
public:
    SensorReader(OndreQORHIDStatistics &plugIn, Context *context, TvMutableDictionaryRef state)
        : _plugIn(plugIn), _context(context), _state(state) {}

    /** A word that cannot be read is 0xFFFFFFFF. */
    void putWord(const char *key, Property property) {
        uint32_t value = 0;
        _plugIn.getPropertyU32(_context, property, &value, UINT32_MAX);
        setNumber32(_state, key, value);
    }

    /** Text of 32 bytes at most, with or without a terminating zero. */
    void putName(const char *key, Property property) {
        uint8_t name[32 + 1] = {};
        read(property, name, 32);
        setText(_state, key, reinterpret_cast<const char *>(name));
    }

    void putLocation() {
        uint8_t bytes[5] = {};
        read(kLocation, bytes, sizeof bytes);
        char text[kTextSize] = "N/A";
        if (bytes[0] != 0) {
            std::snprintf(text, sizeof text, "%c alternate=%d", bytes[0], loadLittleEndian<int32_t>(bytes + 1));
        }
        setText(_state, "location", text);
    }

    void putBatchIntervals() {
        static constexpr const char *kKeys[] = {"sensorBatchInterval", "muxBatchInterval", "apBatchInterval",
                                                "apReportInterval", "endpointBatchCount"};
        uint8_t words[4 * std::size(kKeys)] = {};
        read(kBatchIntervals, words, sizeof words);
        for (size_t i = 0; i < std::size(kKeys); ++i) {
            setNumber32(_state, kKeys[i], loadLittleEndian<uint32_t>(words + 4 * i));
        }
    }

    /** Nine fixed-point numbers, row by row. */
    void putMatrix(const char *key, Property property) {
        uint8_t bytes[36] = {};
        read(property, bytes, sizeof bytes);
        const auto element = [&](int i) { return DecimalText(fixedPoint16(loadLittleEndian<int32_t>(bytes + 4 * i))); };
        char text[kTextSize];
        std::snprintf(text, sizeof text, "%s %s %s | %s %s %s | %s %s %s", element(0).get(), element(1).get(),
                      element(2).get(), element(3).get(), element(4).get(), element(5).get(), element(6).get(),
                      element(7).get(), element(8).get());
        setText(_state, key, text);
    }

    void putCalibrationOffset() {
        uint8_t bytes[12] = {};
        read(kCalibrationOffset, bytes, sizeof bytes);
        char text[kTextSize];
        std::snprintf(text, sizeof text, "%d %d %d", loadLittleEndian<int32_t>(bytes),
                      loadLittleEndian<int32_t>(bytes + 4), loadLittleEndian<int32_t>(bytes + 8));
        setText(_state, "calibrationOffset", text);
    }

    void putOrientationMatrix() {
        int8_t m[9] = {};
        read(kOrientationMatrix, reinterpret_cast<uint8_t *>(m), sizeof m);
        char text[kTextSize];
        std::snprintf(text, sizeof text, "%d %d %d, %d %d %d, %d %d %d", m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7],
                      m[8]);
        setText(_state, "orientationMatrix", text);
    }

    /** Only every second entry is printed, while the count counts entries: both intended. */
    void putRegisters() {
        uint8_t bytes[128] = {};
        read(kRegisters, bytes, sizeof bytes);
        constexpr uint32_t kMostEntries = (sizeof bytes - 4) / 4;
        const uint32_t count = std::min(loadLittleEndian<uint32_t>(bytes), kMostEntries);

        char text[kTextSize] = "";
        size_t length = 0;
        for (uint32_t i = 0; i < count; i += 2) {
            const uint8_t *entry = bytes + 4 + 4 * i;
            // Sixteen entries of eleven characters always fit.
            length += static_cast<size_t>(std::snprintf(text + length, sizeof text - length, "R%02x=%02x ",
                                                        loadLittleEndian<uint16_t>(entry),
                                                        loadLittleEndian<uint16_t>(entry + 2)));
        }
        setText(_state, "registers", text);
    }

    /** One number runs through the lines of all four properties, also over lines that cannot be put. */
    void putExtraData() {
        int lineNumber = 0;
        for (uint32_t property = kExtraDataFirst; property <= kExtraDataLast; ++property) {
            uint8_t data[kExtraDataCapacity] = {};
            uint64_t length = 0;
            if (_plugIn.getProperty(_context, property, data, sizeof data, &length) != kRvStatusSuccess) {
                continue;
            }
            walkExtraData(data, length, [&](const char *line) {
                char key[32];
                std::snprintf(key, sizeof key, "extra%d", lineNumber++);
                setText(_state, key, line);
            });
        }
    }

    /** Clients keep their record's number where records before them are not in use. */
    RvStatus putClients() {
        ClientRecord clients[kMostClients] = {};
        size_t size = sizeof clients;
        RvStatus result = _plugIn.performCommand(_context, kClientsCommand, nullptr, 0, clients, &size);
        if (result != kRvStatusSuccess) {
            return result;
        }
        const size_t count = std::min(size, sizeof clients) / sizeof(ClientRecord);
        for (size_t i = 0; i < count; ++i) {
            if (clients[i].isInUse()) {
                putClient(static_cast<int>(i), clients[i]);
            }
        }
        return kRvStatusSuccess;
    }

private:
    /** Leaves what the driver does not fill in as it is. */
    void read(Property property, uint8_t *bytes, uint64_t capacity) {
        _plugIn.getProperty(_context, property, bytes, capacity, nullptr);
    }

    void putClient(int number, const ClientRecord &client) {
        char key[32];
        std::snprintf(key, sizeof key, "client%d", number);
        char text[kTextSize];
        std::snprintf(text, sizeof text, "%.*s: report=%d batch=%d threshold=%d timelimit=%d", ClientRecord::kNameSize,
                      client.name(), client.reportInterval(), client.batchInterval(), client.threshold(),
                      client.timeLimit());
        setText(_state, key, text);
    }

    OndreQORHIDStatistics &_plugIn;
    Context *_context;
    TvMutableDictionaryRef _state;
};

} // namespace

/** The name, in the service plane, of what stands above the driver. False ends the snapshot. */
bool OndreQORHIDStatistics::putSensorType(Context *context, TvMutableDictionaryRef state) {
    RvRegistryEntry found = 0;
    RvStatus kr = RvRegistryEntryCopyParent(context->_driver._service, kRvServicePlane, &found);
    if (kr != kRvStatusSuccess) {
        logAssertion("kr == 0 ", 926, kr, RvStatusGetText(kr));
        return false;
    }
    OwnedEntry interface(found);
    if (!ASSERTION_HOLDS_AT(interface, 927)) {
        return false;
    }
    char name[kRvRegistryNameSize] = "";
    RvRegistryEntryGetName(interface.get(), name);
    setText(state, "sensorType", name);
    return true;
}

RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SensorInfo(const RvStateCaptureHints * /*hints*/,
                                                                     Context *context) {
    if (!ASSERTION_HOLDS_AT(context->_driver._interface, 916)) {
        return nullptr;
    }
    OwnedMutableValue state(TvDictionaryCreateMutable());
    if (!ASSERTION_HOLDS_AT(state, 919)) {
        return nullptr;
    }
    uint32_t reportInterval = 0;
    RvStatus result = getPropertyU32(context, kReportInterval, &reportInterval, 0);
    if (result != kRvStatusSuccess) {
        logAssertion("result == 0 ", 922, result, RvStatusGetText(result));
        return nullptr;
    }
    setNumber32(state.get(), "reportInterval", reportInterval);
    if (!putSensorType(context, state.get())) {
        return nullptr;
    }

    SensorReader reader(*this, context, state.get());
    reader.putName("manufacturer", kManufacturer);
    reader.putName("model", kModel);
    reader.putLocation();
    reader.putWord("systickInterval", kSystickInterval);
    reader.putWord("decimationEnabled", kDecimationEnabled);
    reader.putBatchIntervals();
    reader.putWord("rawMode", kRawMode);
    reader.putWord("factoryMode", kFactoryMode);
    reader.putWord("calibrationComplete", kCalibrationComplete);
    reader.putWord("startupTime", kStartupTime);
    reader.putWord("intCal", kInterruptCalibration);
    reader.putMatrix("calibrationMatrix", kCalibrationMatrix);
    reader.putCalibrationOffset();
    reader.putOrientationMatrix();
    reader.putMatrix("compassSensitivityCalibrationMatrix", kCompassSensitivityMatrix);
    reader.putRegisters();
    reader.putExtraData();
    result = reader.putClients();
    if (result != kRvStatusSuccess) {
        logAssertion("result == 0 ", 1012, result, RvStatusGetText(result));
        return nullptr;
    }
    addAPEvents(state.get(), context->_device._service);
    return copyStateData(state.get(), "SensorInfo");
}
