// Answers everything that the snapshots ask of the driver with any replies: no read goes past a buffer, and each result
// is a record within its limits.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <vector>

#include "fuzz/input.h"
#include "host/RvStateCapture.h"
#include "host/TvValues.h"
#include "host/device/played_qor.h"
#include "host/state_records.h"
#include "platform/RvStateCapture.h"
#include "plugin/OndreQORHIDStatistics.h"

namespace {

using fuzz::Input;
using fuzz::require;

struct Reply {
    RvStatus status;
    std::vector<std::uint8_t> bytes;
    std::size_t reported_size;
};

/** The requests of the snapshots: properties by number, the client list (a command), and anything else. */
constexpr std::uint32_t kAsked[] = {0,  10, 11, 13, 15, 16, 24, 25, 26, 29,  36,  45,
                                    56, 57, 58, 59, 60, 61, 64, 67, 68, 215, 216, 0x1000 + 57};

constexpr std::uint32_t kCommand = 0x1000;

/** A driver whose replies come from the input. */
class Driver {
public:
    /**
     * The input is a sequence of replies: a byte that selects the request, a byte of flags (1: failure, 2: the
     * reported size is wrong and follows as a byte, where 255 stands for SIZE_MAX), two bytes of length, and the bytes.
     */
    void read_replies(Input input) {
        _replies.clear();
        while (!input.is_empty()) {
            const std::uint32_t question = kAsked[input.byte() % std::size(kAsked)];
            const std::uint8_t flags = input.byte();
            const std::uint8_t lie = (flags & 2) != 0 ? input.byte() : std::uint8_t{0};
            const std::size_t length = input.byte() + std::size_t{input.byte()} * 256;
            Reply reply{(flags & 1) != 0 ? kRvStatusError : RvStatus{kRvStatusSuccess}, input.bytes(length), 0};
            reply.reported_size = (flags & 2) == 0 ? reply.bytes.size() : lie == 255 ? SIZE_MAX : std::size_t{lie} * 24;
            _replies[question] = std::move(reply);
        }
    }

    RvStatus answer(host::DriverCommand &command) const {
        std::uint32_t question = kCommand + command.selector;
        if (command.selector == 10 && command.in.size() == sizeof question) {
            std::memcpy(&question, command.in.data(), sizeof question);
        }
        const auto found = _replies.find(question);
        if (found == _replies.end()) {
            // Without these two there is no sensor snapshot.
            command.out_size = question == 0 ? sizeof(std::uint32_t) : 0;
            return question == 0 || question == kCommand + 57 ? RvStatus{kRvStatusSuccess} : kRvStatusNotFound;
        }
        const Reply &reply = found->second;
        const std::size_t size = std::min(reply.bytes.size(), command.out.size());
        if (size > 0) {
            std::memcpy(command.out.data(), reply.bytes.data(), size);
        }
        command.out_size = reply.reported_size;
        return reply.status;
    }

private:
    std::map<std::uint32_t, Reply> _replies;
};

/** The plug-in with one service's context. Created once; inputs differ in their replies only. */
struct Hosted {
    Hosted() {
        qor.driver->command = [this](host::DriverCommand &command) { return driver.answer(command); };
        plug_in->open(nullptr, 0);
        host::PlugInFactory factory = host::driver_plug_in(qor.driver).second;
        RvInterfaceRef plug_in_object = nullptr;
        if (factory(RvUUIDBytes kRvPlugInInterfaceBytes, &plug_in_object) != kRvStatusSuccess) {
            std::abort();
        }
        void *interface = nullptr;
        (*plug_in_object)->QueryInterface(plug_in_object, RvUUIDBytes kQorDriverInterfaceBytes, &interface);
        (*plug_in_object)->Release(plug_in_object);
        context._driver._interface = static_cast<QorDriverInterfaceRef>(interface);
        context._driver._service = qor.driver_entry;
        context._device._service = qor.device_entry;
    }

    host::PlayedQor qor;
    Driver driver;
    OndreQORHIDStatistics *plug_in = OndreQORHIDStatistics::alloc(RvAllocatorGetDefault());
    Context context{};
};

/** The maximum length of the text under a key of a snapshot. */
std::size_t text_limit(std::string_view title, std::string_view key) {
    if (title == "SSHB assets") {
        return 127;
    }
    return key.substr(0, 5) == "extra" ? 1023 : 255;
}

void check_texts(std::string_view title, TvDictionaryRef dictionary) {
    host::for_each_entry(dictionary, [title](std::string_view key, TvRef value) {
        const std::string_view text(TvStringGetCString(value) != nullptr ? TvStringGetCString(value) : "");
        require(text.size() <= text_limit(title, key), "a text is within its limit", key);
        const bool is_ascii =
            std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) <= 127; });
        require(is_ascii, "texts are ASCII", key);
    });
}

/** Checks and frees a handler's record, if there is one. */
void check_record(RvStateCaptureRecord *record, std::string_view title, bool all_keys_asked) {
    if (record == nullptr) {
        return;
    }
    const auto *bytes = reinterpret_cast<const std::byte *>(record);
    const std::vector<host::StateRecord> records = host::parse_records({bytes, 200 + record->payload_size}, "record");
    std::free(record);
    require(records.size() == 1 && records[0].title == title, "one record with its title", title);
    require(!all_keys_asked || TvDictionaryGetCount(records[0].payload.get()) == 51, "51 assets", title);
    check_texts(title, records[0].payload.get());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static auto &hosted = *new Hosted;
    hosted.driver.read_replies(Input(data, size));

    const RvStateCaptureHints hints{.version = 1, .requester = "fuzz", .kind = kRvStateCaptureRequest, .reserved = 0};
    check_record(hosted.plug_in->stateHandler_SSHBStats(&hints, &hosted.context), "SSHB Statistics", false);
    check_record(hosted.plug_in->stateHandler_SSHBAssets(&hints, &hosted.context), "SSHB assets", true);
    check_record(hosted.plug_in->stateHandler_SensorInfo(&hints, &hosted.context), "SensorInfo", false);
    return 0;
}
