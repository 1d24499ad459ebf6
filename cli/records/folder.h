/** State-capture records as files of a folder that is there whole or not at all. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/RvStateCapture.h"

namespace cli {

/** What follows the title in a record file's name. */
inline constexpr std::string_view kFileExtension = ".qorstate";

/**
 * The name of record `number`'s file, counted from 1, among `count`: "007-TITLE.qorstate". The number has as
 * many digits as `count`, and at least three. What some file system cannot hold in a name (control
 * characters, any of / \ : * ? " < > |, bytes that are not UTF-8) becomes "_"; an empty title is "untitled".
 */
std::string file_name_of(std::size_t number, std::size_t count, std::string_view title);

/**
 * Writes each record into a file of its own, in a new folder or an empty one that is there.
 *
 * The files are written into a folder beside it, which takes its name at the end; on failure that one goes
 * away and nothing else has changed.
 * @throws host::Error when `folder` holds something, is no folder, or cannot be written.
 */
void write_folder(const std::string &folder, const std::vector<host::RecordBytes> &records,
                  const std::vector<std::string> &titles);

/** A name for a new folder: "capture-YYYYMMDD-HHMMSS" in local time, with "-2" and so on when that is taken. */
std::string unused_folder_name();

} // namespace cli
