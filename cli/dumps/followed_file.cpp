#include "cli/dumps/followed_file.h"

#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/output.h"
#include "host/count_text.h"

namespace cli {

FollowedFile::FollowedFile(std::string path, Follow follow) : _path(std::move(path)), _follow(follow) {}

int FollowedFile::look(int descriptor, std::size_t unread) {
    struct stat open_file {};
    struct stat named {};
    if (_path.empty() || fstat(descriptor, &open_file) == -1) {
        return -1;
    }
    const bool is_there = stat(_path.c_str(), &named) == 0 && S_ISREG(named.st_mode);
    if (is_there && named.st_dev == open_file.st_dev && named.st_ino == open_file.st_ino) {
        _state = State::Same;
        return -1;
    }
    const State state = is_there ? State::Replaced : State::Missing;
    if (state != _state || (is_there && named.st_ino != _replacing)) {
        _state = state;
        _replacing = named.st_ino;
        say(state, open_file.st_nlink != 0);
        return -1; // what the old file got before it was replaced is read first
    }
    if (!is_there || _follow != Follow::Name) {
        return -1;
    }
    const int next = open(_path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (next == -1) {
        return -1; // it may be there in a moment
    }
    struct stat opened {};
    if (fstat(next, &opened) == -1 || !S_ISREG(opened.st_mode)) {
        close(next);
        return -1;
    }
    say_unread(unread);
    _state = State::Same;
    return next;
}

bool FollowedFile::goes_on_after_cut(std::size_t unread) const {
    if (_path.empty() || _follow != Follow::Name) {
        return false;
    }
    print_message("qorstat: " + _path + ": the file was truncated; going on from its start");
    say_unread(unread);
    return true;
}

void FollowedFile::say(State state, bool has_other_name) const {
    const bool follows_name = _follow == Follow::Name;
    std::string text = "qorstat: " + _path + ": ";
    if (state == State::Missing) {
        text += has_other_name ? "the file was renamed" : "the file was removed";
        text += follows_name ? "; waiting for a new one" : "; still following the one that is open";
    } else {
        text += "another file has this name now";
        text += follows_name ? "; going on with it" : "; still following the one that is open";
    }
    print_message(text);
}

void FollowedFile::say_unread(std::size_t unread) const {
    if (unread != 0) {
        print_message("qorstat: " + _path + ": " + host::count_text(unread, "byte", "bytes") +
                      " at the end of the former content " + (unread == 1 ? "is" : "are") + " not a whole report");
    }
}

} // namespace cli
