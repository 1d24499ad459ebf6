// Every call that the built module makes, in order, in scenarios of a host. Each is compared with the lines of a file
// in expected/, which follow from what the module promises. QOR_RENEW_GOLDEN=1 in the environment writes the files
// instead.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/trace/recording_platform.h"

namespace trace {
namespace {

namespace fs = std::filesystem;

using Usages = std::set<std::pair<std::uint32_t, std::uint32_t>>;

constexpr char kPlugInType[] = "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719";
constexpr char kFirstInterface[] = "19D77441-BBC4-4511-9149-60572A0B015C";
constexpr char kSecondInterface[] = "3DC35AA6-D35C-445B-9A59-CA03DA408B97";
constexpr char kThirdInterface[] = "00000000-0000-0000-C000-000000000046";
constexpr char kOtherIdentifier[] = "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB71A";

const Usages kButton{{0x000C, 0x0001}};
const Usages kTelephony{{0x000B, 0x0001}};
const Usages kAccelerometer{{0xFF00, 0x0003}};
const Usages kVendor{{0xFF00, 0x0029}};

/** A copy of the module, which has run nothing yet: it makes its log when the first object of the process is opened. */
class FreshModule {
public:
    FreshModule() {
        static int copies = 0;
        const fs::path copy =
            fs::path(MODULE_UNDER_TEST)
                .replace_filename("traced-" + std::to_string(getpid()) + "-" + std::to_string(++copies) + ".so");
        fs::copy_file(MODULE_UNDER_TEST, copy);
        // It stays mapped, as it does in a host.
        _handle = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        fs::remove(copy);
        if (_handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    void *symbol(const char *name) const { return dlsym(_handle, name); }

private:
    void *_handle;
};

std::string content_of(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/** One scenario: the host's calls, each with the module's calls below it. */
class Trace : public testing::Test {
protected:
    static void SetUpTestSuite() {
        mallopt(M_PERTURB, 0xA5); // memory from the C allocator holds no zeros by chance
        setenv("TZ", "UTC0", 1);
    }

    /** Compares the lines with the file, or writes it. */
    void expect(const std::string &name) {
        const std::string text = text_of(stage.lines);
        const fs::path file = fs::path(EXPECTED_TRACES) / (name + ".txt");
        const char *const renews = std::getenv("QOR_RENEW_GOLDEN");
        if (renews != nullptr && std::string(renews) == "1") {
            std::ofstream(file, std::ios::binary) << text;
            return;
        }
        EXPECT_EQ(text, content_of(file)) << "renew " << file << " with QOR_RENEW_GOLDEN=1 when the change is meant";
    }

    // ---- the host's calls

    void say(const std::string &text) { stage.line(text); }

    void *make(const char *type = kPlugInType) {
        say(std::string("host: factory for ") + type);
        const auto factory =
            reinterpret_cast<void *(*)(RvAllocatorRef, RvUUIDRef)>(module.symbol("OndreQORHIDStatisticsFactory"));
        RvUUIDRef wanted = RvUUIDGetConstantWithBytes(uuid_of(type));
        dirty_stack();
        void *made = factory(host_allocator(), wanted);
        stage.object = made;
        say(made == nullptr ? "  = null" : "  = the object");
        return made;
    }

    template <typename Function>
    Function *slot(std::size_t index) const {
        dirty_stack();
        return reinterpret_cast<Function *>((*static_cast<void **const *>(object))[index]);
    }

    void query(const char *identifier) {
        say(std::string("host: slot 1 (QueryInterface) for ") + identifier);
        void *interface = &stage;
        const HRESULT result = slot<HRESULT(void *, RvUUIDBytes, void **)>(1)(object, uuid_of(identifier), &interface);
        say(result == 0 ? "  = 0x0" : result == kRvResultNoInterface ? "  = 0x80000004" : "  = ANOTHER RESULT");
        say(interface == object    ? "  stored: the object"
            : interface == nullptr ? "  stored: null"
                                   : "  STORED: ANOTHER");
    }
    void add_reference() {
        say("host: slot 2 (AddRef)");
        say("  = " + std::to_string(slot<std::uint32_t(void *)>(2)(object)));
    }
    void release() {
        say("host: slot 3 (Release)");
        const std::uint32_t count = slot<std::uint32_t(void *)>(3)(object);
        say("  = " + std::to_string(count));
    }
    void open() {
        say("host: slot 7 (open)");
        const bool opened = slot<bool(void *, RvHIDSessionRef, std::uint32_t)>(7)(object, nullptr, 0);
        say(opened ? "  = true" : "  = false");
    }
    void close() {
        say("host: slot 8 (close)");
        slot<void(void *, RvHIDSessionRef, std::uint32_t)>(8)(object, nullptr, 0);
    }
    void schedule() {
        say("host: slot 13 (scheduleWithDispatchQueue)");
        slot<void(void *, RvQueueRef)>(13)(object, queue());
    }
    void unschedule() {
        say("host: slot 14 (unscheduleFromDispatchQueue)");
        slot<void(void *, RvQueueRef)>(14)(object, queue());
    }

    /** Makes and opens an object and gives it the queue. None of this is listed. */
    void start() {
        stage.lists_calls = false;
        object = make();
        open();
        schedule();
        stage.list_holdings();
        stage.lists_calls = true;
    }

    RvHIDService service(const Usages &usages) {
        return {stage.string("the transport", "QOR"), nullptr, stage.number("the registry ID", kDriverID), usages};
    }
    RvHIDService tallybook_service(const Usages &usages) {
        RvHIDService made = service(usages);
        made.supports_tallybook = stage.boolean("true", true);
        return made;
    }

    void hand_over(const std::string &what, const RvHIDService &service) {
        stage.line("host: slot 11 (registerService) with " + what);
        slot<void(void *, const RvHIDService *)>(11)(object, &service);
        stage.list_holdings();
    }

    /** Starts an object and hands over a service. Only what comes after it is listed. */
    void start_with(const RvHIDService &service) {
        start();
        stage.lists_calls = false;
        hand_over("it", service);
        stage.lists_calls = true;
    }

    /** Asks a handler, counted from 1, for a request of this kind. Frees the record. */
    void capture(std::size_t handler, std::uint32_t kind) {
        say("host: handler " + std::to_string(handler) + ", kind " + std::to_string(kind));
        const RvStateCaptureHints hints{.version = 1, .requester = "trace", .kind = kind, .reserved = 0};
        const Handler &asked = stage.handlers.at(handler - 1);
        dirty_stack();
        const std::unique_ptr<RvStateCaptureRecord, decltype(&std::free)> record(asked.function(&hints, asked.context),
                                                                                 &std::free);
        say("  = " + text_of(record.get()));
        stage.list_holdings();
    }

    /** The lines, with one line for handlers that are registered one after another. */
    static std::string text_of(const std::vector<std::string> &lines) {
        constexpr std::string_view kAdded = "    RvStateCaptureAddHandler(the queue) = handler ";
        const auto is_added = [&](std::size_t at) { return at < lines.size() && lines[at].starts_with(kAdded); };
        std::string text;
        for (std::size_t at = 0; at < lines.size(); ++at) {
            text += lines[at];
            std::size_t last = at;
            while (is_added(at) && is_added(last + 1)) {
                ++last;
            }
            text += last == at ? "\n" : " to " + lines[last].substr(kAdded.size()) + "\n";
            at = last;
        }
        return text;
    }

    static std::string text_of(const RvStateCaptureRecord *record) {
        if (record == nullptr) {
            return "null";
        }
        const std::string names(record->decoder_plug_in, sizeof record->decoder_plug_in + sizeof record->decoder_type);
        const bool is_zero = names == std::string(names.size(), '\0');
        return std::string("record \"") + record->title + "\", type " + std::to_string(record->type_code) +
               ", decoder names " + (is_zero ? "zero" : "NOT ZERO") + ", payload " +
               std::to_string(record->payload_size) +
               " bytes: " + std::string(reinterpret_cast<const char *>(record->payload), record->payload_size);
    }

    Stage stage;
    FreshModule module;
    void *object = nullptr;
};

// ---- the object

TEST_F(Trace, LifeOfAnObject) {
    object = make();
    stage.list_holdings();
    for (const char *identifier : {kFirstInterface, kSecondInterface, kThirdInterface, kOtherIdentifier}) {
        query(identifier);
    }
    add_reference();
    stage.lists_strings = true;
    open();
    stage.lists_strings = false;
    stage.list_holdings();
    schedule();
    say("host: the fault notification");
    stage.notified(7, nullptr);
    say("host: the fault notification, with the level disabled");
    stage.disabled_levels = {kRvLogLevelFault};
    stage.notified(7, nullptr);
    stage.disabled_levels.clear();
    unschedule();
    say("host: the fault notification");
    stage.notified(7, nullptr);
    close();
    for (int references = 5; references > 0; --references) {
        release();
    }
    stage.list_holdings();
    object = make();
    open();
    release();
    expect("life-of-an-object");
}

TEST_F(Trace, FactoryForAnotherType) {
    make(kOtherIdentifier);
    make(kFirstInterface);
    expect("factory-for-another-type");
}

TEST_F(Trace, ObjectWithoutMemoryForItsArray) {
    stage.failing = {{"RvAllocatorAllocate 2", kRvStatusNoMemory}};
    object = make();
    release();
    expect("object-without-memory-for-its-array");
}

// ---- services

TEST_F(Trace, RegistrationOfAButton) {
    start();
    hand_over("a button", service(kButton));
    hand_over("the same button again", service(kButton));
    expect("registration-of-a-button");
}

TEST_F(Trace, RegistrationOfATelephonyService) {
    start();
    hand_over("a telephony service", service(kTelephony));
    expect("registration-of-a-telephony-service");
}

TEST_F(Trace, RegistrationOfASensor) {
    start();
    hand_over("a sensor", service(kAccelerometer));
    expect("registration-of-a-sensor");
}

TEST_F(Trace, RegistrationOfAVendorService) {
    start();
    hand_over("a vendor service", service(kVendor));
    expect("registration-of-a-vendor-service");
}

TEST_F(Trace, RegistrationOfAnalyticsAlone) {
    start();
    hand_over("a service with analytics and no usage", tallybook_service({}));
    expect("registration-of-analytics-alone");
}

TEST_F(Trace, RegistrationOfEverything) {
    start();
    hand_over("a button and sensor with analytics", tallybook_service({{0x000C, 0x0001}, {0xFF00, 0x0003}}));
    expect("registration-of-everything");
}

TEST_F(Trace, ServicesThatAreNotKept) {
    start();
    RvHIDService other = service(kButton);
    other.transport = nullptr;
    hand_over("a button without a transport", other);
    other.transport = stage.number("a number", 1);
    hand_over("a button whose transport is a number", other);
    other.transport = stage.string("the transport", "QORX");
    hand_over("a button whose transport is QORX", other);
    hand_over("a service with a usage that is not looked for", service({{0x000C, 0x0002}}));
    other = service({});
    other.supports_tallybook = stage.boolean("false", false);
    hand_over("a service that says that it has no analytics", other);
    other.supports_tallybook = stage.number("a number", 1);
    hand_over("a service whose word on analytics is a number", other);
    expect("services-that-are-not-kept");
}

TEST_F(Trace, RegistrationsThatFail) {
    start();
    stage.missing = {kDriver};
    hand_over("a button whose driver is not in the registry", service(kButton));
    stage.missing.clear();
    RvHIDService without_id = service(kButton);
    without_id.registry_id = nullptr;
    hand_over("a button without a registry ID", without_id);
    stage.failing = {{"RvRegistryEntryCopyParent 1", kRvStatusError}, {"RvRegistryEntryCopyParent 3", kRvStatusError}};
    hand_over("a button whose parent cannot be looked up", service(kButton));
    hand_over("a button whose grandparent cannot be looked up", service(kButton));
    stage.missing = {kInterface};
    hand_over("a button without a parent", service(kButton));
    stage.missing = {kDevice};
    hand_over("a button without a grandparent", service(kButton));
    stage.missing.clear();
    stage.starts = {{"driver interface", kRvStatusNotReady}};
    hand_over("a button whose driver does not start", service(kButton));
    stage.starts.clear();
    stage.failing = {{"RvHIDDeviceCreate 1", kRvStatusNoMemory}};
    hand_over("a button without a HID device", service(kButton));
    expect("registrations-that-fail");
}

TEST_F(Trace, RegistrationsWithoutInterfaces) {
    start();
    stage.missing_plug_ins = {"driver", "device"};
    hand_over("a service with analytics and no plug-ins", tallybook_service({}));
    stage.missing_plug_ins = {"driver"};
    hand_over("a service with analytics and no driver plug-in", tallybook_service({}));
    stage.missing_plug_ins.clear();
    stage.queries = {{"driver interface", kRvResultNoInterface}, {"device interface", kRvResultNoInterface}};
    hand_over("a service whose interfaces come with a negative result", tallybook_service({}));
    stage.refused_interfaces = {"driver interface", "device interface"};
    hand_over("a service whose interfaces are refused", tallybook_service({}));
    stage.queries.clear();
    hand_over("a service whose interfaces are missing in a success", tallybook_service({}));
    stage.refused_interfaces.clear();
    stage.starts = {{"device interface", kRvStatusNotReady}};
    hand_over("a service whose device does not start", tallybook_service({}));
    expect("registrations-without-interfaces");
}

TEST_F(Trace, RegistrationWithoutAQueue) {
    start();
    unschedule();
    hand_over("a vendor service", tallybook_service(kVendor));
    // 104 times the same.
    stage.lines.erase(std::unique(stage.lines.begin(), stage.lines.end()), stage.lines.end());
    expect("registration-without-a-queue");
}

// ---- state capture

/** Bytes of which each differs from its neighbours. */
std::vector<std::uint8_t> counting_bytes(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i + 1);
    }
    return bytes;
}

/** A report of the control category: type 5, event 1, component 3, sequence number 42, timestamp 12345678. */
std::vector<std::uint8_t> report() {
    std::vector<std::uint8_t> bytes(48);
    const std::uint8_t first[] = {5, 1, 3, 8, 42, 0, 0, 0, 78, 97, 188};
    std::copy(std::begin(first), std::end(first), bytes.begin());
    return bytes;
}

/** `value` in the low bytes of `size` of them. */
std::vector<std::uint8_t> word(std::uint64_t value, std::size_t size = 4) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return bytes;
}

std::vector<std::uint8_t> operator+(std::vector<std::uint8_t> left, const std::vector<std::uint8_t> &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_F(Trace, RollCallOfTheHandlers) {
    start_with(tallybook_service({{0x000C, 0x0001}, {0xFF00, 0x0003}}));
    stage.properties = {{0, {.bytes = word(1)}}, {215, {}}, {216, {.bytes = counting_bytes(1479)}}};
    stage.commands = {{57, {}}};
    stage.named = {{209, {.bytes = report()}}, {9, {.bytes = report()}}, {8, {.bytes = report()}}};
    std::vector<std::string> roll;
    for (std::size_t handler = 1; handler <= stage.handlers.size(); ++handler) {
        stage.lines.clear();
        capture(handler, 3);
        // The first read or method, and the answer.
        const auto reads = std::find_if(stage.lines.begin(), stage.lines.end(), [](const std::string &line) {
            return line.find("slot 10") != std::string::npos || line.find("CallMethod") != std::string::npos;
        });
        const auto answer = std::find_if(stage.lines.begin(), stage.lines.end(),
                                         [](const std::string &line) { return line.starts_with("  = "); });
        ASSERT_TRUE(reads != stage.lines.end() && answer != stage.lines.end());
        roll.push_back("handler " + std::to_string(handler) + ": " + reads->substr(4, reads->find(", out ") - 4) +
                       ") ->" + answer->substr(3, answer->find(',') - 3));
    }
    stage.lines = roll;
    expect("roll-call-of-the-handlers");
}

TEST_F(Trace, KindsOfRequests) {
    start_with(service({{0x000C, 0x0001}, {0xFF00, 0x0003}}));
    for (const std::uint32_t kind : {0u, 1u, 2u, 4u, 0x80000003u}) {
        for (const std::size_t handler : {1u, 2u, 3u, 4u, 52u, 60u}) {
            capture(handler, kind);
        }
    }
    expect("kinds-of-requests");
}

TEST_F(Trace, LatencyStatistics) {
    start_with(service(kButton));
    stage.properties = {{215, {.bytes = counting_bytes(330)}}};
    capture(1, 3);
    stage.properties = {{215, {.bytes = counting_bytes(12), .reported = 5000}}};
    stage.failing = {{"TvCreateBinaryEncoding 2", kRvStatusNoMemory}};
    capture(1, 3);
    stage.properties = {{215, {.status = kRvStatusError}}};
    capture(1, 3);
    stage.properties = {{215, {}}};
    stage.failing = {{"TvDictionaryCreateMutable 13", kRvStatusNoMemory}};
    capture(1, 3);
    expect("latency-statistics");
}

TEST_F(Trace, LatencyStatisticsWithoutADriverInterface) {
    stage.missing_plug_ins = {"driver"};
    start_with(service(kButton));
    capture(1, 3);
    capture(2, 3);
    expect("latency-statistics-without-a-driver-interface");
}

TEST_F(Trace, HapticAssets) {
    start_with(service(kButton));
    // Each is enabled, with a gain of 0.5, from 0 to 120, its number as its slot, and four bytes that are not read.
    std::vector<std::uint8_t> assets;
    for (std::uint32_t slot = 0; slot < 51; ++slot) {
        assets = assets + word(1, 1) + word(0x8000) + word(0, 8) + word(120, 8) + word(slot) + word(0xFFFFFFFF);
    }
    stage.properties = {{216, {.bytes = assets}}};
    capture(2, 3);
    stage.properties = {{216, {.bytes = assets, .reported = 1478}}};
    capture(2, 3);
    stage.properties = {{216, {.status = kRvStatusNotFound}}};
    capture(2, 3);
    expect("haptic-assets");
}

class TracedSensor : public Trace {
protected:
    TracedSensor() {
        stage.properties = {
            {0, {.bytes = word(10'000)}},
            {10, {.bytes = word(1)}},
            {11,
             {.bytes = word(0x10000) + word(0) + word(0) + word(0) + word(0x8000) + word(0) + word(0) + word(0) +
                       word(0xFFFF0000)}},
            {13, {.bytes = word(2)}},
            {15, {.bytes = {'O', 'n', 'd', 'r', 'e'}}},
            {16, {.bytes = {'A', '1'}}},
            {24, {.bytes = {1, 0, 0, 0, 1, 0, 0, 0, 0xFF}}},
            {25, {.bytes = word(3)}},
            {26, {.bytes = word(4) + word(5) + word(0xFFFFFFFA)}},
            {29, {.bytes = word(0x20000)}},
            {36, {.bytes = word(7)}},
            {45, {.bytes = word(8), .reported = 2}},
            {56, {.bytes = word(3) + word(0x00110001) + word(0x00220002) + word(0x00330003)}},
            {57, {.bytes = {2, 'a', 'b', 0, 3, 0, 5, 0, 0, 0}}},
            {59, {.bytes = {4, 0, 255, 0, 0, 0, 5, 1, 255, 0, 0, 0, 0, 0, 0, 0}}},
            {61, {.bytes = word(9)}},
            {64, {.bytes = word(11)}},
            {67, {.bytes = word(12) + word(13) + word(14) + word(15) + word(16)}},
            {68, {.bytes = word('B', 1) + word(2)}},
        };
        std::vector<std::uint8_t> client = {'m', 'o', 't', 'i', 'o', 'n', 0, 0, 0, 0, 0, 0};
        client = client + word(20) + word(30) + word(40) + word(50) + word(1, 1) + word(0, 2);
        stage.commands = {{57, {.bytes = client + std::vector<std::uint8_t>(31) + client}}};
        stage.entry_properties = {
            {"driver entry", {{"DebugState", stage.dictionary("the driver's state", {{"_num_events", 12}})}}},
            {"client entry",
             {{"DebugState", stage.dictionary("the client's state", {{"EnqueueEventCount", 34},
                                                                     {"DroppedEventCount", 5},
                                                                     {"LastEventTime", 1'500'000'000},
                                                                     {"LastDroppedEventTime", 250'000}})}}}};
    }
};

TEST_F(TracedSensor, SensorInformation) {
    start_with(service(kAccelerometer));
    capture(1, 3);
    expect("sensor-information");
}

TEST_F(TracedSensor, SensorInformationThatFails) {
    start_with(service(kAccelerometer));
    stage.properties[0].status = kRvStatusError;
    capture(1, 3);
    stage.properties[0].status = 0;
    stage.failing = {{"TvDictionaryCreateMutable 2", kRvStatusNoMemory},
                     {"RvRegistryEntryCopyParent 3", kRvStatusError}};
    capture(1, 3);
    capture(1, 3);
    stage.missing = {kInterface};
    capture(1, 3);
    expect("sensor-information-that-fails");
}

TEST_F(TracedSensor, SensorInformationWithNothingBehindIt) {
    start_with(service(kAccelerometer));
    stage.properties = {{0, {.bytes = word(1)}}};
    stage.commands = {{57, {}}};
    stage.entry_properties.clear();
    capture(1, 3);
    stage.missing = {kClient};
    capture(1, 3);
    stage.commands = {{57, {.status = kRvStatusError}}};
    capture(1, 3);
    expect("sensor-information-with-nothing-behind-it");
}

TEST_F(Trace, ProfileReports) {
    start_with(service(kVendor));
    stage.entry_properties = {
        {"time synchronisation",
         {{"timesync", stage.dictionary("the synchronisation",
                                        {{"qor", 5'000'000'000}, {"calendar", 1'700'000'000'000'000'000}})}}}};
    stage.named = {{209, {.bytes = report() + report()}}, {9, {.bytes = report() + word(0)}}, {8, {.bytes = report()}}};
    capture(1, 2);  // of the firmware
    capture(54, 2); // of the driver, number 5
    stage.missing = {kTimeSync};
    stage.failing = {{"RvKernelGetBootTime 4", kRvStatusError}};
    capture(104, 2); // of the errors, number 47
    expect("profile-reports");
}

TEST_F(Trace, ProfileReportsThatFail) {
    start_with(service(kVendor));
    stage.named = {
        {209, {.status = kRvStatusError}}, {9, {.status = 0x12345}}, {8, {.bytes = std::vector<std::uint8_t>(47)}}};
    for (const std::size_t handler : {1u, 49u, 57u}) {
        capture(handler, 2);
    }
    stage.missing = {kProfileService, kProfileDriver};
    for (const std::size_t handler : {1u, 49u, 57u}) {
        capture(handler, 2);
    }
    stage.missing.clear();
    stage.failing = {{"RvConnectionOpen 4", kRvStatusNotReady}, {"RvConnectionOpen 5", kRvStatusNotReady}};
    capture(1, 2);
    capture(57, 2);
    stage.named = {{8, {.bytes = report()}}};
    stage.failing = {{"TvArrayCreateMutable 1", kRvStatusNoMemory}};
    capture(57, 2);
    expect("profile-reports-that-fail");
}

// ---- analytics

std::vector<std::uint8_t> entry(std::uint8_t version, std::uint8_t operation, std::uint8_t key, std::int32_t value) {
    return std::vector<std::uint8_t>{version, operation, key} + word(static_cast<std::uint32_t>(value));
}

TEST_F(Trace, AnalyticsBatch) {
    start_with(tallybook_service({}));
    const std::vector<std::uint8_t> batch = entry(58, 0, 0, 1) + entry(58, 1, 1, 1) + entry(58, 2, 2, -1) +
                                            entry(58, 3, 3, 70'000) + entry(58, 4, 56, 1) + entry(58, 5, 57, 65'536) +
                                            entry(58, 6, 25, 65'536) + entry(58, 8, 30, -32'768) + entry(57, 2, 4, 1) +
                                            entry(58, 2, 58, 6) + entry(58, 2, 255, 7);
    say("host: a batch of 11 entries");
    stage.callback(stage.target, batch.data(), 11);
    stage.list_holdings();
    say("host: a batch of no entries");
    stage.callback(stage.target, nullptr, 0);
    say("host: a batch of two entries, with the levels disabled");
    stage.disabled_levels = {kRvLogLevelDefault, kRvLogLevelError};
    const std::vector<std::uint8_t> quiet = entry(57, 2, 4, 1) + entry(58, 3, 58, 6);
    stage.callback(stage.target, quiet.data(), 2);
    expect("analytics-batch");
}

} // namespace
} // namespace trace
