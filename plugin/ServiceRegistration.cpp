// Registers a HID service: checks it, finds it in the registry, connects to its plug-ins and adds its handlers.

#include <cstring>
#include <memory>
#include <new>

#include "platform/Owned.h"
#include "platform/RvPlugIn.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "plugin/QorServices.h"
#include "qor/driver.h"
#include "qor/interfaces.h"
#include "qor/services.h"

using platform::OwnedEntry;
using platform::OwnedInterface;
using platform::OwnedValue;

namespace {

constexpr RvUUIDBytes kDriverPlugInType = kQorDriverPlugInTypeBytes;
constexpr RvUUIDBytes kDriverInterface = kQorDriverInterfaceBytes;
constexpr RvUUIDBytes kDevicePlugInType = kQorDevicePlugInTypeBytes;
constexpr RvUUIDBytes kDeviceInterface = kQorDeviceInterfaceBytes;
constexpr RvUUIDBytes kPlugInInterface = kRvPlugInInterfaceBytes;

bool isQorTransport(TvRef transport) {
    if (transport == nullptr) {
        return false;
    }
    if (!ASSERTION_HOLDS(TvGetTypeID(transport) == TvStringGetTypeID())) {
        return false;
    }
    return std::strcmp(TvStringGetCString(transport), qor::services::kTransport) == 0;
}

/** Gets the parent in the service plane. On failure `parent` stays null, whatever the look-up stored. */
RvStatus copyServiceParent(RvRegistryEntry entry, OwnedEntry &parent) {
    RvRegistryEntry found = 0;
    RvStatus kr = RvRegistryEntryCopyParent(entry, kRvServicePlane, &found);
    if (kr == kRvStatusSuccess) {
        parent.reset(found);
    }
    return kr;
}

bool statusHolds(RvStatus kr, int line) {
    if (kr != kRvStatusSuccess) {
        logAssertion("kr == 0 ", line, kr);
    }
    return kr == kRvStatusSuccess;
}

/** A zeroed context; null if memory is exhausted. The list of intended leaks names this function. */
std::unique_ptr<Context> createContext() { return std::unique_ptr<Context>(new (std::nothrow) Context{}); }

/** The service's user-space plug-in of this type. Null, with nothing logged, if there is none. */
OwnedInterface createPlugIn(RvRegistryEntry service, RvUUIDBytes type) {
    RvInterfaceRef plugIn = nullptr;
    RvStatus kr = RvPlugInCreateForService(service, RvUUIDGetConstantWithBytes(type),
                                           RvUUIDGetConstantWithBytes(kPlugInInterface), &plugIn);
    return OwnedInterface(kr == kRvStatusSuccess ? plugIn : nullptr);
}

/** Gets a plug-in's interface. A negative result is logged; an interface stored with it is used all the same. */
template <typename InterfaceRef>
InterfaceRef queryInterface(const OwnedInterface &plugIn, RvUUIDBytes type) {
    void *interface = nullptr;
    HRESULT result = (*plugIn.get())->QueryInterface(plugIn.get(), type, &interface);
    if (result < 0) {
        logAssertion("((HRESULT)(Status) >= 0)", __LINE__);
    }
    return static_cast<InterfaceRef>(interface);
}

} // namespace

/**
 * Gets and starts the driver interface. A driver without one is not an error.
 * @return false if the driver fails to start, which ends the registration.
 */
bool OndreQORHIDStatistics::startDriverInterface(Context *context) {
    OwnedInterface plugIn = createPlugIn(context->_driver._service, kDriverPlugInType);
    if (!plugIn) {
        return true;
    }
    context->_driver._interface = queryInterface<QorDriverInterfaceRef>(plugIn, kDriverInterface);
    if (!ASSERTION_HOLDS(context->_driver._interface)) {
        // Intended: the plug-in object is leaked, on this path only.
        [[maybe_unused]] RvInterfaceRef leaked = plugIn.detach();
        return true;
    }
    return statusHolds((*context->_driver._interface)->start(context->_driver._interface, 0), __LINE__);
}

/** Gets and starts the device interface, and enables analytics if the service supports them. */
void OndreQORHIDStatistics::startDeviceInterface(Context *context, bool supportsTallybook) {
    OwnedInterface plugIn = createPlugIn(context->_device._service, kDevicePlugInType);
    if (!plugIn) {
        return;
    }
    context->_device._interface = queryInterface<QorDeviceInterfaceRef>(plugIn, kDeviceInterface);
    if (!ASSERTION_HOLDS(context->_device._interface)) {
        return;
    }
    QorDeviceInterfaceRef device = context->_device._interface;
    (*device)->start(device, 0);
    if (!supportsTallybook) {
        return;
    }
    (*device)->set_dispatch_queue(device, _queue);
    (*device)->set_analytics_callback(device, publishTBData, this);
    if (QorDriverInterfaceRef driver = context->_driver._interface) {
        size_t outputSize = 0;
        (*driver)->command(driver, qor::driver::kAnalyticsReadyCommand, nullptr, 0, nullptr, &outputSize);
    }
}

/**
 * If this returns early, the context is freed, but the registry handles, the interfaces and the HID device that
 * it already held are not released. Intended.
 */
void OndreQORHIDStatistics::registerService(RvHIDServiceRef service) {
    // Declared in reverse: the transport is released first, then the parent, then the context if it is not kept.
    std::unique_ptr<Context> kept;
    OwnedEntry parent;
    OwnedValue transport(RvHIDServiceCopyProperty(service, qor::services::kTransportKey));
    if (!isQorTransport(transport.get())) {
        return;
    }
    std::optional<ServiceGroups> groups = groupsOfService(service);
    if (!groups) {
        return;
    }

    RvRegistryEntry driverService = RvRegistryCopyServiceMatchingID(getRvHIDServiceRegistryID(service));
    kept = createContext();
    if (!kept) {
        return;
    }
    Context *context = kept.get();
    context->_driver._service = driverService;
    if (!ASSERTION_HOLDS(context->_driver._service)) {
        return;
    }

    if (!statusHolds(copyServiceParent(context->_driver._service, parent), __LINE__)) {
        return;
    }
    if (!ASSERTION_HOLDS(parent)) {
        return;
    }
    OwnedEntry grandparent;
    if (!statusHolds(copyServiceParent(parent.get(), grandparent), __LINE__)) {
        return;
    }
    context->_device._service = grandparent.detach();
    if (!ASSERTION_HOLDS(context->_device._service)) {
        return;
    }

    if (!startDriverInterface(context)) {
        return;
    }
    startDeviceInterface(context, groups->supportsTallybook);

    if (groups->button && isConsumerControl(service)) {
        context->_device._hid = RvHIDDeviceCreate(context->_device._service);
        if (!ASSERTION_HOLDS(context->_device._hid)) {
            return;
        }
        registerSSHBHandlers(context);
    }
    if (groups->sensor) {
        registerSensorHandler(context);
    }
    if (!_rawDebugRegistered) {
        _rawDebugRegistered = true;
        registerRawDebugHandlers(context);
    }
    keepContext(kept.release());
} // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): a kept context lives as long as the process

/** If memory for the array is exhausted, the context is still kept, because handlers refer to it. */
void OndreQORHIDStatistics::keepContext(Context *context) {
    if (_services == nullptr) {
        return;
    }
    try {
        _services->push_back(context);
    } catch (const std::bad_alloc &) {
        // Nothing iterates over the array, so a missing context has no effect.
    }
}
