/** The files of a folder. */
#pragma once

#include <string>
#include <vector>

namespace cli {

/** A file in a folder, or a part of the folder that cannot be read. */
struct FolderEntry {
    std::string path;  ///< begins with the folder as it was named
    std::string error; ///< the system's reason; empty for a file
};

/**
 * The regular files below a folder, and links to such files, in the ascending order of their paths, byte for byte.
 *
 * Left out are names that begin with a dot, links to folders, what is neither file nor folder, and what SQLite keeps
 * beside an analytics store. A link that leads nowhere counts as a file.
 * @param folder  a folder.
 */
std::vector<FolderEntry> files_below(const std::string &folder);

} // namespace cli
