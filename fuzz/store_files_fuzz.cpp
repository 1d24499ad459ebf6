// Reads any bytes as a store with any bytes beside it, and lets a host write to it. The reader changes no file. The
// host changes none but the store and its own log and index, and leaves the store alone in its folder unless it refuses
// it.

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "fuzz/input.h"
#include "fuzz/store_folder.h"
#include "host/error.h"
#include "host/store/analytics_store.h"

namespace {

namespace fs = std::filesystem;
using fuzz::require;
using fuzz::store_folder;

using Bytes = std::span<const std::uint8_t>;

constexpr std::array<const char *, 3> kEndings = {"-journal", "-wal", "-shm"};
constexpr std::array<std::uint8_t, 8> kPrecious = {'p', 'r', 'e', 'c', 'i', 'o', 'u', 's'};

/** What an input says: the files, and whether a host opens the store. */
struct Files {
    bool opens = false;
    std::array<std::optional<Bytes>, kEndings.size()> beside;
    Bytes store;
};

/** A byte of flags (1: a host opens the store; 2, 4, 8: a file is there), two bytes of size for each file, the bytes.
 */
std::optional<Files> parse(Bytes input) {
    if (input.size() < 1 + 2 * kEndings.size()) {
        return std::nullopt;
    }
    Files files;
    files.opens = (input[0] & 1) != 0;
    Bytes rest = input.subspan(1 + 2 * kEndings.size());
    for (std::size_t i = 0; i < kEndings.size(); ++i) {
        const std::size_t wanted = input[1 + 2 * i] + std::size_t{256} * input[2 + 2 * i];
        const std::size_t size = std::min(wanted, rest.size());
        if ((input[0] >> (i + 1) & 1) != 0) {
            files.beside[i] = rest.first(size);
            rest = rest.subspan(size);
        }
    }
    files.store = rest;
    return files;
}

fs::path store_file() { return store_folder() / "input.db"; }
fs::path precious_file() { return store_folder() / "precious"; }

void put(const Files &files) {
    fuzz::write_file(store_file(), files.store.data(), files.store.size());
    for (std::size_t i = 0; i < kEndings.size(); ++i) {
        const fs::path path = store_file().string() + kEndings[i];
        if (files.beside[i]) {
            fuzz::write_file(path, files.beside[i]->data(), files.beside[i]->size());
        } else {
            ::unlink(path.c_str());
        }
    }
}

void require_journal_untouched(const Files &files) {
    const fs::path journal = store_file().string() + kEndings[0];
    require(files.beside[0] ? fuzz::holds(journal, files.beside[0]->data(), files.beside[0]->size())
                            : !fs::exists(journal),
            "a journal is left as it is");
    require(fuzz::holds(precious_file(), kPrecious.data(), kPrecious.size()), "no other file is touched");
}

void require_untouched(const Files &files) {
    require_journal_untouched(files);
    require(fuzz::holds(store_file(), files.store.data(), files.store.size()), "the store is unchanged");
    for (std::size_t i = 1; i < kEndings.size(); ++i) {
        const fs::path path = store_file().string() + kEndings[i];
        require(files.beside[i] ? fuzz::holds(path, files.beside[i]->data(), files.beside[i]->size())
                                : !fs::exists(path),
                "a reader leaves what is beside a store");
    }
}

std::optional<host::StoreContents> read_store() {
    try {
        return host::read_analytics_store(store_file());
    } catch (const host::Error &error) {
        require(error.file() == store_file().string(), "the error names the file", error.what());
        return std::nullopt;
    }
}

void write_to_store(host::StoreContents contents) {
    host::StoreChanges changes;
    changes.add_to_scalar("key", 1);
    host::apply(contents, changes);
    try {
        host::AnalyticsStore store(store_file());
        store.apply(changes);
        store.close();
    } catch (const host::Error &error) {
        require(error.file() == store_file().string(), "the error names the file", error.what());
        return;
    }
    require(host::read_analytics_store(store_file()) == contents, "a change is added to what was read");
    require(!fs::exists(store_file().string() + "-wal"), "the last host leaves no log");
}

/** Works in the folder of the files while it lives: a journal can name the file beside it. */
class InFolder {
public:
    InFolder() : _before(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        require(chdir(store_folder().c_str()) == 0, "the folder is there");
    }
    ~InFolder() {
        require(fchdir(_before) == 0, "the folder before is there");
        close(_before);
    }
    InFolder(const InFolder &) = delete;
    InFolder &operator=(const InFolder &) = delete;

private:
    int _before;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const bool has_canary = [] {
        fuzz::write_file(precious_file(), kPrecious.data(), kPrecious.size());
        return true;
    }();
    const std::optional<Files> files = parse({data, size});
    if (!has_canary || !files) {
        return 0;
    }
    const InFolder in_folder;
    put(*files);
    std::optional<host::StoreContents> contents = read_store();
    require_untouched(*files);
    if (contents && files->opens) {
        write_to_store(*std::move(contents));
        require_journal_untouched(*files);
    }
    return 0;
}
