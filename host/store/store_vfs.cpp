#include "host/store/store_vfs.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/error.h"
#include "host/store/store_header.h"

namespace host {
namespace {

// ---- which files are used

thread_local std::string last_refusal;

void refuse(std::string reason) { last_refusal = std::move(reason); }

enum class Part { kStore, kJournal, kLog, kIndex };

/** One opening of a file by SQLite's own VFS, on this thread. */
struct Opening {
    Part part;
    struct stat store {}; ///< of the store file; not used for that file itself
    bool is_new = false;
    bool is_refused = false; ///< SQLite tries again with fewer rights
    int descriptor = -1;     ///< of the opened file
};

thread_local Opening *current_opening = nullptr;

std::string name_in_folder(const char *path) { return in_quotes(std::filesystem::path(path).filename().string()); }

/** Whether a user is in a group, by the system's user database; false for a user who is not in that. */
bool is_member(uid_t user, gid_t group) {
    const long suggestion = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> texts(suggestion > 0 ? static_cast<std::size_t>(suggestion) : 1024);
    passwd entry{};
    passwd *found = nullptr;
    while (::getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == ERANGE) {
        texts.resize(2 * texts.size());
    }
    if (found == nullptr) {
        return false;
    }
    std::vector<gid_t> groups(16);
    int count = static_cast<int>(groups.size());
    while (::getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) == -1) {
        groups.resize(std::max(2 * groups.size(), static_cast<std::size_t>(count)));
        count = static_cast<int>(groups.size());
    }
    groups.resize(static_cast<std::size_t>(count));
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

/**
 * Whether a user, who is not its owner, may write to a file by its mode. A file's group says nothing of its owner: in
 * some folders a file gets the folder's group, whoever makes it.
 */
bool may_write(uid_t user, const struct stat &file) {
    return (file.st_mode & (is_member(user, file.st_gid) ? S_IWGRP : S_IWOTH)) != 0;
}

/** Why a file beside a store is not the store's own; empty when it is. */
std::string find_fault(const struct stat &beside, const struct stat &store) {
    if (!S_ISREG(beside.st_mode)) {
        return "is not a regular file";
    }
    if (beside.st_nlink > 1) {
        return "has another name elsewhere";
    }
    const bool is_own = beside.st_uid == store.st_uid || beside.st_uid == geteuid();
    return is_own || may_write(beside.st_uid, store) ? "" : "belongs to another user";
}

/** @return whether the file may be used; otherwise remembers why not, as far as there is memory for it. */
bool check_file(const char *path, const struct stat &file, const Opening &opening) noexcept {
    try {
        if (opening.part == Part::kStore) {
            if (!S_ISREG(file.st_mode)) {
                refuse("is not a regular file");
            }
            return S_ISREG(file.st_mode);
        }
        const std::string fault = find_fault(file, opening.store);
        if (!fault.empty()) {
            refuse(name_in_folder(path) + " beside it " + fault);
        }
        return fault.empty();
    } catch (const std::bad_alloc &) {
        return false;
    }
}

/** Remembers why `open` failed, as far as there is memory for it. */
void explain_failure(const char *path, Opening &opening, int error, bool was_to_be_new) noexcept {
    try {
        if (opening.part == Part::kStore) {
            refuse(std::generic_category().message(error));
        } else if (was_to_be_new && error == EEXIST) {
            opening.is_refused = true;
            refuse(name_in_folder(path) + " beside it belongs to another program");
        }
    } catch (const std::bad_alloc &) {
        last_refusal.clear();
    }
}

using SystemOpen = int (*)(const char *path, int flags, int mode);
using SystemChangeOwner = int (*)(int descriptor, uid_t user, gid_t group);

SystemOpen system_open = nullptr;

/**
 * Takes the place of `open` in SQLite's own VFS. A FIFO does not block and a link is not followed, even where one
 * replaces a file between a check and the opening. Files of other databases of this process are opened as ever.
 */
int open_checked(const char *path, int flags, int mode) {
    Opening *const opening = current_opening;
    if (opening == nullptr) {
        return system_open(path, flags, mode);
    }
    if (opening->is_refused) {
        errno = EPERM;
        return -1;
    }
    struct stat status {};
    opening->is_new = ::lstat(path, &status) == -1;
    if (!opening->is_new && !check_file(path, status, *opening)) {
        opening->is_refused = true;
        errno = EPERM;
        return -1;
    }
    const int exclusive = opening->part == Part::kJournal && (flags & O_CREAT) != 0 ? O_EXCL : 0;
    const int descriptor = system_open(path, flags | exclusive | O_NONBLOCK | O_NOFOLLOW, mode);
    if (descriptor == -1) {
        const int error = errno;
        explain_failure(path, *opening, error, exclusive != 0);
        errno = error;
        return -1;
    }
    if (::fstat(descriptor, &status) == -1 || !check_file(path, status, *opening)) {
        ::close(descriptor);
        opening->is_refused = true;
        errno = EPERM;
        return -1;
    }
    last_refusal.clear();
    opening->descriptor = descriptor;
    return descriptor;
}

/** While this object lives, SQLite's own VFS opens files by `open_checked`. */
class CheckedOpening {
public:
    explicit CheckedOpening(Opening &opening) { current_opening = &opening; }
    ~CheckedOpening() { current_opening = nullptr; }
    CheckedOpening(const CheckedOpening &) = delete;
    CheckedOpening &operator=(const CheckedOpening &) = delete;
};

SystemChangeOwner system_change_owner = nullptr;

/** As root, SQLite gives a file beside a database to the database's owner. That is for new files alone. */
int change_owner_of_new(int descriptor, uid_t user, gid_t group) {
    return current_opening != nullptr && !current_opening->is_new ? 0 : system_change_owner(descriptor, user, group);
}

/** @param replaced  set before the function is replaced: another thread may have a database open and call it at once.
 */
template <typename Function>
void replace_system_call(sqlite3_vfs *vfs, const char *name, Function replacement, Function &replaced) {
    replaced = reinterpret_cast<Function>(vfs->xGetSystemCall(vfs, name));
    vfs->xSetSystemCall(vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(replacement));
}

sqlite3_vfs *system_vfs() { return sqlite3_vfs_find("unix"); }

void replace_system_calls() {
    replace_system_call<SystemOpen>(system_vfs(), "open", open_checked, system_open);
    replace_system_call<SystemChangeOwner>(system_vfs(), "fchown", change_owner_of_new, system_change_owner);
}

/** SQLite's default VFS. Looked up each time: a test may have put another one there. */
sqlite3_vfs *base_vfs() { return sqlite3_vfs_find(nullptr); }

// ---- files

/**
 * Bytes of the store file that nobody reads, far behind SQLite's own lock bytes. A host and a reader each hold a shared
 * lock on theirs, so that a host that closes the store knows whom it waits for. The locks are of the open file, not of
 * the process: SQLite's locks of other connections of the process are not touched.
 */
constexpr off_t kHostLock = 0x40000000 + 1024;
constexpr off_t kReaderLock = kHostLock + 1;

constexpr int kPollMicroseconds = 1000;
constexpr int kLongestWaitMicroseconds = 5'000'000;
/** A program that ends releases its locks one after another. */
constexpr int kReleaseWaitMicroseconds = 10'000;

// The locks of a write-ahead log's index that readers use.
constexpr int kFirstReadLock = 3;
constexpr int kLastReadLock = 7;

/** A file of a store, in memory of SQLite. */
struct StoreFile {
    sqlite3_file head; ///< first: SQLite sees only this
    sqlite3_vfs *vfs;
    sqlite3_file *base; ///< null: a write-ahead log that does not exist, which reads as an empty one
    const char *path;   ///< borrowed from SQLite
    StoreUser user;
    Part part;
    int descriptor;    ///< of the store file; -1 when SQLite has used one again
    bool has_index;    ///< whether the index is open in `base`
    bool lacks_index;  ///< whether a reader has read without an index
    bool is_exclusive; ///< whether SQLite holds its exclusive lock
};

StoreFile &store_file(sqlite3_file *file) { return *reinterpret_cast<StoreFile *>(file); }

flock range_of(off_t byte, short type) {
    flock range{};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = byte;
    range.l_len = 1;
    return range;
}

/** Failures are ignored: where there are no such locks, closing waits for nobody. */
void set_lock(const StoreFile &file, off_t byte, short type) {
    if (file.descriptor != -1) {
        flock range = range_of(byte, type);
        ::fcntl(file.descriptor, F_OFD_SETLK, &range);
    }
}

bool is_held_by_another(const StoreFile &file, off_t byte) {
    flock range = range_of(byte, F_WRLCK);
    return file.descriptor != -1 && ::fcntl(file.descriptor, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

off_t lock_of(StoreUser user) { return user == StoreUser::kHost ? kHostLock : kReaderLock; }

void release_lock(const StoreFile &file) {
    if (file.part == Part::kStore) {
        set_lock(file, lock_of(file.user), F_UNLCK);
    }
}

int close_file(sqlite3_file *sqlite_file) {
    StoreFile &file = store_file(sqlite_file);
    if (file.base == nullptr) {
        return SQLITE_OK;
    }
    release_lock(file);
    // A log of no bytes is what SQLite leaves when it could make no index for it.
    sqlite3_int64 size = -1;
    const bool is_empty_log = file.part == Part::kLog && file.user == StoreUser::kHost &&
                              file.base->pMethods->xFileSize(file.base, &size) == SQLITE_OK && size == 0;
    const int result = file.base->pMethods->xClose(file.base);
    sqlite3_free(file.base);
    file.base = nullptr;
    if (is_empty_log && store_file(sqlite3_database_file_object(file.path)).is_exclusive) {
        file.vfs->xDelete(file.vfs, file.path, 0);
    }
    return result;
}

int read_file(sqlite3_file *sqlite_file, void *bytes, int count, sqlite3_int64 offset) {
    const StoreFile &file = store_file(sqlite_file);
    if (file.base == nullptr) {
        std::memset(bytes, 0, static_cast<std::size_t>(count));
        return SQLITE_IOERR_SHORT_READ;
    }
    return file.base->pMethods->xRead(file.base, bytes, count, offset);
}

int write_file(sqlite3_file *sqlite_file, const void *bytes, int count, sqlite3_int64 offset) {
    const StoreFile &file = store_file(sqlite_file);
    if (file.user == StoreUser::kReader) {
        return SQLITE_READONLY;
    }
    return file.base->pMethods->xWrite(file.base, bytes, count, offset);
}

int truncate_file(sqlite3_file *sqlite_file, sqlite3_int64 size) {
    const StoreFile &file = store_file(sqlite_file);
    return file.user == StoreUser::kReader ? SQLITE_READONLY : file.base->pMethods->xTruncate(file.base, size);
}

int sync_file(sqlite3_file *sqlite_file, int flags) {
    const StoreFile &file = store_file(sqlite_file);
    return file.user == StoreUser::kReader ? SQLITE_OK : file.base->pMethods->xSync(file.base, flags);
}

int find_size(sqlite3_file *sqlite_file, sqlite3_int64 *size) {
    const StoreFile &file = store_file(sqlite_file);
    *size = 0;
    return file.base == nullptr ? SQLITE_OK : file.base->pMethods->xFileSize(file.base, size);
}

/** Repeats an attempt to lock while it may help: the lock's holder is a reader, or a program that is about to end. */
template <typename MayHelp>
int lock_with_patience(const StoreFile &file, int lock, MayHelp may_help) {
    for (int waited = 0;; waited += kPollMicroseconds) {
        const int result = file.base->pMethods->xLock(file.base, lock);
        if (result != SQLITE_BUSY || waited >= kLongestWaitMicroseconds || !may_help(waited)) {
            return result;
        }
        file.vfs->xSleep(file.vfs, kPollMicroseconds);
    }
}

int lock_file(sqlite3_file *sqlite_file, int lock) {
    StoreFile &file = store_file(sqlite_file);
    if (file.user == StoreUser::kReader && lock > SQLITE_LOCK_SHARED) {
        return SQLITE_READONLY;
    }
    const int result = file.base->pMethods->xLock(file.base, lock);
    file.is_exclusive = result == SQLITE_OK && lock == SQLITE_LOCK_EXCLUSIVE;
    return result;
}

int unlock_file(sqlite3_file *sqlite_file, int lock) {
    StoreFile &file = store_file(sqlite_file);
    file.is_exclusive = false;
    return file.base->pMethods->xUnlock(file.base, lock);
}

int find_reserved_lock(sqlite3_file *sqlite_file, int *is_reserved) {
    const StoreFile &file = store_file(sqlite_file);
    return file.base->pMethods->xCheckReservedLock(file.base, is_reserved);
}

// Operations of this VFS's own; SQLite leaves numbers from 100 on to others.
constexpr int kIsLockedAgainstHosts = 0x514F01;
constexpr int kPrepareToClose = 0x514F02;

/**
 * See the public function. SQLite does not use the reserved lock of a store with a write-ahead log: here it is what at
 * most one closing host has. An attempt to lock exclusively keeps new readers out.
 */
Closing prepare_to_close(StoreFile &file) {
    lock_with_patience(file, SQLITE_LOCK_RESERVED, [](int) { return true; });
    const int result = lock_with_patience(file, SQLITE_LOCK_EXCLUSIVE, [&](int waited) {
        return !is_held_by_another(file, kHostLock) &&
               (waited < kReleaseWaitMicroseconds || is_held_by_another(file, kReaderLock));
    });
    if (result == SQLITE_OK) {
        file.is_exclusive = true;
        return Closing::kAsLast;
    }
    if (is_held_by_another(file, kHostLock)) {
        release_lock(file); // before the reserved lock: the next host to have that must not see this one
        return Closing::kNotAsLast;
    }
    file.base->pMethods->xUnlock(file.base, SQLITE_LOCK_SHARED);
    return Closing::kInVain;
}

int control_file(sqlite3_file *sqlite_file, int operation, void *argument) {
    StoreFile &file = store_file(sqlite_file);
    switch (operation) {
    case kIsLockedAgainstHosts:
        *static_cast<bool *>(argument) = !file.lacks_index;
        return SQLITE_OK;
    case kPrepareToClose:
        *static_cast<Closing *>(argument) = prepare_to_close(file);
        return SQLITE_OK;
    default:
        return file.base == nullptr ? SQLITE_NOTFOUND
                                    : file.base->pMethods->xFileControl(file.base, operation, argument);
    }
}

int find_sector_size(sqlite3_file *sqlite_file) {
    const StoreFile &file = store_file(sqlite_file);
    return file.base == nullptr ? 4096 : file.base->pMethods->xSectorSize(file.base);
}

int find_characteristics(sqlite3_file *sqlite_file) {
    const StoreFile &file = store_file(sqlite_file);
    return file.base == nullptr ? 0 : file.base->pMethods->xDeviceCharacteristics(file.base);
}

// ---- the index of a write-ahead log

/** Opens the index, as for a reader without creating it, or maps a piece of it. */
int map_base_index(StoreFile &file, int region, int size, int extends, void volatile **piece) {
    Opening opening{Part::kIndex};
    if (::stat(file.path, &opening.store) == -1) {
        return SQLITE_IOERR_FSTAT;
    }
    const CheckedOpening checked(opening);
    const int result = file.base->pMethods->xShmMap(file.base, region, size, extends, piece);
    if (opening.is_refused) {
        return SQLITE_CANTOPEN;
    }
    if ((result & 0xFF) == SQLITE_OK || (result & 0xFF) == SQLITE_READONLY) {
        file.has_index = true;
    }
    return result;
}

/**
 * A reader makes an index of its own in memory, which SQLite does on this answer. The one beside the store holds the
 * locks, and nothing of what is in it is believed.
 */
int map_index_of_reader(StoreFile &file, int region, int size, void volatile **piece) {
    struct stat status {};
    const std::string path = std::string(file.path) + "-shm";
    if (!file.has_index && ::lstat(path.c_str(), &status) == -1 && errno == ENOENT) {
        file.lacks_index = true;
    } else {
        const int result = map_base_index(file, region, size, 0, piece);
        if (!file.has_index) {
            return result;
        }
    }
    *piece = nullptr;
    return SQLITE_READONLY_CANTINIT;
}

int map_index(sqlite3_file *sqlite_file, int region, int size, int extends, void volatile **piece) {
    StoreFile &file = store_file(sqlite_file);
    try {
        return file.user == StoreUser::kReader ? map_index_of_reader(file, region, size, piece)
                                               : map_base_index(file, region, size, extends, piece);
    } catch (const std::bad_alloc &) {
        return SQLITE_NOMEM;
    }
}

/**
 * A reader whose index is in memory locks only the first read lock, which keeps a checkpoint from writing to the store.
 * The last one is locked with it, which keeps writers from starting the log again.
 */
int lock_index(sqlite3_file *sqlite_file, int first, int count, int flags) {
    const StoreFile &file = store_file(sqlite_file);
    if (!file.has_index) {
        return SQLITE_OK;
    }
    const auto *const methods = file.base->pMethods;
    const int result = methods->xShmLock(file.base, first, count, flags);
    if (result != SQLITE_OK || file.user != StoreUser::kReader || first != kFirstReadLock) {
        return result;
    }
    const int second = methods->xShmLock(file.base, kLastReadLock, 1, flags);
    if (second != SQLITE_OK && (flags & SQLITE_SHM_LOCK) != 0) {
        methods->xShmLock(file.base, first, count, SQLITE_SHM_UNLOCK | SQLITE_SHM_SHARED);
    }
    return second;
}

void order_index(sqlite3_file *sqlite_file) {
    const StoreFile &file = store_file(sqlite_file);
    file.base->pMethods->xShmBarrier(file.base);
}

int unmap_index(sqlite3_file *sqlite_file, int deletes) {
    StoreFile &file = store_file(sqlite_file);
    if (!std::exchange(file.has_index, false)) {
        return SQLITE_OK;
    }
    return file.base->pMethods->xShmUnmap(file.base, file.user == StoreUser::kReader ? 0 : deletes);
}

constexpr sqlite3_io_methods kMethods = {2,
                                         close_file,
                                         read_file,
                                         write_file,
                                         truncate_file,
                                         sync_file,
                                         find_size,
                                         lock_file,
                                         unlock_file,
                                         find_reserved_lock,
                                         control_file,
                                         find_sector_size,
                                         find_characteristics,
                                         map_index,
                                         lock_index,
                                         order_index,
                                         unmap_index,
                                         nullptr,
                                         nullptr};

// ---- opening and deleting

StoreUser user_of(sqlite3_vfs *vfs) { return *static_cast<const StoreUser *>(vfs->pAppData); }

/** @return nothing for files that no store has: super-journals and temporary files. */
bool find_part(int flags, Part &part) {
    switch (flags &
            (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL | SQLITE_OPEN_SUPER_JOURNAL |
             SQLITE_OPEN_TEMP_DB | SQLITE_OPEN_TEMP_JOURNAL | SQLITE_OPEN_TRANSIENT_DB | SQLITE_OPEN_SUBJOURNAL)) {
    case SQLITE_OPEN_MAIN_DB:
        part = Part::kStore;
        return true;
    case SQLITE_OPEN_MAIN_JOURNAL:
        part = Part::kJournal;
        return true;
    case SQLITE_OPEN_WAL:
        part = Part::kLog;
        return true;
    default:
        return false;
    }
}

/** Checks that the opened file is a store: before any lock is taken and any journal is looked for. */
int check_header(const StoreFile &file, bool writes) noexcept {
    StoreHeader::Bytes bytes{};
    const int result = file.base->pMethods->xRead(file.base, bytes.data(), static_cast<int>(bytes.size()), 0);
    try {
        if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ) {
            int error = 0;
            file.base->pMethods->xFileControl(file.base, SQLITE_FCNTL_LAST_ERRNO, &error);
            refuse(error != 0 ? std::generic_category().message(error) : "cannot be read");
            return result;
        }
        const StoreHeader header(bytes);
        if (result == SQLITE_IOERR_SHORT_READ || !header.is_of_store()) {
            refuse("is not an analytics store");
            return SQLITE_NOTADB;
        }
        if (writes && !header.is_writable()) {
            refuse("is damaged: its header does not say how it is written");
            return SQLITE_NOTADB;
        }
    } catch (const std::bad_alloc &) {
        return SQLITE_NOMEM; // the caller closes the file
    }
    return SQLITE_OK;
}

/** A journal that another program has left may be looked at; rolling it back would be opening it for writing. */
bool is_journal_of_another(Part part, int flags) {
    return part == Part::kJournal && (flags & (SQLITE_OPEN_READONLY | SQLITE_OPEN_CREATE)) == 0;
}

/**
 * Whether a write-ahead log begins like one. SQLite reads one that does not as empty where it may write to the index;
 * where it may not, it tries again for ten seconds and gives up.
 */
bool is_log(sqlite3_file *file) {
    // The header begins with a magic number, the version and the page size. There is more than the header.
    std::array<unsigned char, 32 + 1> bytes{};
    if (file->pMethods->xRead(file, bytes.data(), static_cast<int>(bytes.size()), 0) != SQLITE_OK) {
        return false;
    }
    const auto number_at = [&](std::size_t at) {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            number = number << 8 | bytes[at + i];
        }
        return number;
    };
    constexpr std::uint32_t kMagic = 0x377F0682; // the last bit is the order of bytes in sums
    const std::uint32_t page_size = number_at(8);
    return (number_at(0) & ~1U) == kMagic && std::has_single_bit(page_size) && page_size >= 512 && page_size <= 65536;
}

void close_base(StoreFile &file) {
    file.base->pMethods->xClose(file.base);
    sqlite3_free(file.base);
    file.base = nullptr;
}

int open_base(StoreFile &file, const char *path, int flags, int *flags_out) {
    Opening opening{file.part};
    if (file.part != Part::kStore && ::stat(sqlite3_filename_database(path), &opening.store) == -1) {
        return SQLITE_CANTOPEN;
    }
    struct stat status {};
    if (file.part == Part::kLog && file.user == StoreUser::kReader && ::lstat(path, &status) == -1 && errno == ENOENT) {
        return SQLITE_OK; // an empty one
    }
    file.base = static_cast<sqlite3_file *>(sqlite3_malloc(file.vfs->szOsFile));
    if (file.base == nullptr) {
        return SQLITE_NOMEM;
    }
    std::memset(file.base, 0, static_cast<std::size_t>(file.vfs->szOsFile));
    int result = SQLITE_OK;
    {
        const CheckedOpening checked(opening);
        result = file.vfs->xOpen(file.vfs, path, file.base, flags, flags_out);
    }
    file.descriptor = opening.descriptor;
    if (result != SQLITE_OK) {
        sqlite3_free(file.base);
        file.base = nullptr;
    } else if (file.part == Part::kLog && file.user == StoreUser::kReader && !is_log(file.base)) {
        close_base(file);
    }
    return result;
}

int open_file(sqlite3_vfs *vfs, const char *path, sqlite3_file *sqlite_file, int flags, int *flags_out) {
    sqlite_file->pMethods = nullptr;
    try {
        Part part{};
        if (path == nullptr || !find_part(flags, part)) {
            refuse("takes a file that a store does not have");
            return SQLITE_CANTOPEN;
        }
        if (is_journal_of_another(part, flags)) {
            return SQLITE_READONLY_ROLLBACK;
        }
        StoreFile &file = *new (sqlite_file) StoreFile{};
        file.vfs = base_vfs();
        file.path = path;
        file.user = user_of(vfs);
        file.part = part;
        file.descriptor = -1;
        if (file.user == StoreUser::kReader) {
            flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
        }
        int opened_flags = flags;
        int result = open_base(file, path, flags, &opened_flags);
        if (result == SQLITE_OK && part == Part::kStore) {
            result = check_header(file, (flags & SQLITE_OPEN_READWRITE) != 0);
            if (result != SQLITE_OK) {
                close_base(file);
            } else if (file.user == StoreUser::kReader || (opened_flags & SQLITE_OPEN_READWRITE) != 0) {
                set_lock(file, lock_of(file.user), F_RDLCK);
            }
        }
        if (flags_out != nullptr) {
            *flags_out = opened_flags;
        }
        if (result == SQLITE_OK) {
            file.head.pMethods = &kMethods;
        }
        return result;
    } catch (const std::bad_alloc &) {
        return SQLITE_NOMEM;
    }
}

/** The store that a file beside it is named after; empty when SQLite keeps no file of that name. */
std::string store_beside(std::string_view path) {
    for (const std::string_view ending : {"-wal", "-journal"}) {
        if (path.size() > ending.size() && path.substr(path.size() - ending.size()) == ending) {
            return std::string(path.substr(0, path.size() - ending.size()));
        }
    }
    return {};
}

int delete_file(sqlite3_vfs *vfs, const char *path, int syncs_folder) {
    try {
        const std::string store_path = store_beside(path);
        struct stat file {};
        struct stat store {};
        const bool is_own = user_of(vfs) == StoreUser::kHost && !store_path.empty() &&
                            ::stat(store_path.c_str(), &store) == 0 &&
                            (::lstat(path, &file) == -1 || find_fault(file, store).empty());
        return is_own ? base_vfs()->xDelete(base_vfs(), path, syncs_folder) : SQLITE_IOERR_DELETE;
    } catch (const std::bad_alloc &) {
        return SQLITE_IOERR_NOMEM;
    }
}

// The rest is the base's; each function takes the base itself as its first argument.

int find_access(sqlite3_vfs *, const char *path, int what, int *result) {
    return base_vfs()->xAccess(base_vfs(), path, what, result);
}
int find_full_path(sqlite3_vfs *, const char *path, int size, char *full) {
    return base_vfs()->xFullPathname(base_vfs(), path, size, full);
}
int make_random(sqlite3_vfs *, int size, char *bytes) { return base_vfs()->xRandomness(base_vfs(), size, bytes); }
int sleep(sqlite3_vfs *, int microseconds) { return base_vfs()->xSleep(base_vfs(), microseconds); }
int find_time(sqlite3_vfs *, double *days) { return base_vfs()->xCurrentTime(base_vfs(), days); }
int find_last_error(sqlite3_vfs *, int size, char *text) { return base_vfs()->xGetLastError(base_vfs(), size, text); }
int find_time_in_milliseconds(sqlite3_vfs *, sqlite3_int64 *time) {
    return base_vfs()->xCurrentTimeInt64(base_vfs(), time);
}

sqlite3_vfs make_vfs(const char *name, const StoreUser &user) {
    sqlite3_vfs vfs{};
    vfs.iVersion = 2;
    vfs.szOsFile = sizeof(StoreFile);
    vfs.mxPathname = base_vfs()->mxPathname;
    vfs.zName = name;
    vfs.pAppData = const_cast<StoreUser *>(&user);
    vfs.xOpen = open_file;
    vfs.xDelete = delete_file;
    vfs.xAccess = find_access;
    vfs.xFullPathname = find_full_path;
    vfs.xRandomness = make_random;
    vfs.xSleep = sleep;
    vfs.xCurrentTime = find_time;
    vfs.xGetLastError = find_last_error;
    vfs.xCurrentTimeInt64 = find_time_in_milliseconds;
    return vfs;
}

constexpr StoreUser kUsers[] = {StoreUser::kReader, StoreUser::kHost};

/** Both, registered. SQLite is initialised. Never destroyed: a plug-in may still publish while the process exits. */
struct StoreVfs {
    StoreVfs() {
        replace_system_calls();
        sqlite3_vfs_register(&reader, 0);
        sqlite3_vfs_register(&host, 0);
        if (base_vfs() != system_vfs()) {
            sqlite3_vfs_register(system_vfs(), 0); // the next default, before these two, when a test takes its own away
        }
    }

    sqlite3_vfs reader = make_vfs("qor-store-reader", kUsers[0]);
    sqlite3_vfs host = make_vfs("qor-store-host", kUsers[1]);
};

const StoreVfs &make_store_vfs() {
    if (sqlite3_initialize() != SQLITE_OK) {
        throw std::bad_alloc();
    }
    return *new StoreVfs;
}

} // namespace

const char *store_vfs_name(StoreUser user) {
    static const StoreVfs &vfs = make_store_vfs();
    return user == StoreUser::kReader ? vfs.reader.zName : vfs.host.zName;
}

std::string take_refusal() { return std::exchange(last_refusal, {}); }

bool is_locked_against_hosts(Database &reader) {
    bool is_locked = false;
    sqlite3_file_control(reader.handle(), "main", kIsLockedAgainstHosts, &is_locked);
    return is_locked;
}

Closing prepare_to_close(Database &host) {
    Closing closing = Closing::kInVain;
    sqlite3_file_control(host.handle(), "main", kPrepareToClose, &closing);
    return closing;
}

} // namespace host
