#include "cli/version.h"

#include <filesystem>

#include "host/module/hosted_device.h"

namespace cli {
namespace {

#ifdef __clang__
constexpr const char *kCompiler = __VERSION__; // with the name
#else
constexpr const char *kCompiler = "g++ " __VERSION__;
#endif

} // namespace

// The program brings a definition of its own, made by its build. Nothing else is linked again for each commit.
[[gnu::weak]] const char *commit() { return "unknown"; }

std::string version_text() {
    const std::string module = host::plug_in_file("");
    std::error_code unreadable; // counts as missing
    const char *const note = std::filesystem::exists(module, unreadable) ? "" : " (missing)";
    return std::string("qorstat " QORSTAT_VERSION "\ncommit ") + commit() + "\ncompiler " + kCompiler + "\nmodule " +
           module + note;
}

} // namespace cli
