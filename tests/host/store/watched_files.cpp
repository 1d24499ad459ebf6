#include "tests/host/store/watched_files.h"

#include <cstddef>
#include <new>
#include <utility>

#include <sqlite3.h>

namespace store_tests {
namespace {

WatchedFiles::Watch watch_calls;
sqlite3_vfs *system_vfs = nullptr;
sqlite3_vfs watched_vfs{};

/** A file, followed by the one of the system. SQLite aligns it for pointers, so neither may ask for more. */
struct WatchedFile {
    sqlite3_file head;
    const char *path;
};

const char *path_of(sqlite3_file *file) { return reinterpret_cast<WatchedFile *>(file)->path; }
sqlite3_file *system_file(sqlite3_file *file) {
    return reinterpret_cast<sqlite3_file *>(reinterpret_cast<char *>(file) + sizeof(WatchedFile));
}
const sqlite3_io_methods &system_methods(sqlite3_file *file) { return *system_file(file)->pMethods; }

int write(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 offset) {
    const std::string written(static_cast<const char *>(bytes), static_cast<std::size_t>(count));
    const int result = watch_calls({FileCall::kWrite, path_of(file), offset, written});
    return result != SQLITE_OK ? result : system_methods(file).xWrite(system_file(file), bytes, count, offset);
}

int truncate(sqlite3_file *file, sqlite3_int64 size) {
    const int result = watch_calls({FileCall::kTruncate, path_of(file), size});
    return result != SQLITE_OK ? result : system_methods(file).xTruncate(system_file(file), size);
}

int sync(sqlite3_file *file, int flags) {
    const int result = watch_calls({FileCall::kSync, path_of(file)});
    return result != SQLITE_OK ? result : system_methods(file).xSync(system_file(file), flags);
}

int map_index(sqlite3_file *file, int region, int size, int extends, void volatile **piece) {
    const int result = watch_calls({FileCall::kMapIndex, path_of(file)});
    return result != SQLITE_OK ? result : system_methods(file).xShmMap(system_file(file), region, size, extends, piece);
}

/** Calls a method of the system's file with the same arguments. */
template <auto Method, typename... Arguments>
auto pass(sqlite3_file *file, Arguments... arguments) {
    return (system_methods(file).*Method)(system_file(file), arguments...);
}

using Methods = sqlite3_io_methods;
const Methods kMethods = {2,
                          pass<&Methods::xClose>,
                          pass<&Methods::xRead, void *, int, sqlite3_int64>,
                          write,
                          truncate,
                          sync,
                          pass<&Methods::xFileSize, sqlite3_int64 *>,
                          pass<&Methods::xLock, int>,
                          pass<&Methods::xUnlock, int>,
                          pass<&Methods::xCheckReservedLock, int *>,
                          pass<&Methods::xFileControl, int, void *>,
                          pass<&Methods::xSectorSize>,
                          pass<&Methods::xDeviceCharacteristics>,
                          map_index,
                          pass<&Methods::xShmLock, int, int, int>,
                          pass<&Methods::xShmBarrier>,
                          pass<&Methods::xShmUnmap, int>,
                          nullptr,
                          nullptr};

int open(sqlite3_vfs *, const char *path, sqlite3_file *file, int flags, int *flags_out) {
    file->pMethods = nullptr;
    const bool may_write = (flags & SQLITE_OPEN_READWRITE) != 0;
    int result = watch_calls({FileCall::kOpen, path != nullptr ? path : "", 0, "", may_write});
    if (result == SQLITE_OK) {
        result = system_vfs->xOpen(system_vfs, path, system_file(file), flags, flags_out);
    }
    if (result == SQLITE_OK) {
        new (file) WatchedFile{{&kMethods}, path};
    }
    return result;
}

int remove(sqlite3_vfs *, const char *path, int syncs_folder) {
    const int result = watch_calls({FileCall::kDelete, path});
    return result != SQLITE_OK ? result : system_vfs->xDelete(system_vfs, path, syncs_folder);
}

} // namespace

WatchedFiles::WatchedFiles(Watch watch) {
    watch_calls = std::move(watch);
    system_vfs = sqlite3_vfs_find(nullptr);
    watched_vfs = *system_vfs;
    watched_vfs.zName = "watched";
    watched_vfs.szOsFile = static_cast<int>(sizeof(WatchedFile)) + system_vfs->szOsFile;
    watched_vfs.xOpen = open;
    watched_vfs.xDelete = remove;
    sqlite3_vfs_register(&watched_vfs, 1);
}

WatchedFiles::~WatchedFiles() { sqlite3_vfs_unregister(&watched_vfs); }

} // namespace store_tests
