/** Local time, also in a child process. */
#ifndef DECODER_LOCAL_TIME_H
#define DECODER_LOCAL_TIME_H

#include <ctime>

namespace decoder {

/**
 * Converts seconds since the epoch to local time. Any thread. A process may be forked while other threads are in here:
 * its child may call this.
 * @return false, with `local` indeterminate, if there is no such local time.
 */
bool to_local_time(std::time_t second, std::tm &local);

} // namespace decoder

#endif
