/** Registry entries that a contract test adds, taken out again when the test ends. */
#pragma once

#include <string>
#include <vector>

#include "tests/contract/port.h"

namespace contract {

class RegisteredEntries {
public:
    RegisteredEntries() = default;
    RegisteredEntries(const RegisteredEntries &) = delete;
    RegisteredEntries &operator=(const RegisteredEntries &) = delete;
    ~RegisteredEntries() {
        for (; !_entries.empty(); _entries.pop_back()) {
            port().registry().remove(_entries.back());
        }
    }

    RvRegistryEntry add(const RegistryPort::Entry &entry) {
        return _entries.emplace_back(port().registry().add(entry));
    }

    /** An entry that is the last child of `parent` in the service plane; 0 for none. */
    RvRegistryEntry add(std::uint64_t registry_id, const std::string &name, RvRegistryEntry parent = 0) {
        RegistryPort::Entry entry{registry_id, name, "ContractClass", {}};
        if (parent != 0) {
            entry.parents[kRvServicePlane] = parent;
        }
        return add(entry);
    }

private:
    std::vector<RvRegistryEntry> _entries;
};

} // namespace contract
