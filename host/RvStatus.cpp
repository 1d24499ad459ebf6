#include "platform/RvStatus.h"

namespace {

struct StatusText {
    RvStatus status;
    const char *text;
};

constexpr StatusText kStatusTexts[] = {
    {kRvStatusSuccess, "success"},          {kRvStatusError, "general error"}, {kRvStatusNoMemory, "no memory"},
    {kRvStatusBadArgument, "bad argument"}, {kRvStatusNotReady, "not ready"},  {kRvStatusNotFound, "not found"},
};

} // namespace

const char *RvStatusGetText(RvStatus status) {
    for (const StatusText &row : kStatusTexts) {
        if (row.status == status) {
            return row.text;
        }
    }
    return nullptr;
}
