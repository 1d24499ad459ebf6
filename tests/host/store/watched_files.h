/** The calls by which the database library changes files, seen or made to fail by a test. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace store_tests {

struct FileCall {
    enum Kind { kOpen, kDelete, kWrite, kTruncate, kSync, kMapIndex };
    Kind kind;
    std::string path;
    std::int64_t offset = 0; ///< of a write, or the size to truncate to
    std::string bytes{};     ///< of a write
    bool may_write = false;  ///< of an opening
};

/** Watches all files that the database library uses while this object lives. One object at a time. */
class WatchedFiles {
public:
    /** Called before each call. @return an SQLite result: the call is made when it is SQLITE_OK, and fails otherwise.
     */
    using Watch = std::function<int(const FileCall &call)>;

    explicit WatchedFiles(Watch watch);
    ~WatchedFiles();
    WatchedFiles(const WatchedFiles &) = delete;
    WatchedFiles &operator=(const WatchedFiles &) = delete;
};

} // namespace store_tests
