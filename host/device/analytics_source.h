/** Plays the firmware's analytics: delivers a described device's batches on schedule. */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/device/described_device.h"

namespace host {

/** How often a batch was delivered, and how often it was lost because no callback was installed. */
struct BatchDeliveries {
    std::uint64_t made = 0;
    std::uint64_t lost = 0;
};

/**
 * Delivers every analytics batch of a device, once or repeatedly, to the callback that the plug-in installed, on the
 * plug-in's queue. Times count from the start. Batches due at the same moment are delivered in the order of the
 * description. A late repetition delays those after it; none is skipped.
 */
class AnalyticsSource {
public:
    /**
     * Starts delivering. Must not be called on the plug-in's queue.
     * @param device         outlives this object.
     * @param report_problem called on a thread of this object, once for each `[device.NAME]` that has no callback
     *                       installed when one of its batches is due. Later batches are still tried.
     */
    AnalyticsSource(const DescribedDevice &device, std::function<void(const std::string &problem)> report_problem);
    ~AnalyticsSource(); ///< Stops.
    AnalyticsSource(const AnalyticsSource &) = delete;
    AnalyticsSource &operator=(const AnalyticsSource &) = delete;

    /**
     * Stops delivering. A delivery in progress is completed first; none starts after the return. Must not be called on
     * the plug-in's queue. May be called twice, from one thread.
     */
    void stop();

    /** Of each batch of the description, in its order. Call it after `stop`. */
    const std::vector<BatchDeliveries> &deliveries() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

} // namespace host
