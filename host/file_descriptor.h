/** Ownership of a file descriptor. */
#pragma once

#include <utility>

#include <unistd.h>

namespace host {

/** Closes a descriptor at its end. Negative: none, as a call that failed returns it. */
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : _descriptor(descriptor) {}
    FileDescriptor(FileDescriptor &&other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&) = delete;
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor() {
        if (_descriptor >= 0) {
            ::close(_descriptor);
        }
    }

    int get() const { return _descriptor; }

private:
    int _descriptor;
};

} // namespace host
