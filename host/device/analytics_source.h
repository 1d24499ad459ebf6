/** The firmware's analytics, played: a described device's batches delivered in their time. */
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/device/described_device.h"

namespace host {

/**
 * Delivers every analytics batch of a device, once or again and again, to the callback that the plug-in installed, on
 * the plug-in's queue. Times count from the start. Batches that are due at one moment are delivered in the order of
 * the description; a repetition that comes late delays those after it, and none is left out.
 */
class AnalyticsSource {
public:
    /**
     * Starts. Not called on the plug-in's queue.
     * @param device   outlives this object.
     * @param problem  told, on a thread of this object, once for each `[device.NAME]` for which no callback is
     *                 installed when one of its batches is due. Later batches are tried all the same.
     */
    AnalyticsSource(const DescribedDevice &device, std::function<void(const std::string &problem)> problem);
    /** Stops. */
    ~AnalyticsSource();
    AnalyticsSource(const AnalyticsSource &) = delete;
    AnalyticsSource &operator=(const AnalyticsSource &) = delete;

    /**
     * Ends the deliveries. A batch that is being delivered is delivered whole; after the return there are no others.
     * Not called on the plug-in's queue. Safe to call twice, from one thread.
     */
    void stop();

private:
    struct State;
    std::unique_ptr<State> _state;
};

} // namespace host
