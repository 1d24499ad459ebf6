/** Everything that a command line names for a verb to read, one after another. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "cli/inputs/byte_stream.h"
#include "cli/inputs/content.h"
#include "host/error.h"

namespace cli {

/** What a verb reads. */
struct WantedContent {
    std::set<ContentKind> kinds;           ///< those that the verb itself sees to
    std::set<ContentKind> kinds_in_folder; ///< the same for what is found in a folder
    std::string_view name;                 ///< for messages, with its article: "a dump"
};

/** An open input. */
struct Input {
    std::unique_ptr<ByteStream> stream;
    std::optional<std::size_t> folder; ///< the number of the folder that it was found in

    bool is_in_folder() const { return folder.has_value(); }
};

/**
 * The inputs of a verb: files, folders, "-" and lists of these. One that cannot be used is named on standard error when
 * its turn comes, and the others are read all the same. In a folder, files of our own that another verb reads are
 * passed over; a folder that has nothing for the verb is named. One thread at a time.
 */
class InputSequence {
public:
    /**
     * @param arguments   in their order.
     * @param files_from  a list, whose names follow the arguments; "-" for standard input.
     * @throws host::Error for a list that cannot be read or names no files; WrongUse when standard input is named
     * twice.
     */
    InputSequence(const std::vector<std::string> &arguments, const std::optional<std::string> &files_from,
                  WantedContent wanted);

    /** Whether there is but one input, and no folder. To be asked before the first `next`. */
    bool is_one_file() const { return _entries.size() == 1 && _folders.empty(); }

    /** Whether any input is neither a file nor a folder, such as a pipe, whose bytes others may write late. */
    bool may_wait() const;

    /** The bytes of all regular files among them, packed as they are, for showing progress. */
    std::uint64_t total_size() const;

    /** The next input that the verb reads; none at the end. @throws Interrupted. */
    std::optional<Input> next();

    /** Takes back that the verb reads this input, which was found in a folder. */
    void pass_over(const Input &input);

    /** Names an input that turned out bad while it was read. */
    void report(const host::Error &error);

    /** Whether anything was named on standard error so far. */
    bool has_failed() const { return _has_failed; }

private:
    struct Entry {
        std::string argument;
        std::optional<std::size_t> folder;
        std::string error; ///< empty for what can be opened
    };
    struct Folder {
        std::string name;
        std::size_t count = 0; ///< of files that were read, or named as bad
    };

    void add(const std::string &argument);
    std::optional<Input> open(const Entry &entry) const;
    void report_empty_folders();
    void say(const std::string &message);

    WantedContent _wanted;
    std::vector<Entry> _entries;
    std::vector<Folder> _folders;
    std::size_t _next = 0;
    bool _has_failed = false;
};

} // namespace cli
