/** What was entered at the prompt, in a file that outlives the session. */
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/**
 * The entries of a history file, one on each line: a newline within an entry is `\n` there, and a backslash `\\`. The
 * file can be read by its owner alone. Nothing of it is trusted: what is not UTF-8, has control characters or is too
 * long is passed over.
 */
class PromptHistory {
public:
    /** So many entries are kept. The file may grow to twice as many before it is cut. */
    static constexpr std::size_t kMostEntries = 1000;
    /** A longer entry is not kept, in bytes. */
    static constexpr std::size_t kLongestEntry = 16384;

    /** @param file  its folder need not exist; empty when nothing is to be kept. */
    explicit PromptHistory(std::filesystem::path file);

    /**
     * The newest entries, the oldest first; empty without a file. Cuts a file that has become too long.
     * @throws host::Error when a file that is there cannot be read or cut, or is not a regular file.
     */
    std::vector<std::string> load() const;

    /** Adds an entry, unless it cannot be kept. @throws host::Error when it cannot be written. */
    void add(std::string_view entry) const;

private:
    std::filesystem::path _file;
};

} // namespace cli
