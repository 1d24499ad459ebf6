/** Words as a shell reads them. */
#pragma once

#include <string>
#include <vector>

namespace cli {

/** `words` quoted for a shell, with blanks between them. */
std::string shell_command(const std::vector<std::string> &words);

} // namespace cli
