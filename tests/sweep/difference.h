/** The differences between an observed run and a run in which nothing fails. */
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
    std::string before{}; ///< the lost or the former value, as text
    std::string after{};  ///< the new or gained value, as text
};

using Differences = std::vector<Difference>;

/** Observed facts by name. */
using Facts = std::map<std::string, std::string>;

void compare(const Facts &undisturbed, const Facts &seen, Differences &differences);

/** Records by title; those of one title in the order of capture. */
using Records = std::map<std::string, std::vector<host::RecordBytes>>;

Records by_title(std::vector<host::RecordBytes> records);

/** A missing record is one difference. In a record that is present, the topmost values that differ are named. */
void compare(const Records &undisturbed, const Records &seen, Differences &differences);

/** The missing records of each title. Additional records are ignored. */
void compare_presence(const Records &undisturbed, const Records &seen, Differences &differences);

std::string to_string(const Difference &difference);

} // namespace sweep
