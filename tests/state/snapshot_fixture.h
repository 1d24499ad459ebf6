/** A kept service's context whose driver answers with the properties and commands that a test sets. */
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "host/TvValues.h"
#include "host/state_records.h"
#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {

/** Little-endian bytes, appended one after another. */
class Bytes : public std::vector<uint8_t> {
public:
    using std::vector<uint8_t>::vector;

    Bytes &number(uint64_t value, int width) {
        for (int i = 0; i < width; ++i) {
            push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
        return *this;
    }
    Bytes &u8(uint64_t value) { return number(value, 1); }
    Bytes &u16(uint64_t value) { return number(value, 2); }
    Bytes &s32(int64_t value) { return number(static_cast<uint64_t>(value), 4); }
    Bytes &s64(int64_t value) { return number(static_cast<uint64_t>(value), 8); }
    Bytes &text(const std::string &value, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) {
            push_back(i < value.size() ? static_cast<uint8_t>(value[i]) : 0);
        }
        return *this;
    }
};

struct Reply {
    RvStatus status = 0;
    std::vector<uint8_t> bytes{};
    std::optional<std::size_t> reported_size{}; ///< if set, reported in place of the number of bytes copied
};

class SnapshotTest : public PlugInTest {
protected:
    SnapshotTest() {
        qor.driver->command = [this](host::DriverCommand &command) {
            if (command.selector == 10) {
                uint32_t property = 0;
                EXPECT_EQ(command.in.size(), sizeof property);
                std::memcpy(&property, command.in.data(), sizeof property);
                ++reads[property];
                property_capacities[property] = command.out_size;
                return answer(properties, property, command);
            }
            command_capacities[command.selector] = command.out_size;
            return answer(commands, command.selector, command);
        };
        RvHIDService service = qor.service(kVendor);
        queue.run([&] { plug_in->registerService(&service); });
        context = PlugInInspector::services(*plug_in)->at(0);
    }

    /** The values of a dictionary as text, by key: strings as they are, numbers in decimal, others by their number of
     * keys. */
    using Entries = std::map<std::string, std::string>;

    static Entries entries(TvDictionaryRef dictionary) {
        Entries result;
        host::for_each_entry(dictionary, [&](std::string_view key, TvRef value) {
            result[std::string(key)] = TvGetTypeID(value) == TvStringGetTypeID() ? TvStringGetCString(value)
                                       : TvGetTypeID(value) == TvNumberGetTypeID()
                                           ? number_text(value)
                                           : "(" + std::to_string(TvDictionaryGetCount(value)) + " keys)";
        });
        return result;
    }

    static std::string number_text(TvNumberRef number) {
        int64_t value = 0;
        EXPECT_TRUE(TvNumberGetSInt64(number, &value));
        return std::to_string(value);
    }

    /** Parses and frees a record. Empty for null. */
    static std::vector<host::StateRecord> read_back(RvStateCaptureRecord *record) {
        if (record == nullptr) {
            return {};
        }
        auto parsed =
            host::parse_records({reinterpret_cast<const std::byte *>(record), 200 + record->payload_size}, "record");
        std::free(record);
        return parsed;
    }

    static constexpr RvStateCaptureHints kHints{.version = 1, .requester = "test", .kind = 3, .reserved = 0};

    PlayedQor qor;
    Context *context = nullptr;
    std::map<uint32_t, Reply> properties;
    std::map<uint32_t, Reply> commands;
    std::map<uint32_t, int> reads;
    std::map<uint32_t, std::size_t> property_capacities; ///< room that the last read of each property offered
    std::map<uint32_t, std::size_t> command_capacities;  ///< room that the last call of each command offered

private:
    static RvStatus answer(const std::map<uint32_t, Reply> &replies, uint32_t number, host::DriverCommand &command) {
        const auto reply = replies.find(number);
        if (reply == replies.end()) {
            return kRvStatusNotFound;
        }
        const std::vector<uint8_t> &bytes = reply->second.bytes;
        const std::size_t size = std::min(bytes.size(), command.out.size());
        if (size > 0) {
            std::memcpy(command.out.data(), bytes.data(), size);
        }
        command.out_size = reply->second.reported_size.value_or(size);
        return reply->second.status;
    }
};

} // namespace plug_in_tests
