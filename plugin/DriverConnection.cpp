// The two ways to call the QOR driver: through a context's driver interface, and by the service's name over a
// user-client connection that is opened for each call.

#include "platform/Owned.h"
#include "platform/RvConnection.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/driver.h"

using platform::OwnedEntry;

namespace {

void logStatus(RvStatus kr, int line) { logAssertion("kr == 0 ", line, kr, RvStatusGetText(kr)); }

/** One call of a user-client method. `output` and `outputSize` are as for `RvConnectionCallMethod`. */
struct NamedServiceCall {
    uint32_t method;
    const uint64_t *scalar; ///< one number or null
    const void *input;
    size_t inputSize;
    void *output;
    size_t *outputSize;
};

/**
 * Finds the service, connects to it, calls the method, and closes the connection.
 * @return 0 on success; 0xE00002BC if there is no such service; otherwise the status of the step that failed.
 */
RvStatus callNamedService(const char *name, const NamedServiceCall &call) {
    OwnedEntry service(RvRegistryCopyServiceMatchingName(name));
    if (!ASSERTION_HOLDS(service)) {
        return kRvStatusError;
    }
    RvConnection connection = 0;
    RvStatus kr = RvConnectionOpen(service.get(), qor::driver::kConnectionType, &connection);
    if (kr != kRvStatusSuccess) {
        logStatus(kr, __LINE__);
        return kr;
    }
    kr = RvConnectionCallMethod(connection, call.method, call.scalar, call.scalar != nullptr ? 1 : 0, call.input,
                                call.inputSize, nullptr, nullptr, call.output, call.outputSize);
    if (kr != kRvStatusSuccess) {
        logStatus(kr, __LINE__);
    }
    RvConnectionClose(connection);
    return kr;
}

} // namespace

RvStatus OndreQORHIDStatistics::getProperty(Context *context, uint32_t property, void *output, uint64_t capacity,
                                            uint64_t *returnedSize) {
    if (!ASSERTION_HOLDS(context->_driver._interface)) {
        return kRvStatusNotReady;
    }
    QorDriverInterfaceRef driver = context->_driver._interface;
    size_t size = capacity;
    RvStatus status =
        (*driver)->command(driver, qor::driver::kGetPropertyCommand, &property, sizeof property, output, &size);
    if (status == kRvStatusSuccess && returnedSize != nullptr) {
        *returnedSize = size;
    }
    return status;
}

RvStatus OndreQORHIDStatistics::getPropertyU32(Context *context, uint32_t property, uint32_t *result,
                                               uint32_t defaultValue) {
    uint64_t size = 0;
    RvStatus status = getProperty(context, property, result, sizeof *result, &size);
    if (status != kRvStatusSuccess) {
        *result = defaultValue;
        return status;
    }
    if (!ASSERTION_HOLDS(size == sizeof(uint32_t))) {
        *result = defaultValue; // still a success: intended, because callers rely on the default
    }
    return kRvStatusSuccess;
}

RvStatus OndreQORHIDStatistics::performCommand(Context *context, uint32_t selector, const void *input, size_t inputSize,
                                               void *output, size_t *outputSize) {
    QorDriverInterfaceRef driver = context->_driver._interface;
    RvStatus result = (*driver)->command(driver, selector, input, inputSize, output, outputSize);
    if (result != kRvStatusSuccess) {
        logAssertion("result == 0 ", __LINE__, result);
    }
    return result;
}

RvStatus OndreQORHIDStatistics::getNamedServiceProperty(const char *name, uint32_t property, void *output,
                                                        uint64_t capacity, uint64_t *returnedSize) {
    const uint64_t scalar = property;
    size_t size = capacity;
    RvStatus kr = callNamedService(name, {.method = qor::driver::kGetPropertyMethod,
                                          .scalar = &scalar,
                                          .input = nullptr,
                                          .inputSize = 0,
                                          .output = output,
                                          .outputSize = &size});
    if (kr != kRvStatusSuccess) {
        return kRvStatusError; // intended: one status for every failure, unlike the command below
    }
    *returnedSize = size;
    return kRvStatusSuccess;
}

RvStatus OndreQORHIDStatistics::performNamedServiceCommand(const char *name, uint32_t selector, const void *input,
                                                           size_t inputSize, void *output, size_t *outputSize) {
    return callNamedService(name, {.method = selector,
                                   .scalar = nullptr,
                                   .input = input,
                                   .inputSize = inputSize,
                                   .output = output,
                                   .outputSize = outputSize});
}
