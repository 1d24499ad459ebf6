#include "cli/questions/prompt_history.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/arguments/state_folder.h"
#include "cli/terminal/output.h"
#include "host/error.h"
#include "host/file_descriptor.h"
#include "host/utf8.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kPrivate = 0600;

/** The most that is read: twice as many entries as are kept, of two bytes for each of theirs, would be more only for
 * the longest ones. */
constexpr off_t kMostBytes = off_t{4} << 20;

[[noreturn]] void fail(const fs::path &file, int error) {
    throw host::Error(file.string(), "", std::generic_category().message(error));
}

/** @return a negative descriptor when the file does not exist. @throws host::Error when it is no usable file. */
host::FileDescriptor open_history(const fs::path &file, int flags) {
    // A FIFO must not stop the program.
    host::FileDescriptor opened(::open(file.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kPrivate));
    if (opened.get() < 0) {
        if (errno == ENOENT) {
            return opened;
        }
        fail(file, errno);
    }
    struct stat status {};
    if (::fstat(opened.get(), &status) == -1) {
        fail(file, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw host::Error(file.string(), "", "not a regular file");
    }
    if ((status.st_mode & 0777) != kPrivate && ::fchmod(opened.get(), kPrivate) == -1) {
        fail(file, errno);
    }
    return opened;
}

/** The last bytes of a file, from the start of a line. */
std::string tail_of(const host::FileDescriptor &opened, const fs::path &file) {
    const off_t size = ::lseek(opened.get(), 0, SEEK_END);
    const off_t start = std::max<off_t>(size - kMostBytes, 0);
    std::string text(static_cast<std::size_t>(size - start), '\0');
    std::size_t filled = 0;
    while (filled < text.size()) {
        const ssize_t count =
            ::pread(opened.get(), text.data() + filled, text.size() - filled, start + static_cast<off_t>(filled));
        if (count == -1 && errno != EINTR) {
            fail(file, errno);
        }
        if (count == 0) {
            break;
        }
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    text.resize(filled);
    return start == 0 ? text : text.substr(std::min(text.find('\n'), text.size()));
}

bool may_be_kept(std::string_view entry) {
    if (entry.empty() || entry.size() > PromptHistory::kLongestEntry || !host::is_utf8(entry)) {
        return false;
    }
    for (std::size_t at = 0; at < entry.size(); ++at) {
        const bool is_space = entry[at] == '\n' || entry[at] == '\t';
        if (!is_space && host::control_character_length(entry.substr(at)) != 0) {
            return false;
        }
    }
    return true;
}

std::string line_of(std::string_view entry) {
    std::string line;
    for (const char character : entry) {
        line += character == '\\' ? "\\\\" : character == '\n' ? "\\n" : std::string(1, character);
    }
    return line + "\n";
}

std::string entry_of(std::string_view line) {
    std::string entry;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '\\' && at + 1 < line.size()) {
            ++at;
            entry += line[at] == 'n' ? '\n' : line[at];
        } else {
            entry += line[at];
        }
    }
    return entry;
}

std::span<const std::byte> bytes_of(const std::string &text) { return std::as_bytes(std::span(text)); }

/** Writes the entries into a new file, which then takes the place of the other. */
void replace(const fs::path &file, std::span<const std::string> entries) {
    std::string text;
    for (const std::string &entry : entries) {
        text += line_of(entry);
    }
    std::string name = file.string() + ".XXXXXX";
    const host::FileDescriptor written(::mkostemp(name.data(), O_CLOEXEC)); // with mode 0600
    if (written.get() < 0) {
        fail(file, errno);
    }
    try {
        write_fully(written.get(), bytes_of(text), name);
    } catch (const host::Error &) {
        ::unlink(name.c_str());
        throw;
    }
    if (::rename(name.c_str(), file.c_str()) == -1) {
        const int error = errno;
        ::unlink(name.c_str());
        fail(file, error);
    }
}

} // namespace

PromptHistory::PromptHistory(fs::path file) : _file(std::move(file)) {}

std::vector<std::string> PromptHistory::load() const {
    std::vector<std::string> entries;
    if (_file.empty()) {
        return entries;
    }
    const host::FileDescriptor opened = open_history(_file, O_RDONLY);
    if (opened.get() < 0) {
        return entries;
    }
    const std::string text = tail_of(opened, _file);
    std::size_t lines = 0;
    for (std::size_t start = 0, end = 0; start < text.size(); start = end + 1, ++lines) {
        end = std::min(text.find('\n', start), text.size());
        std::string entry = entry_of(std::string_view(text).substr(start, end - start));
        if (may_be_kept(entry)) {
            entries.push_back(std::move(entry));
        }
    }
    if (entries.size() > kMostEntries) {
        entries.erase(entries.begin(), entries.end() - static_cast<std::ptrdiff_t>(kMostEntries));
    }
    if (lines > 2 * kMostEntries || ::lseek(opened.get(), 0, SEEK_END) > kMostBytes) {
        replace(_file, entries);
    }
    return entries;
}

void PromptHistory::add(std::string_view entry) const {
    if (_file.empty() || !may_be_kept(entry)) {
        return;
    }
    create_private_folders(_file.parent_path());
    const host::FileDescriptor opened = open_history(_file, O_WRONLY | O_APPEND | O_CREAT);
    if (opened.get() < 0) {
        fail(_file, ENOENT);
    }
    write_fully(opened.get(), bytes_of(line_of(entry)), _file.string());
}

} // namespace cli
