/** The time zone of a test program. */
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

/**
 * Puts the process into `zone` (as in the environment variable TZ) before its first test, whatever the zone of the
 * machine. To be handed to `testing::AddGlobalTestEnvironment`.
 */
class TimeZoneEnvironment : public testing::Environment {
public:
    explicit TimeZoneEnvironment(const char *zone) : _zone(zone) {}

    void SetUp() override {
        setenv("TZ", _zone, 1); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
        tzset();
    }

private:
    const char *_zone;
};
