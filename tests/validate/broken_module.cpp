// A module that breaks one promise. It contains all of the sound code, with its factory renamed to `sound_factory`. The
// linker redirects the platform calls that have a `__wrap_` function in this file.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "decoder/ProfileDescription.h"
#include "platform/RvConnection.h"
#include "platform/RvLog.h"
#include "platform/RvNotify.h"
#include "platform/RvStateCapture.h"
#include "platform/TallybookStore.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"
#include "tests/validate/breaches.h"

using broken_module::Breach;
using broken_module::kBreach;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names for the redirected calls and for the originals
extern "C" {
void *sound_factory(RvAllocatorRef allocator, RvUUIDRef type);

TvStringRef __real_TvStringCreateWithBytes(const void *bytes, size_t length, TvStringEncoding encoding);
TvRef __real_RvHIDServiceCopyProperty(RvHIDServiceRef service, const char *key);
TvRef __real_RvHIDServiceGetProperty(RvHIDServiceRef service, const char *key);
void __real_RvPlugInRemoveInstanceForFactory(RvUUIDRef factory);
RvStatus __real_RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                       uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                       uint32_t *scalars_out_count, void *out, size_t *out_size);
RvStatus __real_RvNotifyRegister(const char *name, RvQueueRef queue, int32_t *token, RvNotifyHandler handler,
                                 void *context, void (*release_context)(void *));
uint64_t __real_RvStateCaptureAddHandler(RvQueueRef queue, RvStateCaptureHandler handler, void *context,
                                         void (*release_context)(void *));
void __real_TallybookScalarAdd(TvStringRef key, int64_t delta);
}

namespace {

bool breaks(Breach breach) { return kBreach == breach; }

void lose(std::size_t size) {
    void *volatile lost = std::malloc(size);
    (void)lost;
}

// ---- the interface table: a copy of the sound one with some slots replaced

OndreQORHIDStatisticsTable table{};
const OndreQORHIDStatisticsTable *sound_table = nullptr;

constexpr RvUUIDBytes kInterface1 = kOndreQORHIDStatisticsInterface1Bytes;
constexpr RvUUIDBytes kInterface2 = kOndreQORHIDStatisticsInterface2Bytes;

bool is(const RvUUIDBytes &a, const RvUUIDBytes &b) { return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) == 0; }

HRESULT query_interface(void *self, RvUUIDBytes type, void **interface) {
    void *const before = *interface;
    const HRESULT result = sound_table->QueryInterface(self, type, interface);
    if (breaks(Breach::DoesNotCountAQuery) && result == kRvResultOK && is(type, kInterface2)) {
        sound_table->Release(self);
    }
    if (breaks(Breach::LeavesTheResultOfARefusedQuery) && result != kRvResultOK) {
        *interface = before;
    }
    if (breaks(Breach::CountsARefusedQuery) && result != kRvResultOK) {
        sound_table->AddRef(self);
    }
    if (breaks(Breach::LosesAQuerysMemory) && is(type, kInterface1)) {
        lose(40);
    }
    return result;
}

uint32_t add_ref(void *self) {
    const uint32_t count = sound_table->AddRef(self);
    switch (kBreach) {
    case Breach::AnswersTheCountBefore:
        return count - 1;
    case Breach::HangsInAddRef:
        for (;;) {
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
    case Breach::EndsTheProcessInAddRef:
        std::_Exit(0);
    case Breach::PrintsInAddRef:
        std::fputs("one more \x1b[31mreference\n", stderr);
        return count;
    default:
        return count;
    }
}

/** The object that the factory returned last. */
void *last_made = nullptr;
RvAllocatorRef last_allocator = nullptr;

uint32_t release(void *self) {
    const uint32_t count = sound_table->Release(self);
    if (count == 0) {
        last_made = nullptr;
        if (breaks(Breach::GivesBackAStranger) && last_allocator != RvAllocatorGetDefault()) {
            RvAllocatorDeallocate(last_allocator, &last_made);
        }
    }
    return count;
}

bool is_closed_for_good = false;

bool open_session(void *self, RvHIDSessionRef session, uint32_t options) {
    sound_table->open(self, session, options);
    if (breaks(Breach::LosesAKeyString)) {
        TvStringCreateWithCString("one more", kTvStringEncodingASCII);
    }
    return !(breaks(Breach::RefusesOptions) && options == 1) && !(breaks(Breach::StaysClosed) && is_closed_for_good);
}

void close_session(void *self, RvHIDSessionRef session, uint32_t options) {
    sound_table->close(self, session, options);
    is_closed_for_good = true;
    if (breaks(Breach::LogsInClose)) {
        RvLogWrite(RvLogCreate("broken", "module"), kRvLogLevelDefault, "closed");
    }
}

/** The sound object's flag that its handlers for reports are registered. */
constexpr std::size_t kRawDebugRegistered = 20;

void register_service(void *self, RvHIDServiceRef service) {
    if (breaks(Breach::IgnoresPressure) && RvHIDServiceConformsTo(service, 0x0020, 0x0031)) {
        return;
    }
    if (breaks(Breach::RegistersReportsAgain) && RvHIDServiceConformsTo(service, 0xFF00, 0x0029)) {
        static_cast<uint8_t *>(self)[kRawDebugRegistered] = 0;
    }
    sound_table->registerService(self, service);
}

void schedule(void *self, RvQueueRef queue) {
    sound_table->scheduleWithDispatchQueue(self, queue);
    if (breaks(Breach::LosesASchedulesMemory)) {
        lose(1000);
    }
    if (static bool has_one = false; breaks(Breach::LeavesAThread) && !has_one) {
        has_one = true;
        std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
    }
}

void break_table(const OndreQORHIDStatisticsTable *sound) {
    sound_table = sound;
    table = *sound;
    table.QueryInterface = query_interface;
    table.AddRef = add_ref;
    table.Release = release;
    table.open = open_session;
    table.close = breaks(Breach::LacksSlot8) ? nullptr : close_session;
    table.registerService = register_service;
    table.scheduleWithDispatchQueue = schedule;
    if (breaks(Breach::ProvidesSlot9)) {
        table.slots_9_and_10[0] = &table;
    }
}

// ---- the factory

void *with_broken_table(void *object) {
    if (object != nullptr) {
        last_made = object;
        auto *reference = static_cast<OndreQORHIDStatisticsRef>(object);
        if (sound_table == nullptr) {
            break_table(*reference);
        }
        *reference = &table;
    }
    return object;
}

void *make_neighbour(RvAllocatorRef allocator, RvUUIDRef type) {
    RvUUIDBytes neighbour = kOndreQORHIDStatisticsPlugInTypeBytes;
    neighbour.bytes[15] ^= 0x80;
    if (!RvUUIDEqual(type, RvUUIDGetConstantWithBytes(neighbour))) {
        return sound_factory(allocator, type);
    }
    return sound_factory(allocator, RvUUIDGetConstantWithBytes(kOndreQORHIDStatisticsPlugInTypeBytes));
}

/** Uses the object before checking that there is one. */
void *make_without_a_look(RvAllocatorRef allocator, RvUUIDRef type) {
    constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;
    void *object = sound_factory(allocator, type);
    if (RvUUIDEqual(type, RvUUIDGetConstantWithBytes(kType))) {
        [[maybe_unused]] void *const first_word = *static_cast<void *volatile *>(object);
    }
    return object;
}

/** Returns the same object on each call, with one more reference. */
void *make_one(RvAllocatorRef allocator, RvUUIDRef type) {
    void *made = sound_factory(allocator, type);
    if (made == nullptr || last_made == nullptr) {
        return made;
    }
    sound_table->Release(made);
    sound_table->AddRef(last_made);
    return last_made;
}

// ---- handlers of state capture, each wrapped in one that breaks a promise

struct BrokenEntry {
    RvStateCaptureHandler handler;
    void *context;
    void (*release_context)(void *);
    RvStateCaptureRecord *kept; ///< already returned
    unsigned number;
};

RvStateCaptureRecord *answer(const RvStateCaptureHints *hints, void *context) {
    auto *entry = static_cast<BrokenEntry *>(context);
    RvStateCaptureHints changed = *hints;
    if (breaks(Breach::AnswersErrors) && changed.kind == kRvStateCaptureError) {
        changed.kind = kRvStateCaptureFault;
    }
    if (breaks(Breach::HandsOutARecordTwice) && entry->kept != nullptr) {
        return entry->kept;
    }
    RvStateCaptureRecord *record = entry->handler(&changed, entry->context);
    if (breaks(Breach::MixesUpTitles) && record != nullptr && entry->number == 7) {
        record->title[12] = '8';
    }
    if (breaks(Breach::HandsOutARecordTwice)) {
        entry->kept = record;
    }
    return record;
}

void release_entry(void *context) {
    auto *entry = static_cast<BrokenEntry *>(context);
    if (entry->release_context != nullptr) {
        entry->release_context(entry->context);
    }
    delete entry;
}

/** Trusts the size that the method claims to have written. */
void read_all_that_is_claimed(const void *bytes, size_t claimed) {
    volatile unsigned sum = 0;
    for (size_t i = 0; i < claimed; ++i) {
        sum = sum + static_cast<const volatile unsigned char *>(bytes)[i];
    }
}

} // namespace

extern "C" {

void *OndreQORHIDStatisticsFactory(RvAllocatorRef allocator, RvUUIDRef type) {
    last_allocator = allocator;
    switch (kBreach) {
    case Breach::MakesNothing:
        return nullptr;
    case Breach::AcceptsANeighbouringType:
        return with_broken_table(make_neighbour(allocator, type));
    case Breach::WritesWithoutMemory:
        return make_without_a_look(allocator, type);
    case Breach::HandsOutOneObject:
        return with_broken_table(make_one(allocator, type));
    default:
        return with_broken_table(sound_factory(allocator, type));
    }
}

TvStringRef __wrap_TvStringCreateWithBytes(const void *bytes, size_t length, TvStringEncoding encoding) {
    std::string text(static_cast<const char *>(bytes), length);
    static std::atomic<const void *> first_thread{nullptr};
    thread_local char of_this_thread;
    const void *expected = nullptr;
    first_thread.compare_exchange_strong(expected, &of_this_thread);
    if (breaks(Breach::EndsVastrelLinesWithANewline) && text.find("'vastrel'") != std::string::npos) {
        text += '\n';
    }
    if (breaks(Breach::DescribesByThread) && first_thread != &of_this_thread) {
        text += ' ';
    }
    return __real_TvStringCreateWithBytes(text.data(), text.size(), encoding);
}

TvRef __wrap_RvHIDServiceCopyProperty(RvHIDServiceRef service, const char *key) {
    const TvRef value = __real_RvHIDServiceCopyProperty(service, key);
    const bool keeps = breaks(Breach::KeepsATransport) && RvHIDServiceConformsTo(service, 0x000C, 0x0002);
    return keeps ? TvRetain(value) : value;
}

TvRef __wrap_RvHIDServiceGetProperty(RvHIDServiceRef service, const char *key) {
    return breaks(Breach::InstallsNoCallback) ? nullptr : __real_RvHIDServiceGetProperty(service, key);
}

void __wrap_RvPlugInRemoveInstanceForFactory(RvUUIDRef factory) {
    if (!breaks(Breach::StaysAnInstance)) {
        __real_RvPlugInRemoveInstanceForFactory(factory);
    }
}

RvStatus __wrap_RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                       uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                       uint32_t *scalars_out_count, void *out, size_t *out_size) {
    const RvStatus status = __real_RvConnectionCallMethod(connection, method, scalars_in, scalars_in_count, in, in_size,
                                                          scalars_out, scalars_out_count, out, out_size);
    if (breaks(Breach::ReadsWhatTheDriverClaims)) {
        read_all_that_is_claimed(out, *out_size);
    }
    return status;
}

RvStatus __wrap_RvNotifyRegister(const char *name, RvQueueRef queue, int32_t *token, RvNotifyHandler handler,
                                 void *context, void (*release_context)(void *)) {
    return __real_RvNotifyRegister(breaks(Breach::ListensToAnotherName) ? "com.example.other" : name, queue, token,
                                   handler, context, release_context);
}

uint64_t __wrap_RvStateCaptureAddHandler(RvQueueRef queue, RvStateCaptureHandler handler, void *context,
                                         void (*release_context)(void *)) {
    static unsigned number = 0;
    auto *entry = new BrokenEntry{handler, context, release_context, nullptr, ++number};
    return __real_RvStateCaptureAddHandler(queue, answer, entry, release_entry);
}

void __wrap_TallybookScalarAdd(TvStringRef key, int64_t delta) {
    if (!breaks(Breach::LosesAnAddition)) {
        __real_TallybookScalarAdd(key, delta);
    }
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

[[gnu::constructor]] void while_loading() {
    if (breaks(Breach::AbortsWhileLoading)) {
        std::abort();
    }
    if (breaks(Breach::EnablesDelta)) {
        _qor_profile_delta_enabled = 1;
    }
}

} // namespace
