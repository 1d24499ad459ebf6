#include "cli/inputs/folder_files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/file_descriptor.h"
#include "host/store/store_header.h"

namespace cli {
namespace {

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};

std::string reason_of(int error) { return std::generic_category().message(error); }

/** Walks without recursion: folders may be nested as deeply as a path is long. */
class Walk {
public:
    explicit Walk(const std::string &folder) : _folders{folder} {}

    std::vector<FolderEntry> all() && {
        while (!_folders.empty()) {
            const std::string folder = std::move(_folders.back());
            _folders.pop_back();
            visit(folder);
        }
        std::sort(_entries.begin(), _entries.end(),
                  [](const FolderEntry &a, const FolderEntry &b) { return a.path < b.path; });
        return std::move(_entries);
    }

private:
    void visit(const std::string &path) {
        const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
        if (folder == nullptr) {
            _entries.push_back({path, reason_of(errno)});
            return;
        }
        const std::string prefix = path.back() == '/' ? path : path + "/";
        errno = 0;
        // Only this thread reads this folder.
        while (const dirent *const entry = readdir(folder.get())) { // NOLINT(concurrency-mt-unsafe)
            if (entry->d_name[0] != '.') {
                add(prefix + entry->d_name);
            }
            errno = 0;
        }
        if (errno != 0) {
            _entries.push_back({path, reason_of(errno)});
        }
    }

    void add(std::string path) {
        struct stat link {};
        struct stat file {};
        if (lstat(path.c_str(), &link) == -1) {
            _entries.push_back({std::move(path), reason_of(errno)});
        } else if (S_ISDIR(link.st_mode)) {
            _folders.push_back(std::move(path));
        } else if (S_ISREG(link.st_mode) ||
                   (S_ISLNK(link.st_mode) && (stat(path.c_str(), &file) == -1 || S_ISREG(file.st_mode)))) {
            _entries.push_back({std::move(path), ""});
        }
    }

    std::vector<std::string> _folders; ///< still to be visited
    std::vector<FolderEntry> _entries;
};

bool is_store(const std::string &path) {
    const host::FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    host::StoreHeader::Bytes header{};
    return file.get() != -1 && pread(file.get(), header.data(), header.size(), 0) == ssize_t{header.size()} &&
           host::StoreHeader(header).is_of_store();
}

bool stands_beside_a_store(const std::string &path) {
    constexpr std::array<std::string_view, 3> kEndings = {"-wal", "-shm", "-journal"};
    return std::any_of(kEndings.begin(), kEndings.end(), [&](std::string_view ending) {
        return path.ends_with(ending) && is_store(path.substr(0, path.size() - ending.size()));
    });
}

} // namespace

std::vector<FolderEntry> files_below(const std::string &folder) {
    std::vector<FolderEntry> entries = Walk(folder).all();
    std::erase_if(entries, [](const FolderEntry &entry) { return stands_beside_a_store(entry.path); });
    return entries;
}

} // namespace cli
