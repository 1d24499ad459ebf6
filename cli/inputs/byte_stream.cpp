#include "cli/inputs/byte_stream.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/input.h"
#include "cli/terminal/interruption.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr std::size_t kPieceBytes = 64 * 1024;

/** A FIFO that nobody writes to is waited for where a signal can end that, and not in `open`. */
std::optional<host::FileDescriptor> open_input(const std::string &argument) {
    if (argument == kStandardInputArgument) {
        return std::nullopt;
    }
    host::FileDescriptor file(open(argument.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() == -1) {
        throw host::Error(input_name(argument), "", std::generic_category().message(errno));
    }
    return file;
}

} // namespace

ByteStream::ByteStream(const std::string &argument)
    : _argument(argument), _name(input_name(argument)), _owned(open_input(argument)) {
    begin();
}

ByteStream::ByteStream(host::FileDescriptor file, std::string name) : _name(std::move(name)), _owned(std::move(file)) {
    begin();
}

void ByteStream::begin() {
    struct stat status {};
    if (fstat(descriptor(), &status) == -1) {
        fail(0, std::generic_category().message(errno));
    }
    _is_regular = S_ISREG(status.st_mode);
    if (_is_regular) {
        const auto size = static_cast<std::uint64_t>(status.st_size);
        _start = static_cast<std::uint64_t>(std::max<off_t>(0, lseek(descriptor(), 0, SEEK_CUR)));
        _file_size = size - std::min(size, _start);
    }
    find_packing();
    find_content();
}

/** Reads until it is known how the file is packed. */
void ByteStream::find_packing() {
    _taken.resize(kSampleBytes);
    std::size_t count = 0;
    bool is_all = false;
    std::optional<Packing> packing;
    while (!(packing = packing_of(std::span(_taken.data(), count), is_all))) {
        const std::size_t more = read_file(std::span(_taken).subspan(count));
        count += more;
        is_all = more == 0;
    }
    _packing = *packing;
    if (_packing == Packing::None) {
        _taken.resize(count);
        _sample = std::move(_taken);
        _taken = {};
    } else {
        _taken.resize(kPieceBytes);
        _packed = std::span(_taken.data(), count);
        _unpacker = make_unpacker(_packing);
    }
}

/** Reads until it is known what the bytes are. A failure behind the first bytes is kept for the one who reads on. */
void ByteStream::find_content() {
    bool is_all = false;
    std::optional<Content> content;
    while (!(content = content_of(_sample, is_all))) {
        std::size_t count = _sample.size();
        _sample.resize(kSampleBytes);
        try {
            const std::size_t more = read_unpacked(std::span(_sample).subspan(count));
            is_all = more == 0;
            count += more;
        } catch (const host::Error &) {
            if (count == 0) {
                throw;
            }
            _failure = std::current_exception();
            is_all = true;
        }
        _sample.resize(count);
    }
    _content = *content;
    const bool is_packed_again =
        _packing != Packing::None && packing_of(_sample, true).value_or(Packing::None) != Packing::None;
    if (is_packed_again) {
        _content = {ContentKind::Foreign, "a packed file within a packed file"};
    }
}

std::size_t ByteStream::read_some(std::span<std::byte> room) {
    if (_given < _sample.size()) {
        const std::size_t count = std::min(room.size(), _sample.size() - _given);
        std::copy_n(_sample.begin() + static_cast<std::ptrdiff_t>(_given), count, room.begin());
        _given += count;
        return count;
    }
    if (_failure) {
        std::rethrow_exception(_failure);
    }
    return read_unpacked(room);
}

std::vector<std::byte> ByteStream::read_all(std::size_t most) {
    if (_unpacker != nullptr) {
        most = std::min(most, kMostUnpackedAtOnce);
    }
    std::vector<std::byte> bytes;
    std::vector<std::byte> piece(kPieceBytes);
    while (const std::size_t count = read_some(piece)) {
        if (count > most - bytes.size()) {
            fail(0, (_unpacker == nullptr ? "has more than " : "unpacks to more than ") + std::to_string(most >> 20) +
                        " MB");
        }
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return bytes;
}

std::size_t ByteStream::read_unpacked(std::span<std::byte> room) {
    if (_unpacker == nullptr) {
        return read_file(room);
    }
    while (true) {
        try {
            if (const std::size_t count = _unpacker->unpack(_packed, room); count != 0) {
                return count;
            }
        } catch (const UnpackError &error) {
            fail(_offset - _packed.size(), error.reason);
        }
        const std::size_t count = read_file(_taken);
        _packed = std::span(_taken.data(), count);
        if (count == 0 && !_unpacker->may_end()) {
            fail(_offset, _packing == Packing::Gzip ? "the gzip data are cut off" : "the zstd data are cut off");
        }
        if (count == 0) {
            return 0;
        }
    }
}

/** Reads once, as it is. @return 0 at the end. */
std::size_t ByteStream::read_file(std::span<std::byte> room) {
    while (true) {
        wait_for_input(descriptor());
        const ssize_t count = _is_regular
                                  ? pread(descriptor(), room.data(), room.size(), static_cast<off_t>(_start + _offset))
                                  : read(descriptor(), room.data(), room.size());
        if (count >= 0) {
            _offset += static_cast<std::uint64_t>(count);
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR && errno != EAGAIN) {
            fail(_offset, std::generic_category().message(errno));
        }
    }
}

void ByteStream::fail(std::uint64_t offset, const std::string &reason) const {
    throw host::Error(_name, offset == 0 ? "" : "byte " + std::to_string(offset), reason);
}

} // namespace cli
