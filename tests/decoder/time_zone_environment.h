/** The time zone of a test program. */
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

/**
 * Sets the process's time zone to `zone` (a value of the environment variable TZ) before the first test. Pass it to
 * `testing::AddGlobalTestEnvironment`.
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
