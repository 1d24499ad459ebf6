/** The library that defines the platform's operations in a process, and other ones to take its place. */
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "host/file_descriptor.h"

namespace host {

/** The file of the library whose operations a module that is loaded now is bound to. */
std::filesystem::path platform_library_in_use();

/**
 * How the platform library that a module was linked with differs from the one that it would run on here, by the marks
 * that the linker gave their builds. The first one is looked for where the module's own path to libraries says.
 * @return a sentence without a subject or a full stop; empty when both are the same build, when that library is not
 * there, or when this process was told which library to use.
 * @throws Error when the module's file cannot be read.
 */
std::string describe_other_platform(const std::string &module);

/**
 * A library that defines the operations in place of the program's own. The loader chooses before a program begins, so
 * only a new process can have it: one that is started with `environment`, or this one after `restart`.
 */
class OtherPlatform {
public:
    /**
     * Reads both files; loads nothing.
     * @throws Error when `library` is not a shared library, lacks operations that `module` needs, which are named, or
     * has a name that the loader cannot be given, and when the module's file cannot be read.
     */
    OtherPlatform(const std::string &library, const std::string &module);

    /**
     * Whether it also defines the functions of the host's side that the program uses, so that it stands for the
     * program's own library in everything. Otherwise only the operations are its own: its handles mean nothing to the
     * program's host.
     */
    bool has_host() const { return _has_host; }

    /** Whether this process has `library` in that place, which may also be the program's own. */
    static bool is_in_use(const std::string &library);

    /** The variables that a new process of this program needs. It must be started while this object exists. */
    std::vector<std::pair<std::string, std::string>> environment() const;

    /**
     * Replaces this process by one with the library and the same arguments. Call it before anything else has begun.
     * @throws Error when that fails, or when this process is such a one already and the loader has refused the library.
     */
    [[noreturn]] void restart() const;

private:
    /** The path in a form that the loader takes as it is, also in its list of libraries. */
    std::string path_for_loader(const std::filesystem::path &path);

    std::string _library; ///< as it was named
    std::string _own;     ///< the program's own library
    bool _has_host;
    std::vector<FileDescriptor> _folders; ///< of libraries, for the new process
    std::string _loaded;                  ///< the library's path for the loader
    std::string _list;                    ///< all libraries for the loader
};

} // namespace host
