#include "cli/terminal/input.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "host/error.h"

namespace cli {
namespace {

constexpr std::size_t kPieceSize = 64 * 1024;

/** An open file, closed with the object unless it is standard input. */
class InputFile {
public:
    explicit InputFile(const std::string &argument)
        : _descriptor(argument == kStandardInputArgument ? STDIN_FILENO : open(argument.c_str(), O_RDONLY | O_CLOEXEC)),
          _name(input_name(argument)) {
        if (_descriptor == -1) {
            fail();
        }
    }
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;
    ~InputFile() {
        if (_descriptor != STDIN_FILENO) {
            close(_descriptor);
        }
    }

    /** @return the number of bytes read; 0 at the end of the file. */
    std::size_t read_some(std::array<std::byte, kPieceSize> &piece) const {
        ssize_t count = -1;
        do {
            count = read(_descriptor, piece.data(), piece.size());
        } while (count == -1 && errno == EINTR);
        if (count == -1) {
            fail();
        }
        return static_cast<std::size_t>(count);
    }

private:
    [[noreturn]] void fail() const { throw host::Error(_name, "", std::generic_category().message(errno)); }

    int _descriptor;
    std::string _name;
};

} // namespace

std::string input_name(const std::string &argument) {
    if (argument.empty()) {
        return "\"\"";
    }
    return argument == kStandardInputArgument ? "standard input" : argument;
}

std::vector<std::byte> read_input(const std::string &argument, std::size_t most) {
    const InputFile file(argument);
    std::vector<std::byte> bytes;
    std::array<std::byte, kPieceSize> piece;
    while (const std::size_t count = file.read_some(piece)) {
        if (count > most - bytes.size()) {
            throw host::Error(input_name(argument), "", "has more than " + std::to_string(most >> 20) + " MB");
        }
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return bytes;
}

} // namespace cli
