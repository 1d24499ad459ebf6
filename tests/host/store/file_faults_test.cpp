/** A store whose files fail, and a computer that loses power while a store is written. */
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include "host/error.h"
#include "host/store/analytics_store.h"
#include "tests/host/store/watched_files.h"

namespace {

namespace fs = std::filesystem;

using host::AnalyticsStore;
using host::StoreChanges;
using host::StoreContents;
using store_tests::FileCall;
using store_tests::WatchedFiles;

/** A batch that changes several pages, different from each other batch. */
StoreChanges batch(int number) {
    StoreChanges changes;
    changes.add_to_scalar("batches", 1);
    for (int key = 0; key < 4; ++key) {
        const std::string name = "com.example.a.rather.long.name." + std::to_string(key);
        for (int value = 0; value < 20; ++value) {
            changes.push(name, number * 20 + value);
        }
    }
    changes.set_scalar("last", number);
    return changes;
}

std::string bytes_of(const fs::path &file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void write_bytes(const fs::path &file, const std::string &bytes) {
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

class StoreFileFaults : public testing::Test {
protected:
    StoreFileFaults() {
        std::string name = testing::TempDir() + "store-file-faults-XXXXXX";
        folder = mkdtemp(name.data());
        file = folder / "store";
        StoreContents contents;
        for (int number = 0; number < 11; ++number) {
            after.push_back(contents);
            host::apply(contents, batch(number));
        }
        host::write_new_analytics_store(file, after[1]);
    }
    ~StoreFileFaults() override { fs::remove_all(folder); }

    bool is_alone() const { return std::distance(fs::directory_iterator(folder), fs::directory_iterator()) == 1; }

    fs::path folder;
    fs::path file;
    std::vector<StoreContents> after; ///< the contents after so many batches
};

// ---- calls that fail

int failure_of(FileCall::Kind kind) {
    switch (kind) {
    case FileCall::kOpen:
        return SQLITE_CANTOPEN;
    case FileCall::kDelete:
        return SQLITE_IOERR_DELETE;
    case FileCall::kWrite:
        return SQLITE_FULL;
    case FileCall::kTruncate:
        return SQLITE_IOERR_TRUNCATE;
    case FileCall::kSync:
        return SQLITE_IOERR_FSYNC;
    case FileCall::kMapIndex:
        break;
    }
    return SQLITE_IOERR_SHMSIZE;
}

/** Makes one call fail, or with `is_lasting` all calls of its kind from then on. */
class FailingCall {
public:
    FailingCall(int number, bool is_lasting)
        : _number(number), _is_lasting(is_lasting), _files([this](const FileCall &call) { return decide(call); }) {}

    bool has_failed() const { return _kind.has_value(); }

private:
    int decide(const FileCall &call) {
        const bool fails = _calls++ == _number;
        if (fails) {
            _kind = call.kind;
        }
        return fails || (_is_lasting && _kind == call.kind) ? failure_of(call.kind) : SQLITE_OK;
    }

    int _number;
    bool _is_lasting;
    int _calls = 0;
    std::optional<FileCall::Kind> _kind;
    WatchedFiles _files;
};

/** @return whether the batch was applied; otherwise it is certain that it was not. */
bool applies_batch(const fs::path &file) {
    try {
        AnalyticsStore store(file);
        store.apply(batch(1));
        return true;
    } catch (const host::Error &error) {
        EXPECT_EQ(error.file(), file.string());
        EXPECT_NE(error.reason(), "");
        EXPECT_EQ(error.reason().find('\n'), std::string::npos);
        return false;
    }
}

TEST_F(StoreFileFaults, AnyCallThatFailsIsOneErrorAndHarmsNothing) {
    const std::string sound = bytes_of(file);
    for (const bool is_lasting : {false, true}) {
        std::set<bool> outcomes;
        bool has_failed = true;
        for (int number = 0; has_failed; ++number) {
            SCOPED_TRACE(number);
            fs::remove_all(folder);
            fs::create_directory(folder);
            write_bytes(file, sound);
            bool is_applied = false;
            {
                const FailingCall failing(number, is_lasting);
                is_applied = applies_batch(file);
                has_failed = failing.has_failed();
            }
            outcomes.insert(is_applied);

            EXPECT_TRUE(host::read_analytics_store(file) == after[is_applied ? 2 : 1]);
            AnalyticsStore(file).apply(batch(is_applied ? 2 : 1));
            EXPECT_TRUE(host::read_analytics_store(file) == after[is_applied ? 3 : 2]);
            EXPECT_TRUE(is_alone());
        }
        EXPECT_EQ(outcomes.size(), 2u) << "all calls matter, or none";
    }
}

TEST_F(StoreFileFaults, AnyCallOfAReaderThatFailsIsOneErrorAndHarmsNothing) {
    const std::string sound = bytes_of(file);
    bool has_failed = true;
    int failures = 0;
    for (int number = 0; has_failed; ++number) {
        {
            const FailingCall failing(number, false);
            try {
                EXPECT_TRUE(host::read_analytics_store(file) == after[1]);
            } catch (const host::Error &error) {
                ++failures;
                EXPECT_EQ(error.file(), file.string());
                EXPECT_NE(error.reason(), "");
            }
            has_failed = failing.has_failed();
        }
        EXPECT_TRUE(bytes_of(file) == sound);
        EXPECT_TRUE(is_alone());
    }
    EXPECT_GT(failures, 0);
}

/** As on a disk that is full: the log is there, but there is no room for its index. */
TEST_F(StoreFileFaults, AHostThatCouldNotBeginLeavesTheStoreReadable) {
    {
        const WatchedFiles full(
            [](const FileCall &call) { return call.kind == FileCall::kMapIndex ? SQLITE_IOERR_SHMSIZE : SQLITE_OK; });

        EXPECT_FALSE(applies_batch(file));

        EXPECT_TRUE(host::read_analytics_store(file) == after[1]) << "no room is needed for reading";
    }
    EXPECT_TRUE(is_alone());
}

TEST_F(StoreFileFaults, AnEmptyLogThatWasLeftIsReadWithoutRoomForAnIndex) {
    write_bytes(folder / "store-wal", "");
    const WatchedFiles full(
        [](const FileCall &call) { return call.kind == FileCall::kMapIndex ? SQLITE_IOERR_SHMSIZE : SQLITE_OK; });

    EXPECT_TRUE(host::read_analytics_store(file) == after[1]);
}

// ---- loss of power

/** What a disk may hold of the files after a loss of power, from the calls before it. */
class Disk {
public:
    explicit Disk(std::map<std::string, std::string> files) : _safe(std::move(files)) {}

    void see(const FileCall &call) {
        switch (call.kind) {
        case FileCall::kOpen:
        case FileCall::kMapIndex:
            break;
        case FileCall::kSync:
            for (const FileCall &pending : _pending) {
                if (pending.path == call.path) {
                    make(pending, _safe);
                }
            }
            std::erase_if(_pending, [&](const FileCall &pending) { return pending.path == call.path; });
            break;
        default:
            _pending.push_back(call);
        }
    }

    /** Each call since the last sync of its file was made, or was not, or a write was made in part. */
    std::map<std::string, std::string> files_after_loss(std::mt19937 &random) const {
        std::map<std::string, std::string> files = _safe;
        std::vector<FileCall> made;
        const unsigned one_in = random() % 2 == 0 ? 3 : 50; // calls that are lost, and that are made in part
        for (const FileCall &pending : _pending) {
            const auto fate = random() % one_in;
            if (fate == 0) {
                continue;
            }
            made.push_back(pending);
            if (fate == 1 && pending.bytes.size() > 512) {
                constexpr std::size_t kSector = 512;
                const std::size_t from = random() % (pending.bytes.size() / kSector) * kSector;
                made.back().bytes = pending.bytes.substr(from, kSector);
                made.back().offset += static_cast<std::int64_t>(from);
            }
        }
        for (const FileCall &call : made) {
            make(call, files);
        }
        return files;
    }

private:
    static void make(const FileCall &call, std::map<std::string, std::string> &files) {
        std::string &content = files[call.path];
        const auto offset = static_cast<std::size_t>(call.offset);
        if (call.kind == FileCall::kDelete) {
            files.erase(call.path);
        } else if (call.kind == FileCall::kTruncate) {
            content.resize(offset);
        } else {
            content.resize(std::max(content.size(), offset + call.bytes.size()));
            content.replace(offset, call.bytes.size(), call.bytes);
        }
    }

    std::map<std::string, std::string> _safe;
    std::vector<FileCall> _pending;
};

/** Three hosts after one another, three batches each. Each host brings everything into the file when it closes. */
TEST_F(StoreFileFaults, LossOfPowerLeavesTheFirstBatchesWholeAndNothingOfTheOthers) {
    std::mt19937 random(20261122);
    Disk disk({{file, bytes_of(file)}});
    std::size_t begun = 1;  // batches
    std::size_t closed = 1; // batches of hosts that have closed
    std::set<std::size_t> found;
    const fs::path lost = folder / "lost";

    const auto lose_power = [&] {
        for (int round = 0; round < 2; ++round) {
            fs::remove_all(lost);
            fs::create_directory(lost);
            for (const auto &[path, content] : disk.files_after_loss(random)) {
                write_bytes(lost / fs::path(path).filename(), content);
            }
            const StoreContents contents = host::read_analytics_store(lost / "store");
            const auto batches = static_cast<std::size_t>(contents.scalars.at("batches"));
            found.insert(batches);
            EXPECT_GE(batches, closed);
            ASSERT_LE(batches, begun);
            EXPECT_TRUE(contents == after[batches]) << batches;
        }
        AnalyticsStore(lost / "store").apply(batch(0));
        EXPECT_FALSE(fs::exists(lost / "store-wal"));
    };
    bool is_lost = false; // the calls for looking at what is left are not the host's
    int writes = 0;
    const WatchedFiles files([&](const FileCall &call) {
        const bool changes = call.kind != FileCall::kOpen && call.kind != FileCall::kMapIndex;
        if (changes && !is_lost) {
            is_lost = true;
            if (call.kind != FileCall::kWrite || ++writes % 5 == 0) {
                lose_power();
            }
            is_lost = false;
            disk.see(call);
        }
        return SQLITE_OK;
    });
    for (int host = 0; host < 3; ++host) {
        {
            AnalyticsStore store(file);
            for (int number = 0; number < 3; ++number) {
                ++begun;
                store.apply(batch(static_cast<int>(begun) - 1));
            }
        }
        closed = begun;
    }

    EXPECT_GT(found.size(), 5u) << "power was lost at too few moments";
}

} // namespace
