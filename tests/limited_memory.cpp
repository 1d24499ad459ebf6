#include "tests/limited_memory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

void *allocate(std::size_t size) {
    void *const memory = tests::may_allocate() ? std::malloc(size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

// Not inlined: the compiler would warn about mixing them with the functions of the C library.
[[gnu::noinline]] void *operator new(std::size_t size) { return allocate(size); }
[[gnu::noinline]] void *operator new[](std::size_t size) { return allocate(size); }
[[gnu::noinline]] void operator delete(void *memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void *memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }
