// The snapshot of a sensor: its identity, its settings and its clients.

#include <algorithm>
#include <cstdio>
#include <functional>

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/sensor.h"
#include "state/DecimalText.h"
#include "state/DictionarySetters.h"
#include "state/ExtraData.h"

namespace sensor = qor::sensor;

using platform::OwnedEntry;
using platform::OwnedMutableValue;

namespace {

constexpr size_t kTextSize = 256;

/** Reads the properties of one sensor into one dictionary. */
class SensorReader {
public:
    SensorReader(OndreQORHIDStatistics &plugIn, Context *context, TvMutableDictionaryRef state)
        : _plugIn(plugIn), _context(context), _state(state) {}

    /** If the word cannot be read, the value is 0xFFFFFFFF. */
    void putWord(const sensor::Property &property) {
        uint32_t value = 0;
        _plugIn.getPropertyU32(_context, property.id, &value, UINT32_MAX);
        setNumber32(_state, property.key, value);
    }

    /** A text of at most 32 bytes, with or without a terminating zero. */
    void putName(const sensor::Property &property) {
        uint8_t name[32 + 1] = {};
        read(property, name);
        setText(_state, property.key, reinterpret_cast<const char *>(name));
    }

    void putLocation() {
        uint8_t bytes[sensor::kLocation.size] = {};
        read(sensor::kLocation, bytes);
        char text[kTextSize] = "N/A";
        if (bytes[sensor::kLocationName.offset] != 0) {
            std::snprintf(text, sizeof text, "%c %s=%d", bytes[sensor::kLocationName.offset],
                          sensor::kLocationAlternate.key(), number(bytes, sensor::kLocationAlternate));
        }
        setText(_state, sensor::kLocation.key, text);
    }

    void putBatchIntervals() {
        uint8_t bytes[sensor::kBatchIntervals.size] = {};
        read(sensor::kBatchIntervals, bytes);
        for (const qor::Field &field : sensor::kBatchIntervalFields) {
            setNumber32(_state, field.key(), static_cast<uint32_t>(qor::load_number(bytes, field)));
        }
    }

    /** Nine fixed-point numbers, row by row. */
    void putMatrix(const sensor::Property &property) {
        uint8_t bytes[sensor::kCalibrationMatrix.size] = {};
        read(property, bytes);
        const auto element = [&](int i) {
            return DecimalText(qor::load_fixed_point(bytes + i * sensor::kMatrixElement.size, sensor::kMatrixElement));
        };
        char text[kTextSize];
        std::snprintf(text, sizeof text, "%s %s %s | %s %s %s | %s %s %s", element(0).get(), element(1).get(),
                      element(2).get(), element(3).get(), element(4).get(), element(5).get(), element(6).get(),
                      element(7).get(), element(8).get());
        setText(_state, property.key, text);
    }

    void putCalibrationOffset() {
        uint8_t bytes[sensor::kCalibrationOffset.size] = {};
        read(sensor::kCalibrationOffset, bytes);
        const auto element = [&](int i) {
            return number(bytes + i * sensor::kOffsetElement.size, sensor::kOffsetElement);
        };
        char text[kTextSize];
        std::snprintf(text, sizeof text, "%d %d %d", element(0), element(1), element(2));
        setText(_state, sensor::kCalibrationOffset.key, text);
    }

    void putOrientationMatrix() {
        uint8_t bytes[sensor::kOrientationMatrix.size] = {};
        read(sensor::kOrientationMatrix, bytes);
        const auto element = [&](int i) { return number(bytes + i, sensor::kOrientationElement); };
        char text[kTextSize];
        std::snprintf(text, sizeof text, "%d %d %d, %d %d %d, %d %d %d", element(0), element(1), element(2), element(3),
                      element(4), element(5), element(6), element(7), element(8));
        setText(_state, sensor::kOrientationMatrix.key, text);
    }

    /** Prints only every second entry, although the count is that of all entries. Both are intended. */
    void putRegisters() {
        uint8_t bytes[sensor::kRegisters.size] = {};
        read(sensor::kRegisters, bytes);
        const size_t count = std::min<size_t>(qor::load_number(bytes, sensor::kRegisterCount), sensor::kMostRegisters);

        char text[kTextSize] = "";
        size_t length = 0;
        for (size_t i = 0; i < count; i += 2) {
            const uint8_t *entry = bytes + sensor::kRegisterCount.size + i * sensor::kRegisterSize;
            // Sixteen entries of at most eleven characters always fit.
            length += static_cast<size_t>(
                std::snprintf(text + length, sizeof text - length, "R%02x=%02x ",
                              static_cast<unsigned>(qor::load_number(entry, sensor::kRegisterNumber)),
                              static_cast<unsigned>(qor::load_number(entry, sensor::kRegisterValue))));
        }
        setText(_state, sensor::kRegisters.key, text);
    }

    /** Numbers the lines consecutively across all four properties, including lines that cannot be set. */
    void putExtraData() {
        int lineNumber = 0;
        for (const sensor::Property &property : sensor::kExtraData) {
            uint8_t data[kExtraDataCapacity] = {};
            uint64_t length = 0;
            if (_plugIn.getProperty(_context, property.id, data, sizeof data, &length) != kRvStatusSuccess) {
                continue;
            }
            const auto putLine = [&](const char *line) {
                char key[32];
                std::snprintf(key, sizeof key, "%s%d", property.key, lineNumber++);
                setText(_state, key, line);
            };
            walkExtraData(data, length, std::ref(putLine)); // by reference: copying it might allocate memory
        }
    }

    /** A client's number is that of its record, even if earlier records are not in use. */
    RvStatus putClients() {
        uint8_t clients[sensor::kMostClients * sensor::kClientSize] = {};
        size_t size = sizeof clients;
        RvStatus result = _plugIn.performCommand(_context, sensor::kClientsCommand, nullptr, 0, clients, &size);
        if (result != kRvStatusSuccess) {
            return result;
        }
        const size_t count = std::min(size, sizeof clients) / sensor::kClientSize;
        for (size_t i = 0; i < count; ++i) {
            const uint8_t *client = clients + i * sensor::kClientSize;
            if (qor::load_number(client, sensor::kClientInUse) != 0) {
                putClient(static_cast<int>(i), client);
            }
        }
        return kRvStatusSuccess;
    }

private:
    /** Reads a property into `bytes`. Bytes that the driver does not write are unchanged. */
    template <size_t capacity>
    void read(const sensor::Property &property, uint8_t (&bytes)[capacity]) {
        _plugIn.getProperty(_context, property.id, bytes, property.size, nullptr);
    }

    static int number(const uint8_t *record, const qor::Field &field) {
        return static_cast<int>(qor::load_signed(record, field));
    }

    /** The name ends at its first zero byte or at the end of its field. */
    void putClient(int index, const uint8_t *client) {
        char key[32];
        std::snprintf(key, sizeof key, "%s%d", sensor::kClientKey, index);
        char text[kTextSize];
        int length = std::snprintf(text, sizeof text, "%.*s:", int{sensor::kClientName.size},
                                   reinterpret_cast<const char *>(client + sensor::kClientName.offset));
        for (const qor::Field &field : sensor::kClientSettings) {
            length += std::snprintf(text + length, sizeof text - static_cast<size_t>(length), " %s=%d", field.key(),
                                    number(client, field));
        }
        setText(_state, key, text);
    }

    OndreQORHIDStatistics &_plugIn;
    Context *_context;
    TvMutableDictionaryRef _state;
};

} // namespace

/** Sets the sensor's type: the name of the driver's parent in the service plane. False ends the snapshot. */
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
    interface.reset();
    setText(state, sensor::kSensorTypeKey, name);
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
    RvStatus result = getPropertyU32(context, sensor::kReportInterval.id, &reportInterval, 0);
    if (result != kRvStatusSuccess) {
        logAssertion("result == 0 ", 922, result, RvStatusGetText(result));
        return nullptr;
    }
    setNumber32(state.get(), sensor::kReportInterval.key, reportInterval);
    if (!putSensorType(context, state.get())) {
        return nullptr;
    }

    SensorReader reader(*this, context, state.get());
    reader.putName(sensor::kManufacturer);
    reader.putName(sensor::kModel);
    reader.putLocation();
    reader.putWord(sensor::kSystickInterval);
    reader.putWord(sensor::kDecimationEnabled);
    reader.putBatchIntervals();
    reader.putWord(sensor::kRawMode);
    reader.putWord(sensor::kFactoryMode);
    reader.putWord(sensor::kCalibrationComplete);
    reader.putWord(sensor::kStartupTime);
    reader.putWord(sensor::kInterruptCalibration);
    reader.putMatrix(sensor::kCalibrationMatrix);
    reader.putCalibrationOffset();
    reader.putOrientationMatrix();
    reader.putMatrix(sensor::kCompassMatrix);
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
