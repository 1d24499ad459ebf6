/** A limit on the size of files, as a substitute for a full disk. */
#pragma once

#include <csignal>

#include <sys/resource.h>

/** Limits the size of files written by this process and those that it starts, as long as the object lives. */
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : _former_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &_former);
        const rlimit limit{bytes, _former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &_former);
        std::signal(SIGXFSZ, _former_handler);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    void (*_former_handler)(int);
    rlimit _former{};
};
