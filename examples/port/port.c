/*
 * A port of the platform that does nothing yet: every operation answers the value by which it fails, as its declaration
 * in platform/ states it. Copy this file, fill in one part after the other, and run the contract tests that the part
 * names. README.md beside it has the order.
 */
#include <stddef.h>

#include "platform/RvAllocator.h"
#include "platform/RvConnection.h"
#include "platform/RvHID.h"
#include "platform/RvKernel.h"
#include "platform/RvLog.h"
#include "platform/RvNotify.h"
#include "platform/RvPlugIn.h"
#include "platform/RvRegistry.h"
#include "platform/RvStateCapture.h"
#include "platform/RvStatus.h"
#include "platform/TallybookStore.h"
#include "platform/TvValues.h"

/* ---- RvStatus.h: texts of statuses. Proven by status_contract_test.cpp ---- */

const char *RvStatusGetText(RvStatus status) {
    (void)status;
    return NULL;
}

/* ---- RvAllocator.h: memory. Proven by allocator_contract_test.cpp ---- */

RvAllocatorRef RvAllocatorGetDefault(void) { return NULL; }

void *RvAllocatorAllocate(RvAllocatorRef allocator, size_t size) {
    (void)allocator;
    (void)size;
    return NULL;
}

void RvAllocatorDeallocate(RvAllocatorRef allocator, void *storage) {
    (void)allocator;
    (void)storage;
}

/* ---- TvValues.h: typed values and their encoding. Proven by values_contract_test.cpp and encoding_contract_test.cpp
 * ---- */

TvRef TvRetain(TvRef value) {
    (void)value;
    return NULL;
}

void TvRelease(TvRef value) { (void)value; }

TvTypeID TvGetTypeID(TvRef value) {
    (void)value;
    return 0;
}

TvTypeID TvStringGetTypeID(void) { return 0; }

TvTypeID TvNumberGetTypeID(void) { return 0; }

TvTypeID TvBooleanGetTypeID(void) { return 0; }

TvTypeID TvDataGetTypeID(void) { return 0; }

TvTypeID TvArrayGetTypeID(void) { return 0; }

TvTypeID TvDictionaryGetTypeID(void) { return 0; }

bool TvEqual(TvRef a, TvRef b) {
    (void)a;
    (void)b;
    return false;
}

TvStringRef TvStringCreateWithCString(const char *text, TvStringEncoding encoding) {
    (void)text;
    (void)encoding;
    return NULL;
}

TvStringRef TvStringCreateWithBytes(const void *bytes, size_t length, TvStringEncoding encoding) {
    (void)bytes;
    (void)length;
    (void)encoding;
    return NULL;
}

TvStringRef TvStringCreateWithFormat(const char *format, ...) {
    (void)format;
    return NULL;
}

const char *TvStringGetCString(TvStringRef string) {
    (void)string;
    return NULL;
}

size_t TvStringGetLength(TvStringRef string) {
    (void)string;
    return 0;
}

TvNumberRef TvNumberCreateSInt32(int32_t value) {
    (void)value;
    return NULL;
}

TvNumberRef TvNumberCreateSInt64(int64_t value) {
    (void)value;
    return NULL;
}

bool TvNumberGetSInt32(TvNumberRef number, int32_t *out) {
    (void)number;
    (void)out;
    return false;
}

bool TvNumberGetSInt64(TvNumberRef number, int64_t *out) {
    (void)number;
    (void)out;
    return false;
}

TvBooleanRef TvBooleanGet(bool value) {
    (void)value;
    return NULL;
}

bool TvBooleanGetValue(TvBooleanRef boolean) {
    (void)boolean;
    return false;
}

TvDataRef TvDataCreate(const void *bytes, size_t length) {
    (void)bytes;
    (void)length;
    return NULL;
}

const uint8_t *TvDataGetBytes(TvDataRef data) {
    (void)data;
    return NULL;
}

size_t TvDataGetLength(TvDataRef data) {
    (void)data;
    return 0;
}

TvMutableArrayRef TvArrayCreateMutable(void) { return NULL; }

bool TvArrayAppend(TvMutableArrayRef array, TvRef value) {
    (void)array;
    (void)value;
    return false;
}

size_t TvArrayGetCount(TvArrayRef array) {
    (void)array;
    return 0;
}

TvRef TvArrayGetValue(TvArrayRef array, size_t index) {
    (void)array;
    (void)index;
    return NULL;
}

TvMutableDictionaryRef TvDictionaryCreateMutable(void) { return NULL; }

bool TvDictionarySetValue(TvMutableDictionaryRef dictionary, TvStringRef key, TvRef value) {
    (void)dictionary;
    (void)key;
    (void)value;
    return false;
}

size_t TvDictionaryGetCount(TvDictionaryRef dictionary) {
    (void)dictionary;
    return 0;
}

TvRef TvDictionaryGetValue(TvDictionaryRef dictionary, const char *key) {
    (void)dictionary;
    (void)key;
    return NULL;
}

TvDataRef TvCreateBinaryEncoding(TvRef value) {
    (void)value;
    return NULL;
}

/* ---- RvKernel.h: the boot time. Proven by kernel_contract_test.cpp ---- */

bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds) {
    (void)seconds;
    (void)microseconds;
    return false;
}

/* ---- RvLog.h: the log. Proven by log_contract_test.cpp ---- */

RvLogRef RvLogCreate(const char *subsystem, const char *category) {
    (void)subsystem;
    (void)category;
    return NULL;
}

bool RvLogIsEnabled(RvLogRef log, RvLogLevel level) {
    (void)log;
    (void)level;
    return false;
}

void RvLogWrite(RvLogRef log, RvLogLevel level, const char *text) {
    (void)log;
    (void)level;
    (void)text;
}

void RvLogRelease(RvLogRef log) { (void)log; }

/* ---- RvRegistry.h: the device registry. Proven by registry_contract_test.cpp ---- */

RvRegistryEntry RvRegistryCopyServiceMatchingID(uint64_t registry_id) {
    (void)registry_id;
    return 0;
}

RvRegistryEntry RvRegistryCopyServiceMatchingClass(const char *class_name) {
    (void)class_name;
    return 0;
}

RvRegistryEntry RvRegistryCopyServiceMatchingName(const char *name) {
    (void)name;
    return 0;
}

RvStatus RvRegistryEntryCopyParent(RvRegistryEntry entry, const char *plane, RvRegistryEntry *parent) {
    (void)entry;
    (void)plane;
    (void)parent;
    return kRvStatusError;
}

RvStatus RvRegistryEntryCopyChild(RvRegistryEntry entry, const char *plane, RvRegistryEntry *child) {
    (void)entry;
    (void)plane;
    (void)child;
    return kRvStatusError;
}

RvStatus RvRegistryEntryGetName(RvRegistryEntry entry, char name[kRvRegistryNameSize]) {
    (void)entry;
    (void)name;
    return kRvStatusError;
}

TvRef RvRegistryEntryCopyProperty(RvRegistryEntry entry, const char *key) {
    (void)entry;
    (void)key;
    return NULL;
}

void RvRegistryEntryRelease(RvRegistryEntry entry) { (void)entry; }

/* ---- RvPlugIn.h: UUIDs, instances, user-space plug-ins. Proven by plug_in_contract_test.cpp ---- */

RvUUIDRef RvUUIDCreateWithBytes(RvUUIDBytes bytes) {
    (void)bytes;
    return NULL;
}

RvUUIDRef RvUUIDGetConstantWithBytes(RvUUIDBytes bytes) {
    (void)bytes;
    return NULL;
}

bool RvUUIDEqual(RvUUIDRef a, RvUUIDRef b) {
    (void)a;
    (void)b;
    return false;
}

void RvUUIDRelease(RvUUIDRef uuid) { (void)uuid; }

void RvPlugInAddInstanceForFactory(RvUUIDRef factory) { (void)factory; }

void RvPlugInRemoveInstanceForFactory(RvUUIDRef factory) { (void)factory; }

RvStatus RvPlugInCreateForService(RvRegistryEntry service, RvUUIDRef plug_in, RvUUIDRef interface,
                                  RvInterfaceRef *out) {
    (void)service;
    (void)plug_in;
    (void)interface;
    (void)out;
    return kRvStatusError;
}

/* ---- RvHID.h: services and devices. Proven by hid_contract_test.cpp ---- */

TvRef RvHIDServiceCopyProperty(RvHIDServiceRef service, const char *key) {
    (void)service;
    (void)key;
    return NULL;
}

TvRef RvHIDServiceGetProperty(RvHIDServiceRef service, const char *key) {
    (void)service;
    (void)key;
    return NULL;
}

bool RvHIDServiceConformsTo(RvHIDServiceRef service, uint32_t usage_page, uint32_t usage) {
    (void)service;
    (void)usage_page;
    (void)usage;
    return false;
}

TvRef RvHIDServiceGetRegistryID(RvHIDServiceRef service) {
    (void)service;
    return NULL;
}

RvHIDDeviceRef RvHIDDeviceCreate(RvRegistryEntry service) {
    (void)service;
    return NULL;
}

void RvHIDDeviceRelease(RvHIDDeviceRef device) { (void)device; }

/* ---- RvConnection.h: connections to drivers. Proven by connection_contract_test.cpp ---- */

RvStatus RvConnectionOpen(RvRegistryEntry service, uint32_t type, RvConnection *connection) {
    (void)service;
    (void)type;
    (void)connection;
    return kRvStatusError;
}

RvStatus RvConnectionClose(RvConnection connection) {
    (void)connection;
    return kRvStatusError;
}

RvStatus RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                uint32_t *scalars_out_count, void *out, size_t *out_size) {
    (void)connection;
    (void)method;
    (void)scalars_in;
    (void)scalars_in_count;
    (void)in;
    (void)in_size;
    (void)scalars_out;
    (void)scalars_out_count;
    (void)out;
    (void)out_size;
    return kRvStatusError;
}

/* ---- RvNotify.h: notifications. Proven by notify_contract_test.cpp ---- */

RvStatus RvNotifyRegister(const char *name, RvQueueRef queue, int32_t *token, RvNotifyHandler handler, void *context,
                          void (*release_context)(void *context)) {
    (void)name;
    (void)queue;
    (void)token;
    (void)handler;
    if (release_context != NULL) {
        release_context(context); /* also when the registration fails */
    }
    return kRvStatusError;
}

/* ---- RvStateCapture.h: the state-capture service. Proven by state_capture_contract_test.cpp ---- */

uint64_t RvStateCaptureAddHandler(RvQueueRef queue, RvStateCaptureHandler handler, void *context,
                                  void (*release_context)(void *context)) {
    (void)queue;
    (void)handler;
    if (release_context != NULL) {
        release_context(context); /* also when the registration fails */
    }
    return 0;
}

/* ---- TallybookStore.h: the analytics store. Proven by store_contract_test.cpp ---- */

void TallybookScalarClear(TvStringRef key) { (void)key; }

void TallybookScalarSet(TvStringRef key, int64_t value) {
    (void)key;
    (void)value;
}

void TallybookScalarAdd(TvStringRef key, int64_t delta) {
    (void)key;
    (void)delta;
}

void TallybookDistributionClear(TvStringRef key) { (void)key; }

void TallybookDistributionSet(TvStringRef key, double value) {
    (void)key;
    (void)value;
}

void TallybookDistributionPush(TvStringRef key, double value) {
    (void)key;
    (void)value;
}
