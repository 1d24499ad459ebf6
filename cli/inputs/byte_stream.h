/** The bytes of one input, unpacked. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/inputs/content.h"
#include "cli/inputs/unpacker.h"
#include "host/file_descriptor.h"

namespace cli {

/**
 * A file, a pipe or standard input, read once from its start to its end, and what it is. Gzip and zstd data are
 * unpacked in constant memory, whatever the name. Opening reads the first bytes, no more than it takes to see what they
 * are, and of a pipe waits only for these; reading then begins with them.
 *
 * A regular file starts at the descriptor's position, which stays where it is: a shell may hand over standard input
 * from within a file. While an `Interruption` lives, waiting for a pipe ends with the signal. One thread at a time.
 */
class ByteStream {
public:
    /**
     * @param argument  a file, or "-" for standard input.
     * @throws host::Error when it cannot be opened or read; Interrupted.
     */
    explicit ByteStream(const std::string &argument);

    /**
     * Bytes in an open file without a name.
     * @param name  for messages. @throws the same.
     */
    ByteStream(host::FileDescriptor file, std::string name);

    /**
     * Reads what there is, without waiting for all of `room`.
     * @param room  not empty.
     * @return the number of bytes; 0 at the end.
     * @throws host::Error when reading fails, and for packed data that are damaged or cut off, naming the byte of the
     *         file. All bytes before it have been given. Interrupted.
     */
    std::size_t read_some(std::span<std::byte> room);

    /** The most bytes that `read_all` unpacks: a small file may unpack to any size. */
    static constexpr std::size_t kMostUnpackedAtOnce = std::size_t{256} << 20;

    /**
     * Reads the rest.
     * @param most  so many bytes at most; of packed data never more than `kMostUnpackedAtOnce`.
     * @throws the same; host::Error when there are more.
     */
    std::vector<std::byte> read_all(std::size_t most = std::numeric_limits<std::size_t>::max());

    /** What the bytes are, unpacked. */
    const Content &content() const { return _content; }
    Packing packing() const { return _packing; }

    /** Whether this is a regular file, so that opening it again gives the same bytes. */
    bool is_regular_file() const { return _is_regular; }
    /** Whether this is a regular file that is not packed, so that its bytes can be read at any place. */
    bool is_plain_file() const { return _is_regular && _packing == Packing::None; }
    /** The open file, for as long as this object lives. Its position is that of the start of a plain file. */
    int descriptor() const { return _owned ? _owned->get() : 0; }
    /** The size of a regular file from its start on, packed as it is; 0 for anything else. */
    std::uint64_t file_size() const { return _file_size; }
    /** The bytes taken from the file so far, packed as they are. */
    std::uint64_t bytes_taken() const { return _offset; }

    /** As given; empty for an open file. */
    const std::string &argument() const { return _argument; }
    /** For messages: "standard input" for "-". */
    const std::string &name() const { return _name; }

private:
    void begin();
    std::size_t read_file(std::span<std::byte> room);
    std::size_t read_unpacked(std::span<std::byte> room);
    void find_packing();
    void find_content();
    [[noreturn]] void fail(std::uint64_t offset, const std::string &reason) const;

    std::string _argument;
    std::string _name;
    std::optional<host::FileDescriptor> _owned; ///< nothing for standard input
    bool _is_regular = false;
    std::uint64_t _start = 0; ///< of a regular file
    std::uint64_t _file_size = 0;
    std::uint64_t _offset = 0; ///< from `_start` on

    Packing _packing = Packing::None;
    Content _content{};
    std::unique_ptr<Unpacker> _unpacker; ///< null when nothing is packed
    std::vector<std::byte> _taken;       ///< from the file: what is not unpacked yet
    std::span<const std::byte> _packed;  ///< the part of `_taken` that is left
    std::vector<std::byte> _sample;      ///< the first bytes, unpacked
    std::size_t _given = 0;              ///< of the sample
    std::exception_ptr _failure;         ///< what is behind the sample instead of more bytes
};

} // namespace cli
