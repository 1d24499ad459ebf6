/** The process's analytics store, open while an object lives. */
#pragma once

#include <string>

#include "host/TallybookStore.h"
#include "host/error.h"

namespace host {

/** Opens the process's store until `close` or destruction. One object at a time. */
class HostedStore {
public:
    /**
     * @param path        a file, or ":memory:".
     * @param on_failure  given to `on_store_failure`.
     * @throws Error when the store cannot be opened.
     */
    HostedStore(const std::string &path, StoreFailureReport on_failure);
    /** Closes, unless closed before. Reports lost operations through `on_failure` instead of throwing. */
    ~HostedStore();
    HostedStore(const HostedStore &) = delete;
    HostedStore &operator=(const HostedStore &) = delete;

    /** Closes the store after a last attempt to write pending operations. @throws Error when operations are lost. */
    void close();

private:
    StoreFailureReport _on_failure;
    bool _is_open = true;
};

} // namespace host
