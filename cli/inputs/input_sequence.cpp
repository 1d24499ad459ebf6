#include "cli/inputs/input_sequence.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "cli/arguments/wrong_use.h"
#include "cli/inputs/file_list.h"
#include "cli/inputs/folder_files.h"
#include "cli/terminal/input.h"
#include "cli/terminal/output.h"

namespace cli {
namespace {

bool is_folder(const std::string &argument) {
    struct stat status {};
    return argument != kStandardInputArgument && stat(argument.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/** @param argument  no folder. */
bool is_awaited(const std::string &argument) {
    struct stat status {};
    const bool is_known =
        argument == kStandardInputArgument ? fstat(STDIN_FILENO, &status) == 0 : stat(argument.c_str(), &status) == 0;
    return is_known && !S_ISREG(status.st_mode);
}

/** Whether this is a file of our own, for one of the verbs. */
bool is_own(ContentKind kind) { return kind != ContentKind::Foreign && kind != ContentKind::Text; }

std::string refusal(const Content &content, std::string_view wanted) {
    const std::string is = "is " + std::string(content.name);
    switch (content.kind) {
    case ContentKind::Store:
        return is + ": use qorstat metrics";
    case ContentKind::Records:
        return is + ": use qorstat show";
    default:
        return is + ", not " + std::string(wanted);
    }
}

} // namespace

InputSequence::InputSequence(const std::vector<std::string> &arguments, const std::optional<std::string> &files_from,
                             WantedContent wanted)
    : _wanted(std::move(wanted)) {
    std::vector<std::string> all = arguments;
    if (files_from) {
        const std::vector<std::string> listed = read_file_list(*files_from);
        if (listed.empty()) {
            throw host::Error(input_name(*files_from), "", "names no files");
        }
        all.insert(all.end(), listed.begin(), listed.end());
    }
    const auto names_of_standard_input =
        std::count(all.begin(), all.end(), kStandardInputArgument) + (files_from == kStandardInputArgument ? 1 : 0);
    if (names_of_standard_input > 1) {
        throw WrongUse("standard input is named more than once");
    }
    for (const std::string &argument : all) {
        add(argument);
    }
}

void InputSequence::add(const std::string &argument) {
    if (!is_folder(argument)) {
        _entries.push_back({argument, std::nullopt, ""});
        return;
    }
    for (FolderEntry &found : files_below(argument)) {
        _entries.push_back({std::move(found.path), _folders.size(), std::move(found.error)});
    }
    _folders.push_back({argument});
}

bool InputSequence::may_wait() const {
    return std::any_of(_entries.begin(), _entries.end(),
                       [](const Entry &entry) { return !entry.folder && is_awaited(entry.argument); });
}

std::uint64_t InputSequence::total_size() const {
    std::uint64_t size = 0;
    for (const Entry &entry : _entries) {
        struct stat status {};
        const bool is_known = entry.argument == kStandardInputArgument ? fstat(STDIN_FILENO, &status) == 0
                                                                       : stat(entry.argument.c_str(), &status) == 0;
        size += is_known && S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    }
    return size;
}

std::optional<Input> InputSequence::next() {
    while (_next < _entries.size()) {
        const Entry &entry = _entries[_next++];
        try {
            std::optional<Input> input = open(entry);
            if (!input) {
                continue;
            }
            if (entry.folder) {
                ++_folders[*entry.folder].count;
            }
            return input;
        } catch (const host::Error &error) {
            if (entry.folder) {
                ++_folders[*entry.folder].count;
            }
            report(error);
        }
    }
    report_empty_folders();
    return std::nullopt;
}

/** @return nothing for what is passed over. */
std::optional<Input> InputSequence::open(const Entry &entry) const {
    if (!entry.error.empty()) {
        throw host::Error(entry.argument, "", entry.error);
    }
    auto stream = std::make_unique<ByteStream>(entry.argument);
    const Content content = stream->content();
    if ((entry.folder ? _wanted.kinds_in_folder : _wanted.kinds).count(content.kind) != 0) {
        return Input{std::move(stream), entry.folder};
    }
    if (entry.folder && is_own(content.kind)) {
        return std::nullopt;
    }
    throw host::Error(stream->name(), "", refusal(content, _wanted.name));
}

void InputSequence::pass_over(const Input &input) { --_folders[input.folder.value()].count; }

void InputSequence::report_empty_folders() {
    for (Folder &folder : _folders) {
        if (std::exchange(folder.count, 1) == 0) {
            say(folder.name + ": has no file that holds " + std::string(_wanted.name));
        }
    }
}

void InputSequence::report(const host::Error &error) { say(error.what()); }

void InputSequence::say(const std::string &message) {
    print_message("qorstat: " + message);
    _has_failed = true;
}

} // namespace cli
