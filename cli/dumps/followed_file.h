/** A file that is followed while others rotate, cut or remove it. */
#pragma once

#include <cstdint>
#include <string>

namespace cli {

/** What is followed when the name gets another file. */
enum class Follow { Nothing, Descriptor, Name };

/**
 * Watches the name of an open regular file and says on standard error, once for each change, that the file was renamed,
 * replaced or removed. Only a regular file replaces it. One thread at a time.
 */
class FollowedFile {
public:
    /** @param path  empty for standard input, whose name is not known: nothing is said of it then. */
    FollowedFile(std::string path, Follow follow);

    /**
     * Looks at the name. To be called at the end of the file.
     * @param descriptor  the open file.
     * @param unread      how many bytes at its end are part of a report; for the message when they are given up.
     * @return a descriptor of the file that replaced it, for the caller to read from its start, when the name is
     *         followed and the old file has been read to its end since it was replaced; otherwise -1.
     */
    int look(int descriptor, std::size_t unread);

    /** Says that the file was cut. @return false when the name is not followed: that is an error of the caller's. */
    bool goes_on_after_cut(std::size_t unread) const;

private:
    enum class State { Same, Missing, Replaced };

    void say(State state, bool has_other_name) const;
    void say_unread(std::size_t unread) const;

    std::string _path;
    Follow _follow;
    State _state = State::Same;
    std::uint64_t _replacing = 0; ///< the inode of the file that was said to have replaced it
};

} // namespace cli
