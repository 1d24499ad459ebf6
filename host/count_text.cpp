#include "host/count_text.h"

namespace host {

std::string count_text(std::uint64_t number, std::string_view one, std::string_view many) {
    std::string text = std::to_string(number) + " ";
    text.append(number == 1 ? one : many);
    return text;
}

std::string count_text(std::uint64_t number, std::string_view noun) {
    return count_text(number, noun, std::string(noun) + "s");
}

} // namespace host
