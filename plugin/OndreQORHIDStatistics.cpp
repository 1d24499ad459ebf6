#include "plugin/OndreQORHIDStatistics.h"

#include <cstddef>

#include "platform/Owned.h"
#include "platform/RvNotify.h"
#include "plugin/InterfaceTable.h"

using platform::OwnedUUID;

namespace {

constexpr char kFaultNotification[] = "com.ondre.ondreqorhidstatistics.fault";

constexpr RvUUIDBytes kPlugInType = kOndreQORHIDStatisticsPlugInTypeBytes;
constexpr RvUUIDBytes kFactory = kOndreQORHIDStatisticsFactoryBytes;

/** In the order in which `QueryInterface` compares them. */
constexpr RvUUIDBytes kAcceptedInterfaces[] = {
    kOndreQORHIDStatisticsInterface1Bytes,
    kOndreQORHIDStatisticsInterface2Bytes,
    kRvUnknownInterfaceBytes,
};

bool isAcceptedInterface(RvUUIDRef type) {
    for (const RvUUIDBytes &accepted : kAcceptedInterfaces) {
        if (RvUUIDEqual(type, RvUUIDGetConstantWithBytes(accepted))) {
            return true;
        }
    }
    return false;
}

void logFault(int32_t /*token*/, void * /*context*/) {
    if (RvLogIsEnabled(sharedLog(), kRvLogLevelFault)) {
        RvLogWrite(sharedLog(), kRvLogLevelFault, "fault!");
    }
}

/** The list of intended leaks identifies the key strings by the name of this function. */
TvStringRef createKeyString(int key) {
    return TvStringCreateWithCString(qor::analytics::kKeys[key], kTvStringEncodingASCII);
}

ContextArray *createContextArray(RvAllocatorRef allocator) {
    void *storage = RvAllocatorAllocate(allocator, sizeof(ContextArray));
    return storage != nullptr ? new (storage) ContextArray(HostAllocator<Context *>(allocator)) : nullptr;
}

} // namespace

void *OndreQORHIDStatisticsFactory(RvAllocatorRef allocator, RvUUIDRef type) {
    if (!RvUUIDEqual(type, RvUUIDGetConstantWithBytes(kPlugInType))) {
        return nullptr;
    }
    return OndreQORHIDStatistics::alloc(allocator);
}

OndreQORHIDStatistics *OndreQORHIDStatistics::alloc(RvAllocatorRef allocator) {
    return new (allocator) OndreQORHIDStatistics(allocator);
}

OndreQORHIDStatistics::OndreQORHIDStatistics(RvAllocatorRef allocator) noexcept
    : _interfaceTable(&kInterfaceTable), _allocator(allocator) {
    static_assert(offsetof(OndreQORHIDStatistics, _interfaceTable) == 0);
    static_assert(offsetof(OndreQORHIDStatistics, _allocator) == 8);
    static_assert(offsetof(OndreQORHIDStatistics, _refCount) == 16);
    static_assert(offsetof(OndreQORHIDStatistics, _rawDebugRegistered) == 20);
    static_assert(offsetof(OndreQORHIDStatistics, _services) == 24);
    static_assert(offsetof(OndreQORHIDStatistics, _keys) == 32);
    static_assert(offsetof(OndreQORHIDStatistics, _queue) == 32 + 8 * 58);
    static_assert(sizeof(OndreQORHIDStatistics) == 40 + 8 * 58);

    RvPlugInAddInstanceForFactory(RvUUIDGetConstantWithBytes(kFactory));
    _services = createContextArray(allocator);
}

/**
 * Leaves `_services`, the contexts in it and the key strings alone on purpose: handlers and callbacks that the
 * host still holds refer to them. The shared log is released although it belongs to the process and later objects
 * continue to log to it. Intended, and harmless, since log objects live as long as the process.
 */
OndreQORHIDStatistics::~OndreQORHIDStatistics() {
    RvPlugInRemoveInstanceForFactory(RvUUIDGetConstantWithBytes(kFactory));
    RvLogRelease(sharedLog());
}

void *OndreQORHIDStatistics::operator new(std::size_t size, RvAllocatorRef allocator) noexcept {
    return RvAllocatorAllocate(allocator, size);
}

void OndreQORHIDStatistics::operator delete(OndreQORHIDStatistics *object, std::destroying_delete_t) {
    RvAllocatorRef allocator = object->_allocator;
    object->~OndreQORHIDStatistics();
    RvAllocatorDeallocate(allocator, object);
}

HRESULT OndreQORHIDStatistics::QueryInterface(RvUUIDBytes type, void **interface) {
    OwnedUUID requested(RvUUIDCreateWithBytes(type));
    if (!isAcceptedInterface(requested.get())) {
        *interface = nullptr;
        return kRvResultNoInterface;
    }
    ++_refCount;
    *interface = this;
    return kRvResultOK;
}

uint32_t OndreQORHIDStatistics::AddRef() { return ++_refCount; }

uint32_t OndreQORHIDStatistics::Release() {
    uint32_t remaining = --_refCount;
    if (remaining == 0) {
        delete this;
    }
    return remaining;
}

/** A second `open` overwrites the strings of the first without releasing them. Intended. */
bool OndreQORHIDStatistics::open(RvHIDSessionRef /*session*/, uint32_t /*options*/) {
    createSharedLog();
    for (int key = 0; key < kQORTbkKey_Count; ++key) {
        _keys[key] = createKeyString(key);
    }
    return true;
}

void OndreQORHIDStatistics::close(RvHIDSessionRef /*session*/, uint32_t /*options*/) {}

/** The registration is never cancelled, and every call adds another one. Intended. */
void OndreQORHIDStatistics::scheduleWithDispatchQueue(RvQueueRef queue) {
    _queue = queue;
    int32_t token = 0;
    RvNotifyRegister(kFaultNotification, queue, &token, logFault, nullptr, nullptr);
}

void OndreQORHIDStatistics::unscheduleFromDispatchQueue(RvQueueRef /*queue*/) { _queue = nullptr; }
