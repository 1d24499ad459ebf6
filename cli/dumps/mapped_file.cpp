#include "cli/dumps/mapped_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli {
namespace {

/** Part of the memory that the program takes. Reading 192 MB takes as long with 4 MiB, and a ms more with 512 KiB. */
constexpr std::size_t kWindowBytes = std::size_t{1} << 20;

const std::uint64_t kPageBytes = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));

/** One for each window at a time. A file that finds none free is read without a window. */
constinit std::array<MappedFile::Guard, 4> guards;

struct sigaction former_action {};

std::uint64_t page_begin(std::uint64_t place) { return place - place % kPageBytes; }
std::uint64_t page_end(std::uint64_t place) { return page_begin(place + kPageBytes - 1); }

/** Handles a SIGBUS that is none of ours as if our handler were not there. */
void pass_on(int signal, siginfo_t *info, void *context) {
    const bool is_sent = info->si_code <= 0;
    if ((former_action.sa_flags & SA_SIGINFO) != 0) {
        former_action.sa_sigaction(signal, info, context);
    } else if (former_action.sa_handler == SIG_IGN && is_sent) {
        return;
    } else if (former_action.sa_handler != SIG_DFL && former_action.sa_handler != SIG_IGN) {
        former_action.sa_handler(signal);
    } else {
        // Ends the process: by the same access once more, or by the pending signal, as soon as this handler returns.
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        sigaction(signal, &standard, nullptr);
        if (is_sent) {
            raise(signal);
        }
    }
}

/** Puts a page of zeros where a window lacks one, so that the access succeeds. Async-signal-safe. */
void handle_missing_page(int signal, siginfo_t *info, void *context) {
    const auto place = reinterpret_cast<std::uintptr_t>(info->si_addr);
    for (MappedFile::Guard &guard : guards) {
        const std::uintptr_t begin = guard.begin;
        if (info->si_code > 0 && begin != 0 && begin <= place && place - begin < kWindowBytes) {
            const int error = errno;
            void *const page = mmap(reinterpret_cast<void *>(page_begin(place)), kPageBytes, PROT_READ,
                                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
            errno = error;
            if (page != MAP_FAILED) {
                guard.is_hit = true;
                return;
            }
        }
    }
    pass_on(signal, info, context);
}

/** Sets the handler for the rest of the process: nobody can take it away from between others. */
bool set_handler() {
    struct sigaction action {};
    action.sa_sigaction = handle_missing_page;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    return sigaction(SIGBUS, &action, &former_action) == 0;
}

/** @return null when none is free. */
MappedFile::Guard *take_guard(const void *window) {
    for (MappedFile::Guard &guard : guards) {
        std::uintptr_t free = 0;
        if (guard.begin.compare_exchange_strong(free, reinterpret_cast<std::uintptr_t>(window))) {
            guard.is_hit = false;
            return &guard;
        }
    }
    return nullptr;
}

} // namespace

MappedFile::MappedFile(int descriptor, std::uint64_t end) : _descriptor(descriptor), _end(end) {
    static const bool is_handled = set_handler();
    // A file that cannot be mapped must fail here: over a window it could take that away, and others get the place.
    void *const window = mmap(nullptr, kWindowBytes, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (window == MAP_FAILED) {
        return;
    }
    _window = static_cast<std::byte *>(window);
    _guard = is_handled ? take_guard(window) : nullptr;
}

MappedFile::~MappedFile() {
    if (_guard != nullptr) {
        _guard->begin = 0; // first: then the place may become somebody else's
    }
    if (_window != nullptr) {
        munmap(_window, kWindowBytes);
    }
}

std::span<const std::byte> MappedFile::view(std::uint64_t offset, std::size_t size) {
    // The page behind the view is mapped as well, for `is_intact`.
    const std::uint64_t needed_end = std::min(page_end(offset + size) + kPageBytes, page_end(_end));
    if ((offset < _window_offset || needed_end > _window_end) && !move_to(page_begin(offset))) {
        return {};
    }
    _view_end = offset + size;
    return {_window + (offset - _window_offset), size};
}

bool MappedFile::move_to(std::uint64_t offset) {
    const std::uint64_t size = std::min<std::uint64_t>(page_end(_end) - offset, kWindowBytes);
    if (_guard == nullptr || mmap(_window, size, PROT_READ, MAP_PRIVATE | MAP_FIXED, _descriptor,
                                  static_cast<off_t>(offset)) == MAP_FAILED) {
        return false;
    }
    _window_offset = offset;
    _window_end = offset + size;
    return true;
}

bool MappedFile::is_intact() const {
    // A file that now ends within the view's last page gives zeros behind its end without a signal. The next page is
    // missing then. It costs nothing, because it is read next; asking for the size takes 0.4 µs.
    const std::uint64_t next = page_end(_view_end);
    if (next < _end) {
        static_cast<void>(*static_cast<const volatile std::byte *>(_window + (next - _window_offset)));
    } else {
        struct stat status {};
        if (fstat(_descriptor, &status) == -1 || static_cast<std::uint64_t>(status.st_size) < _end) {
            return false;
        }
    }
    std::atomic_signal_fence(std::memory_order_seq_cst); // what was read before is read by now
    return !_guard->is_hit;
}

} // namespace cli
