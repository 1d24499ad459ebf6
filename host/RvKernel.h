/** The kernel's answers, behind `platform/RvKernel.h`. */
#pragma once

#include <cstdint>

namespace host {

/**
 * The boot time of a described device: this process's answer instead of the machine's, as long as this object lives.
 * Where several live, the last one counts; destroy them in reverse order. Any thread.
 */
class DescribedBootTime {
public:
    /** @param microseconds  since the epoch, not negative. */
    explicit DescribedBootTime(std::int64_t microseconds);
    ~DescribedBootTime();
    DescribedBootTime(const DescribedBootTime &) = delete;
    DescribedBootTime &operator=(const DescribedBootTime &) = delete;

private:
    std::int64_t _former;
};

} // namespace host
