/** The files that a device description is read from: its own, and those that it names. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/file_descriptor.h"

namespace host {

/** The bytes of a description. @throws Error when it is not a regular file, too large, or cannot be read. */
std::vector<std::byte> read_description_file(const std::string &path);

/**
 * Reads the files that one description names. A relative name starts at the folder of the description.
 *
 * A description may name any file that the user may read, unless a folder confines it: then only regular files beneath
 * that folder, whatever "..", absolute names and symbolic links stand in between.
 */
class NamedFiles {
public:
    /** Far above any description, and little enough that a short one cannot exhaust memory. */
    static constexpr std::uint64_t kMostBytesTogether = 256u << 20;

    /**
     * @param description  its path, as the user named it.
     * @param folder       confines the names; nothing: no limit.
     * @param most_bytes   of all files together, each counted as often as it is named.
     * @throws Error when `folder` is not a folder.
     */
    NamedFiles(std::string description, const std::optional<std::string> &folder,
               std::uint64_t most_bytes = kMostBytesTogether);

    /**
     * @param name   without a zero character.
     * @param place  of the name in the description, for errors.
     * @throws Error as `read_description_file`, when the name leads out of the folder, and when the files read so far
     *         have too many bytes.
     */
    std::vector<std::byte> read(const std::string &name, const std::string &place);

    struct Place;

private:
    /** @return a descriptor to look at the file; negative when there is none. */
    int look_confined(const std::string &name, const Place &at) const;

    std::string _description;
    std::optional<std::string> _folder; ///< as the user named it
    std::string _real_folder;           ///< the same without symbolic links
    FileDescriptor _opened_folder;
    std::uint64_t _most_bytes;
    std::uint64_t _bytes_left;
};

} // namespace host
