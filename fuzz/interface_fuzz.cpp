// Makes any sequence of calls that the plug-in's contract allows, through the table alone: results and counts equal
// those of a model, and captures are whole records.

#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "host/RvLog.h"
#include "host/RvNotify.h"
#include "host/RvQueue.h"
#include "host/RvStateCapture.h"
#include "host/device/played_qor.h"
#include "host/state_records.h"
#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"
#include "tests/plugin/values.h"

namespace {

using fuzz::Input;
using fuzz::require;

constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;
constexpr std::array<RvUUIDBytes, 3> kInterfaces{RvUUIDBytes kOndreQORHIDStatisticsInterface1Bytes,
                                                 RvUUIDBytes kOndreQORHIDStatisticsInterface2Bytes,
                                                 RvUUIDBytes kRvUnknownInterfaceBytes};
constexpr const char *kFaultNotification = "com.ondre.ondreqorhidstatistics.fault";

/** `uuid` with one of its 128 bits inverted; unchanged for 128 and above. */
RvUUIDBytes flip_bit(RvUUIDBytes uuid, unsigned bit) {
    if (bit < 128) {
        auto &byte = uuid.bytes[bit / 8];
        byte = static_cast<std::uint8_t>(byte ^ 1U << bit % 8);
    }
    return uuid;
}

/** One object and its expected state. */
struct Object {
    OndreQORHIDStatisticsRef plug_in;
    std::uint32_t references = 1;
    bool is_open = false;
    bool is_scheduled = false;
    bool has_services = false; ///< if so, it must outlive the queue

    const OndreQORHIDStatisticsTable &table() const { return **plug_in; }
};

/** A QOR whose driver's replies come from the input. */
class Qor {
public:
    Qor(unsigned bits, Input &input) : _player(options(bits)) {
        const std::uint8_t refusals = input.byte();
        _player.driver->start_status = refusals & 1 ? kRvStatusError : RvStatus{kRvStatusSuccess};
        _player.device->start_status = refusals & 2 ? kRvStatusError : RvStatus{kRvStatusSuccess};
        _player.driver->query = answer(refusals >> 2);
        _player.device->query = answer(refusals >> 4);
        _answer = input.bytes(input.byte());
        _player.driver->command = [this](host::DriverCommand &command) {
            const std::size_t count = std::min(_answer.size(), command.out.size());
            std::transform(_answer.begin(), _answer.begin() + static_cast<std::ptrdiff_t>(count), command.out.begin(),
                           [](std::uint8_t byte) { return std::byte{byte}; });
            command.out_size = count;
            return RvStatus{kRvStatusSuccess};
        };
    }

    /** A service whose transport, usages, tallybook support and registry ID depend on the bits. */
    RvHIDService service(Input &input) const {
        const unsigned kind = input.byte();
        RvHIDService service = _player.service({});
        unsigned bit = 1;
        for (const auto *usages : {&host::kConsumerControl, &host::kTelephony, &host::kSensor, &host::kVendor}) {
            if (kind & bit) {
                service.usages.push_back(usages->front());
            }
            bit <<= 1;
        }
        if (kind & 0x10) {
            service.properties.emplace("ZELSupportsTallybook", plug_in_tests::boolean_value(true));
        }
        if (kind & 0x20) {
            service.properties.insert_or_assign("Transport", plug_in_tests::number_value(7));
        }
        if (kind & 0x40) {
            service.properties.insert_or_assign("Transport", plug_in_tests::string_value("SPI"));
        }
        if (kind & 0x80) {
            service.registry_id = plug_in_tests::number_value(input.byte());
        }
        return service;
    }

    void deliver(Input &input) {
        const std::vector<std::uint8_t> batch = input.bytes(input.byte());
        _player.device->deliver_batch(std::as_bytes(std::span(batch)));
    }

private:
    static host::PlayedQorOptions options(unsigned bits) {
        return {.driver_plug_in = (bits & 1) == 0,
                .device_plug_in = (bits & 2) == 0,
                .ancestors = static_cast<int>(2 - std::min(2U, bits >> 2 & 3))};
    }
    static host::QueryAnswer answer(unsigned bits) {
        return {bits & 1 ? kRvResultNoInterface : kRvResultOK, (bits & 2) == 0};
    }

    host::PlayedQor _player;
    std::vector<std::uint8_t> _answer;
};

/** A host that makes the calls that the input encodes, within the contract. */
class Host {
public:
    explicit Host(Input &input) : _input(input), _bits(input.byte()), _qor(_bits, input) {}

    /** Called when nothing is registered any more. */
    ~Host() {
        for (const Object &object : _objects) {
            for (std::uint32_t left = object.references; left > 0; --left) {
                require(object.table().Release(object.plug_in) == left - 1, "Release returns the new count");
            }
        }
    }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    void run() {
        take_steps();
        if (!_is_beside_queue) {
            _queue.run_posted();
        }
        _queue.run([this] { _queue.drop_registrations(); });
        require(host::state_capture_handler_count() == 0, "no handler is left to the next host");
    }

private:
    static constexpr std::size_t kMostObjects = 3;
    static constexpr int kMostSteps = 64;
    static constexpr int kMostStepsBesideQueue = 16;

    // Each is for all hosts of the process: a thread takes longer to start than to run a host. Neither is closed: a
    // plug-in may keep its handle.
    static host::SerialQueue &queue_of_this_thread() {
        static auto &queue = *new host::SerialQueue(host::SerialQueue::Thread::kOfCreator);
        return queue;
    }
    static host::SerialQueue &queue_of_another_thread() {
        static auto &queue = *new host::SerialQueue;
        return queue;
    }

    void take_steps() {
        const int most_steps = _is_beside_queue ? kMostStepsBesideQueue : kMostSteps;
        // A capture is much slower than everything else, so it ends the sequence.
        for (int steps = 0, captures = 0; !_input.is_empty() && steps < most_steps && captures < 1; ++steps) {
            const unsigned step = _input.byte();
            if (step % 16 == 15) {
                _queue.run([this] { capture(); });
                ++captures;
            } else if (step % 16 == 14) {
                host::deliver_notification(kFaultNotification);
            } else if (step % 16 == 13) {
                _qor.deliver(_input);
            } else {
                _queue.run([&] { call(step); });
            }
        }
    }

    void call(unsigned step) {
        if (step % 16 == 0 || _objects.empty()) {
            create();
            return;
        }
        Object &object = _objects[step / 16 % _objects.size()];
        const auto &table = object.table();
        switch (step % 16) {
        case 1:
        case 2:
            query(object);
            break;
        case 3:
            require(table.AddRef(object.plug_in) == ++object.references, "AddRef returns the new count");
            break;
        case 4:
        case 5:
            release(object);
            break;
        case 6:
            require(table.open(object.plug_in, nullptr, _input.byte()), "open returns true");
            object.is_open = true;
            break;
        case 7:
            table.close(object.plug_in, nullptr, _input.byte());
            break;
        case 8:
            table.scheduleWithDispatchQueue(object.plug_in, _queue.handle());
            object.is_scheduled = true;
            break;
        case 9:
            table.unscheduleFromDispatchQueue(object.plug_in, _queue.handle());
            break;
        default:
            hand_over(object);
            break;
        }
    }

    void create() {
        const unsigned bit = _input.byte();
        const platform::OwnedUUID type(RvUUIDCreateWithBytes(flip_bit(kType, bit)));
        auto *made =
            static_cast<OndreQORHIDStatisticsRef>(OndreQORHIDStatisticsFactory(RvAllocatorGetDefault(), type.get()));
        require((made != nullptr) == (bit >= 128), "the factory creates objects of its own type only");
        if (made == nullptr) {
            return;
        }
        require_null_slots(**made);
        _objects.push_back({made});
        if (_objects.size() > kMostObjects) {
            release(_objects.back());
        }
    }

    static void require_null_slots(const OndreQORHIDStatisticsTable &table) {
        bool all_null = table.slot_0_reserved == nullptr && table.slot_12 == nullptr;
        for (void *const slot : table.slots_4_to_6) {
            all_null = all_null && slot == nullptr;
        }
        for (void *const slot : table.slots_9_and_10) {
            all_null = all_null && slot == nullptr;
        }
        for (void *const slot : table.slots_15_to_17) {
            all_null = all_null && slot == nullptr;
        }
        require(all_null, "slots that are not provided are null");
    }

    void query(Object &object) {
        const unsigned which = _input.byte();
        const unsigned bit = _input.byte();
        void *interface = this;
        const HRESULT result = object.table().QueryInterface(
            object.plug_in, flip_bit(kInterfaces[which % kInterfaces.size()], bit), &interface);
        if (bit < 128) {
            require(result == kRvResultNoInterface && interface == nullptr, "an unknown interface is refused");
        } else {
            require(result == kRvResultOK && interface == object.plug_in, "the object is its own interface");
            ++object.references;
        }
    }

    /** Never releases the last reference of an object that handlers and callbacks still refer to. */
    void release(Object &object) {
        if (object.references == 1 && (object.has_services || object.is_scheduled)) {
            return;
        }
        require(object.table().Release(object.plug_in) == --object.references, "Release returns the new count");
        if (object.references == 0) {
            _objects.erase(_objects.begin() + (&object - _objects.data()));
        }
    }

    void hand_over(Object &object) {
        if (!object.is_open || !object.is_scheduled) {
            return;
        }
        const RvHIDService service = _qor.service(_input);
        object.table().registerService(object.plug_in, &service);
        object.has_services = true;
    }

    void capture() {
        const std::uint32_t kind = _input.byte() % 6;
        for (const host::RecordBytes &record : host::capture_state(kind, "fuzz")) {
            require(host::parse_records(record, "record").size() == 1, "a handler returns one whole record");
        }
    }

    Input &_input;
    unsigned _bits; ///< properties of the host and of its QOR
    Qor _qor;
    /** Most hosts run on the queue. The others wait for its thread at every step, which is many times slower. */
    const bool _is_beside_queue = (_bits & 0xF0) == 0xF0;
    host::SerialQueue &_queue = _is_beside_queue ? queue_of_another_thread() : queue_of_this_thread();
    std::vector<Object> _objects;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    // Lines are formatted and discarded.
    static const std::unique_ptr<host::LogSink> log = host::log_to_function([](const host::LogMessage &) {});
    Input input(data, size);
    Host(input).run();
    return 0;
}
