/** Environments and devices for tests of the verbs that host the plug-in. */
#pragma once

#include <string>

#include "tests/cli/program.h"

namespace cli_tests {

inline const std::string kSmall = QOR_SOURCE_FOLDER "/tests/data/small.toml";
inline const std::string kPhone = QOR_SOURCE_FOLDER "/examples/phone.toml";

/** Folders of its own: other hosts of this user neither get the test's notifications nor share its store. */
inline Surroundings isolate_in(const TemporaryFolder &folder) {
    Surroundings surroundings;
    surroundings.folder = folder.path();
    surroundings.environment = {{"XDG_RUNTIME_DIR", folder.path()}, {"XDG_STATE_HOME", folder.path() / "state"}};
    return surroundings;
}

} // namespace cli_tests
