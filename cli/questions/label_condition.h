/** Conditions over the labels of devices, such as "firmware = 7 AND NOT site IN (lab, 'shelf 2')". */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/questions/labels.h"

namespace cli {

/**
 * A condition of
 *
 *     KEY = VALUE    KEY != VALUE    KEY IN (VALUE, ...)    KEY NOT IN (VALUE, ...)
 *
 * with NOT, AND, OR and parentheses; NOT binds most, OR least. The words' case does not matter. A value of letters,
 * digits and "_-.:+/" stands as it is, any other one in single quotes, in which two quotes are one. All values are
 * texts. A comparison with a key that a device has no label of does not hold, also one with != or NOT IN.
 */
class LabelCondition {
public:
    /** @param option  that has the text, for messages. @throws WrongUse, which says at which byte and what is wrong. */
    LabelCondition(const std::string &option, const std::string &text);

    bool holds(const Labels &labels) const;

private:
    class Parser;

    enum class Operation { In, NotIn, Not, And, Or };

    /** A condition or a part of one; parts are before what consists of them. */
    struct Node {
        Operation operation;
        std::string key;                 ///< of a comparison
        std::vector<std::string> values; ///< of a comparison
        std::size_t left = 0;            ///< what the others consist of
        std::size_t right = 0;           ///< of And and Or
    };

    std::vector<Node> _nodes; ///< the last one is the whole
};

} // namespace cli
