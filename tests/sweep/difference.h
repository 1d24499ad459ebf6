/** How what was seen differs from what is seen when nothing fails. */
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/RvStateCapture.h"

namespace sweep {

struct Difference {
    enum Kind { Lost, Changed, Gained };
    Kind kind;
    std::string where;    ///< a fact, a record's title, or a title and the path of a value in the payload
    std::string before{}; ///< of what was lost or changed, as text
    std::string after{};  ///< of what was changed or gained
};

using Differences = std::vector<Difference>;

/** Things that are so, by name. */
using Facts = std::map<std::string, std::string>;

void compare(const Facts &undisturbed, const Facts &seen, Differences &differences);

/** Records by title; those of one title in the order in which they came. */
using Records = std::map<std::string, std::vector<host::RecordBytes>>;

Records by_title(std::vector<host::RecordBytes> records);

/** A record that is not there at all is lost whole; of one that is, the topmost values that differ are named. */
void compare(const Records &undisturbed, const Records &seen, Differences &differences);

/** What of each title is missing, whatever else is there. */
void compare_presence(const Records &undisturbed, const Records &seen, Differences &differences);

std::string to_string(const Difference &difference);

} // namespace sweep
