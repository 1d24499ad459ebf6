/** The plug-in's data for a HID service that it keeps. */
#pragma once

#include "platform/RvHID.h"
#include "platform/RvRegistry.h"
#include "qor/interfaces.h"

/**
 * The per-service context. It owns its handles and interfaces, and never releases them: once a service is kept, its
 * context lives as long as the process, because handlers and callbacks refer to it.
 */
struct Context {
    struct {
        RvRegistryEntry _service;         ///< the QOR driver's service
        QorDriverInterfaceRef _interface; ///< null if the driver has no user-space plug-in
    } _driver;
    struct {
        RvHIDDeviceRef _hid;              ///< created for consumer-control services, otherwise null
        RvRegistryEntry _service;         ///< the QOR device's service: the grandparent of the driver's
        QorDeviceInterfaceRef _interface; ///< null if the device has no user-space plug-in
    } _device;
};
