/** The process's analytics store for as long as an object lives. */
#pragma once

#include <string>

#include "host/TallybookStore.h"
#include "host/error.h"

namespace host {

/** A store opened for the process, until this object goes or is closed. One object at a time. */
class HostedStore {
public:
    /**
     * @param path        a file, or ":memory:".
     * @param on_failure  what `on_store_failure` calls.
     * @throws Error when the store cannot be opened.
     */
    HostedStore(const std::string &path, StoreFailureReport on_failure);
    /** Closes, if that has not happened, and reports what is lost then as `close` would throw it. */
    ~HostedStore();
    HostedStore(const HostedStore &) = delete;
    HostedStore &operator=(const HostedStore &) = delete;

    /** Tries once more to write what could not be written. @throws Error when operations are lost. */
    void close();

private:
    StoreFailureReport _on_failure;
    bool _is_open = true;
};

} // namespace host
