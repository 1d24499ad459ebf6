#include "host/store/hosted_store.h"

#include <exception>
#include <utility>

namespace host {

HostedStore::HostedStore(const std::string &path, StoreFailureReport on_failure) : _on_failure(std::move(on_failure)) {
    open_store(path);
    on_store_failure(_on_failure);
}

HostedStore::~HostedStore() {
    try {
        close();
    } catch (const Error &loss) {
        _on_failure(loss, Fate::kLost);
    } catch (const std::exception &loss) {
        _on_failure(Error("", "", loss.what()), Fate::kLost);
    }
}

void HostedStore::close() {
    if (!std::exchange(_is_open, false)) {
        return;
    }
    struct StopReporting {
        ~StopReporting() { on_store_failure({}); }
    } const afterwards;
    close_store();
}

} // namespace host
