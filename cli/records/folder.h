/** State-capture records as files in a folder, which appears whole or not at all. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/RvStateCapture.h"

namespace cli {

/** The extension of record files. */
inline constexpr std::string_view kFileExtension = ".qorstate";

/**
 * The name of the file for record `number` (from 1) of `count`: "007-TITLE.qorstate". The number is padded to the
 * digits of `count`, at least three. Characters that some file systems refuse in names (control characters, any of
 * / \ : * ? " < > |, bytes that are not UTF-8) become "_". An empty title becomes "untitled".
 */
std::string file_name_of(std::size_t number, std::size_t count, std::string_view title);

/**
 * Writes each record into a file of its own in `folder`, which must not exist or be empty.
 *
 * The files are written to a temporary folder beside it, which is renamed at the end. On failure the temporary folder
 * is removed and nothing has changed.
 * @throws host::Error when `folder` is not empty, is not a directory, or cannot be written.
 */
void write_folder(const std::string &folder, const std::vector<host::RecordBytes> &records,
                  const std::vector<std::string> &titles);

/** A name for a new folder: "capture-YYYYMMDD-HHMMSS" in local time, with "-2" and so on if that name exists. */
std::string unused_folder_name();

} // namespace cli
