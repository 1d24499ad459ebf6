/** Folders in which something stands beside a store that its writer did not put there. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace store_tests {

struct Surroundings {
    std::string name;
    /** Puts files beside `store.db` of a folder. */
    std::function<void(const std::filesystem::path &folder)> make;
    std::string reason; ///< why the store is refused; empty when what stands there does no harm

    friend void PrintTo(const Surroundings &surroundings, std::ostream *out) { *out << surroundings.name; }
};

inline void write_text(const std::filesystem::path &file, const std::string &text) {
    std::ofstream(file, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
}

inline std::string text_of(const std::filesystem::path &file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline std::string big_endian(std::uint32_t number) {
    std::string bytes;
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        bytes += static_cast<char>(number >> (shift - 8) & 0xFF);
    }
    return bytes;
}

inline const std::string kJournalMagic = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";

/** A rollback journal with one page for a database of as many pages. @param page  4096 bytes. */
inline std::string journal_with_page(const std::string &page, std::uint32_t pages) {
    std::uint32_t sum = 0; // of every 200th byte from the end, and of the number in the header, which is 0
    for (int at = 4096 - 200; at > 0; at -= 200) {
        sum += static_cast<unsigned char>(page[static_cast<std::size_t>(at)]);
    }
    std::string journal =
        kJournalMagic + big_endian(1) + big_endian(0) + big_endian(pages) + big_endian(512) + big_endian(4096);
    journal.resize(512);
    return journal + big_endian(1) + page + big_endian(sum);
}

/** The end of a journal by which it names a file that is deleted after it was rolled back. */
inline std::string name_of_super_journal(const std::string &path) {
    std::uint32_t sum = 0;
    for (const char character : path) {
        sum += static_cast<std::uint32_t>(static_cast<signed char>(character));
    }
    constexpr std::uint32_t kPageOfLocks = 0x40000000 / 4096 + 1;
    return big_endian(kPageOfLocks) + path + big_endian(static_cast<std::uint32_t>(path.size())) + big_endian(sum) +
           kJournalMagic;
}

/** Everything about each file of a folder that a program can change, but not the time of the last reading. */
inline std::map<std::string, std::string> state_of_folder(const std::filesystem::path &folder) {
    std::map<std::string, std::string> states;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        struct stat status {};
        ::lstat(entry.path().c_str(), &status);
        std::string state = std::to_string(status.st_ino) + " " + std::to_string(status.st_mode) + " " +
                            std::to_string(status.st_nlink) + " " + std::to_string(status.st_uid) + " " +
                            std::to_string(status.st_size) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
                            std::to_string(status.st_mtim.tv_nsec) + " " + std::to_string(status.st_ctim.tv_sec) + "." +
                            std::to_string(status.st_ctim.tv_nsec) + " ";
        state += S_ISREG(status.st_mode) ? std::to_string(std::hash<std::string>{}(text_of(entry.path()))) : "";
        states[entry.path().lexically_relative(folder).string()] = state;
    }
    return states;
}

inline std::vector<Surroundings> hostile_surroundings() {
    namespace fs = std::filesystem;
    std::vector<Surroundings> all;
    const std::string unfinished = "has an unfinished transaction of another program in \"store.db-journal\"";
    const auto put = [](const fs::path &folder, const std::string &ending) { return folder / ("store.db" + ending); };

    all.push_back({"JournalThatNamesAFileToDelete",
                   [=](const fs::path &folder) {
                       write_text(folder / "precious", "precious"); // an empty file would count as none
                       const std::string store = text_of(folder / "store.db");
                       write_text(
                           put(folder, "-journal"),
                           journal_with_page(store.substr(0, 4096), static_cast<std::uint32_t>(store.size() / 4096)) +
                               name_of_super_journal(folder / "precious"));
                   },
                   unfinished});
    all.push_back({"JournalWithAPageOfOtherBytes",
                   [=](const fs::path &folder) {
                       write_text(put(folder, "-journal"), journal_with_page(std::string(4096, 'Q'), 1));
                   },
                   unfinished});
    all.push_back({"EmptyJournal", [=](const fs::path &folder) { write_text(put(folder, "-journal"), ""); }, ""});
    all.push_back({"JournalOfZeros",
                   [=](const fs::path &folder) { write_text(put(folder, "-journal"), std::string(4096, '\0')); }, ""});
    for (const std::string part : {"journal", "wal", "shm"}) {
        const std::string ending = "-" + part;
        const std::string beside = "\"store.db-" + part + "\" beside it ";
        const std::string irregular = beside + "is not a regular file";
        const std::string title = part == "journal" ? "Journal" : part == "wal" ? "Log" : "Index";
        all.push_back(
            {title + "Fifo", [=](const fs::path &folder) { ::mkfifo(put(folder, ending).c_str(), 0600); }, irregular});
        all.push_back(
            {title + "Folder", [=](const fs::path &folder) { fs::create_directory(put(folder, ending)); }, irregular});
        all.push_back({title + "LinkToAFile",
                       [=](const fs::path &folder) {
                           write_text(folder / "precious", std::string(40'000, 'p'));
                           fs::create_symlink("precious", put(folder, ending));
                       },
                       irregular});
        all.push_back({title + "WithAnotherName",
                       [=](const fs::path &folder) {
                           write_text(folder / "precious", std::string(40'000, 'p'));
                           fs::create_hard_link(folder / "precious", put(folder, ending));
                       },
                       beside + "has another name elsewhere"});
        if (part != "journal") { // a journal that is not there is not looked for
            all.push_back({title + "LinkToNothing",
                           [=](const fs::path &folder) { fs::create_symlink("nothing", put(folder, ending)); },
                           irregular});
        }
        if (::geteuid() == 0) {
            all.push_back({title + "OfAnotherUser",
                           [=](const fs::path &folder) {
                               fs::permissions(folder / "store.db", fs::perms(0644));
                               ::chown((folder / "store.db").c_str(), 1, 1);
                               write_text(put(folder, ending), std::string(40'000, 'p'));
                               ::chown(put(folder, ending).c_str(), 2, 2);
                           },
                           beside + "belongs to another user"});
        }
    }
    return all;
}

} // namespace store_tests
