#include "host/device/named_files.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "host/error.h"

namespace host {

/** Makes errors about one file. */
struct NamedFiles::Place {
    const std::string &file;  ///< the description
    const std::string &place; ///< in it
    const std::string &path;  ///< of the file

    Error refuse(const std::string &why) const {
        // An empty name is shown as "".
        const bool is_named = file == path && !path.empty();
        return {file, place, is_named ? why : in_quotes(path) + ": " + why};
    }
};

namespace {

namespace fs = std::filesystem;

using Place = NamedFiles::Place;

/** Far above any description or stream of reports. Keeps a wrong path from exhausting memory. */
constexpr std::uint64_t kLargestFile = 64u << 20;

/** The kernel gives up a confined look-up when folders are renamed meanwhile. */
constexpr int kTries = 100;

/** A file is looked at through such a descriptor before it is opened: opening a device or a pipe may have effects. */
constexpr int kLook = O_PATH | O_CLOEXEC;

/** @throws Error unless it is a regular file of at most `kLargestFile` bytes. */
std::uint64_t size_of(const FileDescriptor &file, const Place &place) {
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
        throw place.refuse("no such file");
    }
    if (!S_ISREG(status.st_mode)) {
        throw place.refuse("not a regular file");
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > kLargestFile) {
        throw place.refuse("larger than " + std::to_string(kLargestFile) + " bytes");
    }
    return size;
}

std::vector<std::byte> read_all(const FileDescriptor &looked_at, std::uint64_t size, const Place &place) {
    const std::string reopened = "/proc/self/fd/" + std::to_string(looked_at.get());
    const FileDescriptor file(::open(reopened.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<std::byte> bytes(static_cast<std::size_t>(size));
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t length = ::read(file.get(), bytes.data() + done, bytes.size() - done);
        if (length > 0) {
            done += static_cast<std::size_t>(length);
        } else if (length == 0 || errno != EINTR) {
            throw place.refuse("cannot be read");
        }
    }
    if (file.get() < 0) {
        throw place.refuse("cannot be read");
    }
    return bytes;
}

/** Looks a path up beneath a folder. @return a negative number, with `errno` set, when that fails. */
int look_beneath(const FileDescriptor &folder, const std::string &path) {
    open_how how{};
    how.flags = kLook;
    how.resolve = RESOLVE_BENEATH;
    long file = -1;
    for (int i = 0; i < kTries; ++i) {
        file = ::syscall(SYS_openat2, folder.get(), path.c_str(), &how, sizeof how);
        if (file >= 0 || (errno != EAGAIN && errno != EINTR)) {
            break;
        }
    }
    return static_cast<int>(file);
}

/** The rest of a path that starts with `folder`, both without symbolic links there; nothing for any other path. */
std::optional<fs::path> rest_beneath(const fs::path &folder, const fs::path &path) {
    auto part = path.begin();
    for (const fs::path &expected : folder) {
        if (part == path.end() || *part != expected) {
            return std::nullopt;
        }
        ++part;
    }
    fs::path rest;
    for (; part != path.end(); ++part) {
        rest /= *part;
    }
    return rest;
}

} // namespace

std::vector<std::byte> read_description_file(const std::string &path) {
    const std::string nowhere;
    const Place place{path, nowhere, path};
    const FileDescriptor file(::open(path.c_str(), kLook));
    return read_all(file, size_of(file, place), place);
}

NamedFiles::NamedFiles(std::string description, const std::optional<std::string> &folder, std::uint64_t most_bytes)
    : _description(std::move(description)), _folder(folder),
      _opened_folder(folder ? ::open(folder->c_str(), kLook | O_DIRECTORY) : -1), _most_bytes(most_bytes),
      _bytes_left(most_bytes) {
    if (!_folder) {
        return;
    }
    if (_opened_folder.get() < 0) {
        throw Error(*_folder, "", std::generic_category().message(errno));
    }
    std::error_code failure;
    _real_folder = fs::canonical(*_folder, failure);
    if (failure) {
        throw Error(*_folder, "", failure.message());
    }
}

std::vector<std::byte> NamedFiles::read(const std::string &name, const std::string &place) {
    const std::string path = fs::path(_description).parent_path() / name;
    const Place at{_description, place, path};
    const FileDescriptor file(_folder ? look_confined(name, at) : ::open(path.c_str(), kLook));
    const std::uint64_t size = size_of(file, at);
    if (size > _bytes_left) {
        throw at.refuse("with it, the files that the description names have more than " + std::to_string(_most_bytes) +
                        " bytes");
    }
    _bytes_left -= size;
    return read_all(file, size, at);
}

int NamedFiles::look_confined(const std::string &name, const Place &at) const {
    std::error_code failure;
    const fs::path start = fs::canonical(fs::absolute(_description).parent_path(), failure);
    const std::optional<fs::path> rest = rest_beneath(_real_folder, start / name);
    const int file = rest ? look_beneath(_opened_folder, *rest) : -1;
    if (!rest || (file < 0 && errno == EXDEV)) {
        throw at.refuse("outside of " + in_quotes(*_folder));
    }
    if (file < 0 && errno == ENOSYS) {
        throw at.refuse("this kernel cannot confine names of files");
    }
    return file;
}

} // namespace host
