/** The device's time synchronisation service in the host's registry. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "host/RvRegistry.h"
#include "platform/Owned.h"
#include "platform/TvValues.h"

inline platform::OwnedValue number(std::int64_t value) { return platform::OwnedValue(TvNumberCreateSInt64(value)); }

inline platform::OwnedValue string(const char *text) {
    return platform::OwnedValue(TvStringCreateWithCString(text, kTvStringEncodingUTF8));
}

/** A null argument leaves its entry out. */
inline platform::OwnedValue time_sync_dictionary(platform::OwnedValue qor, platform::OwnedValue calendar) {
    platform::OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    TvDictionarySetValue(dictionary.get(), string("qor").get(), qor.get());
    TvDictionarySetValue(dictionary.get(), string("calendar").get(), calendar.get());
    return platform::OwnedValue(dictionary.detach());
}

inline platform::OwnedValue time_sync_dictionary(std::nullptr_t, platform::OwnedValue calendar) {
    return time_sync_dictionary(platform::OwnedValue(), std::move(calendar));
}
inline platform::OwnedValue time_sync_dictionary(platform::OwnedValue qor, std::nullptr_t) {
    return time_sync_dictionary(std::move(qor), platform::OwnedValue());
}

/** Registered as long as it lives. Initially without its property. */
class TimeSyncService {
public:
    TimeSyncService() : _entry(host::device_registry::add(description())) {}
    TimeSyncService(const TimeSyncService &) = delete;
    TimeSyncService &operator=(const TimeSyncService &) = delete;
    ~TimeSyncService() { host::device_registry::remove(_entry); }

    void publish(std::int64_t qor, std::int64_t calendar) const {
        publish_value(time_sync_dictionary(number(qor), number(calendar)));
    }
    void publish_value(platform::OwnedValue value) const {
        host::device_registry::set_property(_entry, "timesync", std::move(value));
    }
    std::size_t reference_count() const { return host::device_registry::reference_count(_entry); }

private:
    static host::RegistryEntryDescription description() {
        host::RegistryEntryDescription description;
        description.registry_id = 1;
        description.name = "timesync";
        description.class_name = "OndreQORTimesync";
        return description;
    }

    RvRegistryEntry _entry;
};
