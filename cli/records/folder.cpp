#include "cli/records/folder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "host/error.h"
#include "host/utf8.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kNumberDigitsAtLeast = 3;
constexpr mode_t kFileMode = 0666;
constexpr mode_t kFolderMode = 0777;

[[noreturn]] void fail(const std::string &file, int error) {
    throw host::Error(file, "", std::generic_category().message(error));
}

bool fits_a_file_name(std::string_view sequence) {
    constexpr std::string_view kRefused = "/\\:*?\"<>|\x7F";
    return sequence.size() > 1 ||
           (static_cast<unsigned char>(sequence[0]) >= 0x20 && kRefused.find(sequence[0]) == std::string_view::npos);
}

std::string as_file_name(std::string_view title) {
    std::string name;
    while (!title.empty()) {
        const std::size_t length = host::utf8_sequence_length(title);
        const std::string_view sequence = title.substr(0, std::max<std::size_t>(1, length));
        const bool fits = length != 0 && fits_a_file_name(sequence);
        name += fits ? sequence : std::string_view("_");
        title.remove_prefix(sequence.size());
    }
    return name.empty() ? "untitled" : name;
}

/** @param display_name  the file's final name, for errors. */
void write_file(const fs::path &path, const host::RecordBytes &bytes, const std::string &display_name) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    if (descriptor == -1) {
        fail(display_name, errno);
    }
    try {
        write_fully(descriptor, bytes, display_name);
    } catch (...) {
        close(descriptor);
        throw;
    }
    // Some file systems report a full disk only on close.
    if (close(descriptor) == -1) {
        fail(display_name, errno);
    }
}

/** A new folder beside the target. Removed with its files unless it is renamed to the target. */
class PartialFolder {
public:
    /** @param display_name  the target as the user named it, for errors. */
    PartialFolder(fs::path target, std::string display_name)
        : _target(std::move(target)), _display_name(std::move(display_name)) {
        // A killed process that had this process's number may have left a folder behind.
        for (int attempt = 0; _path.empty(); ++attempt) {
            const fs::path path =
                _target.string() + ".partial-" + std::to_string(getpid()) + "-" + std::to_string(attempt);
            if (mkdir(path.c_str(), kFolderMode) == 0) {
                _path = path;
            } else if (errno != EEXIST) {
                fail(_display_name, errno);
            }
        }
    }
    PartialFolder(const PartialFolder &) = delete;
    PartialFolder &operator=(const PartialFolder &) = delete;
    ~PartialFolder() {
        std::error_code ignored;
        if (!_path.empty()) {
            fs::remove_all(_path, ignored);
        }
    }

    const fs::path &path() const { return _path; }

    /** Renames the folder to the target. Replaces an empty folder there. */
    void rename_to_target() {
        if (rename(_path.c_str(), _target.c_str()) == -1) {
            fail(_display_name, errno);
        }
        _path.clear();
    }

private:
    fs::path _target;
    std::string _display_name;
    fs::path _path;
};

/** Follows links and drops slashes at the end, so that the name of a sibling can be derived from the path. */
fs::path resolve(const std::string &folder) {
    std::error_code error;
    std::string path = fs::weakly_canonical(fs::absolute(folder), error).string();
    if (error) {
        fail(folder, error.value());
    }
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

void require_absent_or_empty(const std::string &folder) {
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (!fs::exists(status)) {
        return;
    }
    if (!fs::is_directory(status)) {
        throw host::Error(folder, "", "exists and is not a directory");
    }
    const bool is_empty = fs::is_empty(folder, error);
    if (error) {
        fail(folder, error.value());
    }
    if (!is_empty) {
        throw host::Error(folder, "", "exists and is not empty");
    }
}

} // namespace

std::string file_name_of(std::size_t number, std::size_t count, std::string_view title) {
    const std::size_t digits = std::max(kNumberDigitsAtLeast, std::to_string(count).size());
    std::string padded = std::to_string(number);
    padded.insert(0, digits - std::min(digits, padded.size()), '0');
    return padded + "-" + as_file_name(title) + std::string(kFileExtension);
}

void write_folder(const std::string &folder, const std::vector<host::RecordBytes> &records,
                  const std::vector<std::string> &titles) {
    require_absent_or_empty(folder);
    const Interruption interruption;
    PartialFolder partial(resolve(folder), folder);
    for (std::size_t i = 0; i < records.size(); ++i) {
        interruption.throw_if_requested();
        const std::string name = file_name_of(i + 1, records.size(), titles[i]);
        write_file(partial.path() / name, records[i], (fs::path(folder) / name).string());
    }
    partial.rename_to_target();
}

std::string unused_folder_name() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, sizeof "capture-YYYYMMDD-HHMMSS" + 8> name{};
    std::strftime(name.data(), name.size(), "capture-%Y%m%d-%H%M%S", &local);
    std::string candidate = name.data();
    for (int next = 2; fs::exists(candidate); ++next) {
        candidate = std::string(name.data()) + "-" + std::to_string(next);
    }
    return candidate;
}

} // namespace cli
