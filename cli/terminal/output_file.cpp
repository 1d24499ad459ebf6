#include "cli/terminal/output_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/input.h"
#include "host/error.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kFileMode = 0666;

/** Whether standard output goes to the same file. Renaming another one over it would take the file from the shell. */
bool is_standard_output(const struct stat &file) {
    struct stat output {};
    return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev && output.st_ino == file.st_ino;
}

/** Where the links of a file that need not be there lead. Of endless links, one of them. */
fs::path behind_links(fs::path file) {
    constexpr int kLinksAtMost = 40;
    std::error_code error;
    for (int links = 0; links < kLinksAtMost && fs::is_symlink(file, error); ++links) {
        file = file.parent_path() / fs::read_symlink(file, error);
    }
    return file;
}

} // namespace

OutputFile::OutputFile(const std::optional<std::string> &file) {
    struct stat status {};
    const bool exists = file && stat(file->c_str(), &status) == 0;
    if (!file || *file == kStandardInputArgument || (exists && is_standard_output(status))) {
        _output.emplace(STDOUT_FILENO, "standard output");
        return;
    }
    _name = input_name(*file);
    if (exists && !S_ISREG(status.st_mode)) {
        _descriptor = open(file->c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
        if (_descriptor == -1) {
            fail(errno);
        }
    } else {
        std::error_code error;
        _target = fs::weakly_canonical(behind_links(fs::absolute(*file)), error).string();
        if (error || file->empty()) {
            fail(error ? error.value() : ENOENT);
        }
        create_beside();
    }
    _output.emplace(_descriptor, _name);
}

/** A signal comes before the file is there, or when it is known to be removed. */
void OutputFile::create_beside() {
    const WholePiece piece;
    // A killed process that had this process's number may have left a file behind.
    for (int attempt = 0; _descriptor == -1; ++attempt) {
        const std::string path = _target + ".partial-" + std::to_string(getpid()) + "-" + std::to_string(attempt);
        _descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
        if (_descriptor != -1) {
            _partial.emplace(path);
        } else if (errno != EEXIST) {
            fail(errno);
        }
    }
}

OutputFile::~OutputFile() {
    const WholePiece piece;
    if (_descriptor != -1) {
        close(_descriptor);
    }
    if (_partial) {
        unlink(_partial->path().c_str());
    }
}

void OutputFile::finish() {
    output().finish();
    if (_descriptor == -1) {
        return;
    }
    const WholePiece piece;
    // Some file systems report a full disk only on close.
    if (close(std::exchange(_descriptor, -1)) == -1) {
        fail(errno);
    }
    if (_partial) {
        if (rename(_partial->path().c_str(), _target.c_str()) == -1) {
            fail(errno);
        }
        _partial.reset();
    }
}

void OutputFile::fail(int error) const { throw host::Error(_name, "", std::generic_category().message(error)); }

} // namespace cli
