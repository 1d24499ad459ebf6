#include "host/store/analytics_store.h"

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/error.h"
#include "tests/file_size_limit.h"

namespace {

namespace fs = std::filesystem;

using host::AnalyticsStore;
using host::StoreChanges;
using host::StoreContents;
using testing::HasSubstr;

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

const StoreContents kContents = {
    {{"a", kSmallest}, {"b", 0}, {"clé", kLargest}},
    {{"a", {{-kInfinity, 1}, {-2.5, 3}, {0.0, kLargest}, {kInfinity, 4}}}, {"d", {{0.1, 2}}}}};

/** Another program's connection. */
class Sqlite {
public:
    explicit Sqlite(const fs::path &file) { EXPECT_EQ(sqlite3_open(file.c_str(), &_connection), SQLITE_OK); }
    ~Sqlite() { sqlite3_close(_connection); }
    Sqlite(const Sqlite &) = delete;
    Sqlite &operator=(const Sqlite &) = delete;

    void execute(const std::string &sql) {
        char *message = nullptr;
        EXPECT_EQ(sqlite3_exec(_connection, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message;
        sqlite3_free(message);
    }

private:
    sqlite3 *_connection = nullptr;
};

std::string bytes_of(const fs::path &file) {
    std::string bytes(fs::is_regular_file(file) ? fs::file_size(file) : 0, '\0');
    std::ifstream(file, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

void write_bytes(const fs::path &file, const std::string &bytes) {
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

/** The reason of the Error that `work` throws; empty when it throws none. */
std::string reason_of(const fs::path &file, const std::function<void()> &work) {
    try {
        work();
        return "";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.file(), file.string());
        return error.reason();
    }
}

StoreChanges addition(std::string_view key, std::int64_t delta) {
    StoreChanges changes;
    changes.add_to_scalar(key, delta);
    return changes;
}

/** Runs a test in a child process without root privileges: nothing is read-only for root. */
void run_without_privileges(const std::function<void()> &test) {
    constexpr uid_t kNobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setegid(kNobody) != 0 || seteuid(kNobody) != 0)) {
            _exit(2);
        }
        test();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

class AnalyticsStoreTest : public testing::Test {
protected:
    AnalyticsStoreTest() {
        std::string name = testing::TempDir() + "analytics-store-XXXXXX";
        folder = mkdtemp(name.data());
        file = folder / "store";
    }
    ~AnalyticsStoreTest() override { fs::remove_all(folder); }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    /** Expects reading and opening to refuse the file with this reason and to change nothing. */
    void expect_refused(const testing::Matcher<std::string> &reason) const {
        const std::string before = bytes_of(file);
        const std::vector<std::string> names_before = names();

        EXPECT_THAT(reason_of(file, [&] { host::read_analytics_store(file); }), reason);
        EXPECT_THAT(reason_of(file, [&] { const AnalyticsStore store(file); }), reason);

        EXPECT_TRUE(bytes_of(file) == before);
        EXPECT_EQ(names(), names_before);
    }

    /** Expects a store to be refused after another program has changed it. */
    void expect_refused_after(const std::string &sql, const testing::Matcher<std::string> &reason) const {
        SCOPED_TRACE(sql);
        fs::remove(file);
        host::write_new_analytics_store(file, kContents);
        Sqlite(file).execute(sql);
        expect_refused(reason);
    }

    fs::path folder;
    fs::path file;
};

// ---- files

TEST_F(AnalyticsStoreTest, WhatIsWrittenIsReadBack) {
    host::write_new_analytics_store(file, kContents);

    EXPECT_EQ(host::read_analytics_store(file), kContents);
    EXPECT_EQ(names(), std::vector<std::string>{"store"});
}

TEST_F(AnalyticsStoreTest, WritingRefusesWhateverIsThere) {
    write_bytes(file, "");
    fs::create_directory(folder / "folder");
    fs::create_symlink("nowhere", folder / "link");

    for (const char *name : {"store", "folder", "link"}) {
        EXPECT_EQ(reason_of(folder / name, [&] { host::write_new_analytics_store(folder / name, kContents); }),
                  "File exists");
    }

    EXPECT_EQ(bytes_of(file), "");
    EXPECT_EQ(names().size(), 3u);
}

TEST_F(AnalyticsStoreTest, WritingIntoAMissingFolderIsAnError) {
    const fs::path nowhere = folder / "nowhere" / "store";

    EXPECT_EQ(reason_of(nowhere, [&] { host::write_new_analytics_store(nowhere, kContents); }),
              "No such file or directory");
}

TEST_F(AnalyticsStoreTest, WhatIsMissingIsNotCreatedByReading) {
    EXPECT_EQ(reason_of(file, [&] { host::read_analytics_store(file); }), "No such file or directory");
    EXPECT_TRUE(names().empty());
}

TEST_F(AnalyticsStoreTest, WhatIsNoFileIsRefused) {
    fs::create_directory(file);
    EXPECT_EQ(reason_of(file, [&] { host::read_analytics_store(file); }), "is not a regular file");
    EXPECT_EQ(reason_of(file, [&] { const AnalyticsStore store(file); }), "is not a regular file");

    fs::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(reason_of(file, [&] { host::read_analytics_store(file); }), "is not a regular file");
}

TEST_F(AnalyticsStoreTest, FilesOfOtherKindsAreRefused) {
    for (const std::string &content : {std::string(), std::string("text"), std::string(5000, '\0'),
                                       std::string("SQLite format 3\0", 16), std::string(100, 'Q')}) {
        write_bytes(file, content);
        expect_refused("is not an analytics store");
    }
}

TEST_F(AnalyticsStoreTest, DatabasesOfOtherProgramsAreRefused) {
    Sqlite(file).execute("CREATE TABLE scalar (key, value)");
    expect_refused("is not an analytics store");

    Sqlite(file).execute("PRAGMA application_id = 1363104322"); // one more than a store's
    expect_refused("is not an analytics store");
}

TEST_F(AnalyticsStoreTest, WhatADatabaseOfAnotherProgramLeftUnfinishedIsNotTouched) {
    Sqlite(file).execute("CREATE TABLE t (a)");
    write_bytes(folder / "store-journal", "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7" + std::string(504, '\0'));

    expect_refused("is not an analytics store");
}

TEST_F(AnalyticsStoreTest, StoresOfNewerVersionsAreRefused) {
    expect_refused_after("PRAGMA user_version = 2; CREATE TABLE novelty (a)",
                         "is an analytics store of version 2, newer than this program, which knows version 1");
}

TEST_F(AnalyticsStoreTest, StoresWithoutAVersionAreRefused) {
    expect_refused_after("PRAGMA user_version = 0", "is damaged: it has no version");
    expect_refused_after("PRAGMA user_version = -1", "is damaged: it has no version");
}

TEST_F(AnalyticsStoreTest, AnythingBesideTheTablesIsRefused) {
    const std::string reason = "is damaged: it does not hold exactly the tables of an analytics store";
    for (const char *sql : {
             "CREATE TABLE another (a)",
             "CREATE VIEW sums AS SELECT key, sum(count) FROM distribution GROUP BY key",
             "CREATE TRIGGER grow AFTER INSERT ON scalar BEGIN DELETE FROM distribution; END",
             "CREATE INDEX by_value ON scalar (value)",
             "CREATE UNIQUE INDEX by_name ON key (name)",
             "CREATE VIRTUAL TABLE words USING fts5(a)",
             "ANALYZE",
             "DROP TABLE scalar",
             "DROP TABLE distribution",
             "DROP TABLE scalar; CREATE VIEW scalar AS SELECT key, 1 AS value FROM distribution",
             "DROP TABLE scalar; CREATE TABLE scalar (key INTEGER PRIMARY KEY, value)",
             "DROP TABLE key; CREATE TABLE key (id INTEGER PRIMARY KEY, name TEXT NOT NULL) STRICT",
             "ALTER TABLE scalar ADD COLUMN more TEXT",
             "ALTER TABLE scalar RENAME COLUMN value TO amount",
         }) {
        expect_refused_after(sql, reason);
    }
}

TEST_F(AnalyticsStoreTest, CountsThatAreNotPositiveAreRefused) {
    for (const char *count : {"0", "-1"}) {
        expect_refused_after("PRAGMA ignore_check_constraints = ON; UPDATE distribution SET count = " +
                                 std::string(count) + " WHERE value = 0.1",
                             HasSubstr("is damaged: "));
    }
}

TEST_F(AnalyticsStoreTest, KeysThatAreNoTextAreRefused) {
    for (const char *name : {"CAST(X'FF' AS TEXT)", "CAST(X'C080' AS TEXT)", "CAST(X'610062' AS TEXT)"}) {
        const std::string key = "INSERT INTO key VALUES (99, " + std::string(name) + "); ";
        expect_refused_after(key + "INSERT INTO scalar VALUES (99, 1)",
                             "is damaged: a key has no name, or its name is not text");
        expect_refused_after(key + "INSERT INTO distribution VALUES (99, 1, 1)",
                             "is damaged: a key has no name, or its name is not text");
    }
}

TEST_F(AnalyticsStoreTest, ValuesKeyChangessThatAreMissingAreRefused) {
    for (const char *sql : {"INSERT INTO scalar VALUES (99, 1)", "INSERT INTO distribution VALUES (99, 1, 1)"}) {
        expect_refused_after(sql, "is damaged: a key has no name, or its name is not text");
    }
}

/** Tables that are named like a store's and differ from them. */
TEST_F(AnalyticsStoreTest, ValuesOfOtherTypesThanTheTablesSayAreRefused) {
    struct Lie {
        const char *table;
        const char *columns;
        std::vector<const char *> rows;
    };
    const Lie lies[] = {
        {"scalar", "(key INTEGER PRIMARY KEY, value)", {"(1, 'text')", "(1, 1.5)", "(1, NULL)", "(1, X'00')"}},
        {"distribution",
         "(key, value, count, PRIMARY KEY (key, value)) WITHOUT ROWID",
         {"(1, 'text', 1)", "(1, 1, 'text')", "(1, 1, 1.5)", "(1, X'00', 1)", "('a', 1, 1)"}},
        {"key", "(id INTEGER PRIMARY KEY, name UNIQUE)", {"(1, 5), (2, 6), (3, 7), (4, 8)"}},
    };
    for (const Lie &lie : lies) {
        const std::string table = lie.table;
        for (const char *row : lie.rows) {
            std::ostringstream sql;
            sql << "PRAGMA writable_schema = ON;"
                << "CREATE TABLE kept AS SELECT sql FROM sqlite_schema WHERE name = '" << table << "';"
                << "DROP TABLE " << table << ";"
                << "CREATE TABLE " << table << " " << lie.columns << ";"
                << "INSERT INTO " << table << " VALUES " << row << ";"
                << "UPDATE sqlite_schema SET sql = (SELECT sql FROM kept) WHERE name = '" << table << "';"
                << "DROP TABLE kept";
            expect_refused_after(sql.str(), HasSubstr("is damaged: "));
        }
    }
}

/** Enough rows for a tree of several levels. */
StoreContents large_contents() {
    StoreContents contents;
    for (int key = 0; key < 40; ++key) {
        contents.scalars["com.example.scalar." + std::to_string(key)] = key;
        for (int value = 0; value < 100; ++value) {
            contents.distributions["com.example.distribution." + std::to_string(key)][value * 0.5] = 1;
        }
    }
    return contents;
}

TEST_F(AnalyticsStoreTest, AFileThatWasCutShortIsRefused) {
    host::write_new_analytics_store(file, large_contents());
    const std::uintmax_t size = fs::file_size(file);

    for (const std::uintmax_t left : {size - 1, size - 4096, size / 2, std::uintmax_t{5000}, std::uintmax_t{4096}}) {
        SCOPED_TRACE(left);
        fs::resize_file(file, left);
        expect_refused(HasSubstr("is damaged: "));
    }
    fs::resize_file(file, 99);
    expect_refused("is not an analytics store");
}

TEST_F(AnalyticsStoreTest, APageOfOtherBytesIsRefused) {
    host::write_new_analytics_store(file, large_contents());
    const std::string sound = bytes_of(file);
    ASSERT_GT(sound.size(), 10u * 4096);

    for (std::size_t page = 1; page < sound.size() / 4096; ++page) {
        for (const char byte : {'\0', '\xff', '\x0d'}) {
            std::string damaged = sound;
            damaged.replace(page * 4096, 4096, 4096, byte);
            write_bytes(file, damaged);
            EXPECT_THAT(reason_of(file, [&] { host::read_analytics_store(file); }),
                        testing::MatchesRegex("is damaged: [^*\n]+"))
                << page << " " << int{byte};
        }
    }
    EXPECT_EQ(names(), std::vector<std::string>{"store"});
}

/** The library reports this damage as a lack of memory. The message must not blame memory alone. */
TEST_F(AnalyticsStoreTest, ASchemaThatTheLibraryHasNoMemoryForIsRefused) {
    write_bytes(file, bytes_of(SOURCE_FOLDER "/fuzz/corpus/store/out-of-memory"));

    expect_refused("cannot be read: out of memory, or the file is damaged");
}

/** The contents of a store in memory. */
StoreContents read_image(std::string image, const std::string &name) {
    return host::read_analytics_store_image(std::as_writable_bytes(std::span(image)), name);
}

TEST_F(AnalyticsStoreTest, AnImageIsReadAsItsFile) {
    host::write_new_analytics_store(file, large_contents());
    EXPECT_EQ(read_image(bytes_of(file), "a pipe"), large_contents());
    { host::AnalyticsStore host(file); } // which writes with a log
    EXPECT_EQ(read_image(bytes_of(file), "a pipe"), large_contents());
}

TEST_F(AnalyticsStoreTest, AnImageThatIsNoWholeStoreIsRefused) {
    host::write_new_analytics_store(file, large_contents());
    const std::string image = bytes_of(file);
    const auto reason = [](const std::string &bytes) {
        return reason_of("a pipe", [&] { read_image(bytes, "a pipe"); });
    };
    EXPECT_EQ(reason(""), "is not an analytics store");
    EXPECT_EQ(reason(image.substr(0, 99)), "is not an analytics store");
    EXPECT_THAT(reason(image.substr(0, 4096)), HasSubstr("is damaged: "));
    EXPECT_THAT(reason(image.substr(0, image.size() - 1)), HasSubstr("is damaged: "));
    std::string other = image;
    other[68] = 'X';
    EXPECT_EQ(reason(other), "is not an analytics store");
    EXPECT_EQ(reason(std::string(host::kLargestStoreImage + 1, '\0')), "is larger than 256 MB");
}

TEST_F(AnalyticsStoreTest, AnyBytesAreReadOrRefused) {
    host::write_new_analytics_store(file, large_contents());
    const std::string sound = bytes_of(file);
    std::mt19937 random(20261121);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    int refused = 0;

    for (int round = 0; round < 500; ++round) {
        std::string damaged = sound;
        for (std::size_t change = below(8) + 1; change > 0; --change) {
            // Half of the changes hit what describes pages instead of what is in them.
            const std::size_t page = below(sound.size() / 4096) * 4096;
            damaged[page + below(below(2) == 0 ? 100 : 4096)] = static_cast<char>(random());
        }
        write_bytes(file, damaged);
        StoreContents of_file;
        const std::string reason = reason_of(file, [&] { of_file = host::read_analytics_store(file); });
        refused += reason.empty() ? 0 : 1;
        ASSERT_TRUE(bytes_of(file) == damaged);
        StoreContents of_image;
        EXPECT_EQ(reason_of(file, [&] { of_image = read_image(damaged, file); }).empty(), reason.empty()) << reason;
        EXPECT_TRUE(of_image == of_file);
    }

    EXPECT_GT(refused, 100);
    EXPECT_EQ(names(), std::vector<std::string>{"store"});
}

// ---- an open store

TEST_F(AnalyticsStoreTest, OpeningMakesAStoreAndOpensItAgain) {
    AnalyticsStore(file).apply(addition("a", 1));
    AnalyticsStore(file).apply(addition("a", 2));

    EXPECT_EQ(host::read_analytics_store(file), (StoreContents{{{"a", 3}}, {}}));
    EXPECT_EQ(names(), std::vector<std::string>{"store"});
}

TEST_F(AnalyticsStoreTest, ANewStoreIsReadableByWhomTheUmaskLets) {
    const mode_t before = umask(027);
    const AnalyticsStore store(file);
    umask(before);

    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
}

TEST_F(AnalyticsStoreTest, AnEmptyNameIsRefused) {
    EXPECT_EQ(reason_of("", [] { const AnalyticsStore store(""); }), "the name of the analytics store is empty");
    EXPECT_EQ(reason_of("", [] { host::read_analytics_store(""); }), "the name of the analytics store is empty");
}

TEST_F(AnalyticsStoreTest, NamesMeanNothingToTheDatabase) {
    const fs::path odd = folder / "a?mode=memory&b#c%41 \"d\"\n'é";

    AnalyticsStore(odd).apply(addition("a", 1));

    EXPECT_EQ(host::read_analytics_store(odd).scalars.at("a"), 1);
    EXPECT_EQ(names(), std::vector<std::string>{odd.filename().string()});
}

TEST_F(AnalyticsStoreTest, ALinkLeadsToItsStore) {
    fs::create_directory(folder / "elsewhere");
    host::write_new_analytics_store(folder / "elsewhere" / "store", kContents);
    fs::create_symlink("elsewhere/store", file);
    AnalyticsStore store(file);
    store.apply(addition("b", 5));

    EXPECT_EQ(host::read_analytics_store(file).scalars.at("b"), 5);
    EXPECT_EQ(host::read_analytics_store(folder / "elsewhere" / "store").scalars.at("b"), 5);
}

TEST_F(AnalyticsStoreTest, AReaderSeesWhatHostsHaveWritten) {
    AnalyticsStore first(file);
    AnalyticsStore second(file);
    first.apply(addition("a", 1));
    second.apply(addition("a", 10));

    EXPECT_EQ(host::read_analytics_store(file).scalars.at("a"), 11);
    EXPECT_EQ(first.contents().scalars.at("a"), 11);
}

TEST_F(AnalyticsStoreTest, AReaderSeesWhatAKilledHostHasWritten) {
    const pid_t child = fork();
    if (child == 0) {
        auto *store = new AnalyticsStore(file);
        store->apply(addition("a", 1));
        raise(SIGKILL);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);

    EXPECT_EQ(host::read_analytics_store(file).scalars.at("a"), 1);
    AnalyticsStore(file).apply(addition("a", 1));
    EXPECT_EQ(host::read_analytics_store(file).scalars.at("a"), 2);
    EXPECT_EQ(names(), std::vector<std::string>{"store"});
}

TEST_F(AnalyticsStoreTest, AnOlderWayOfWritingIsTakenOver) {
    host::write_new_analytics_store(file, kContents);
    Sqlite(file).execute("PRAGMA journal_mode = DELETE");

    EXPECT_EQ(host::read_analytics_store(file), kContents);
    AnalyticsStore(file).apply(addition("b", 1));
    EXPECT_EQ(host::read_analytics_store(file).scalars.at("b"), 1);
}

/** Begins a transaction as another program may, larger than its cache, so that part of it is in the file. */
void begin_to_write_with_a_journal(Sqlite &other) {
    other.execute("PRAGMA journal_mode = DELETE; PRAGMA cache_size = 2; BEGIN; UPDATE scalar SET value = 999; "
                  "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
                  "INSERT INTO distribution SELECT 1, i + 0.25, 1 FROM n");
}

class AnalyticsStoreWithAJournal : public AnalyticsStoreTest {
protected:
    void leave_a_killed_writers_journal() const {
        host::write_new_analytics_store(file, kContents);
        const pid_t child = fork();
        if (child == 0) {
            auto *other = new Sqlite(file);
            begin_to_write_with_a_journal(*other);
            raise(SIGKILL);
        }
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        ASSERT_GT(fs::file_size(folder / "store-journal"), 512u);
        ASSERT_GT(fs::file_size(file), 100'000u) << "nothing of the transaction is in the file";
    }
};

/** Rolling a journal back is for the program that wrote it: the journal may name other files, which are deleted then.
 */
TEST_F(AnalyticsStoreWithAJournal, WhatAKilledProgramDidNotFinishIsRefused) {
    leave_a_killed_writers_journal();

    expect_refused("has an unfinished transaction of another program in \"store-journal\"");

    Sqlite(file).execute("SELECT count(*) FROM scalar");
    EXPECT_EQ(host::read_analytics_store(file), kContents);
}

TEST_F(AnalyticsStoreWithAJournal, AJournalThatIsOverDoesNotMatter) {
    host::write_new_analytics_store(file, kContents);
    Sqlite(file).execute("PRAGMA journal_mode = PERSIST; UPDATE scalar SET value = 7 WHERE value = 0");
    const std::string journal = bytes_of(folder / "store-journal");
    ASSERT_GT(journal.size(), 0u);

    EXPECT_EQ(host::read_analytics_store(file).scalars.at("b"), 7);

    EXPECT_TRUE(bytes_of(folder / "store-journal") == journal);
}

TEST_F(AnalyticsStoreWithAJournal, WhatAProgramIsWritingIsNotRead) {
    host::write_new_analytics_store(file, kContents);
    Sqlite other(file);
    begin_to_write_with_a_journal(other);

    EXPECT_EQ(reason_of(file, [&] { host::read_analytics_store(file); }),
              "is locked by another program for more than 5 seconds");

    other.execute("ROLLBACK");
    EXPECT_EQ(host::read_analytics_store(file), kContents);
}

/** Offsets 18 and 19 of the file format say how a database is written and read. */
TEST_F(AnalyticsStoreTest, ADamagedWriteVersionIsRefusedBeforeAnythingIsWritten) {
    host::write_new_analytics_store(file, kContents);
    for (const int version : {0, 1, 3, 255}) {
        std::string bytes = bytes_of(file);
        bytes[18] = static_cast<char>(version);
        write_bytes(file, bytes);

        EXPECT_EQ(reason_of(file, [&] { const AnalyticsStore store(file); }),
                  "is damaged: its header does not say how it is written");

        EXPECT_TRUE(bytes_of(file) == bytes);
    }
}

TEST_F(AnalyticsStoreTest, AdditionsWrapAndCountsStopAtTheLargest) {
    host::write_new_analytics_store(file, kContents);
    StoreChanges changes;
    changes.add_to_scalar("clé", 2);
    changes.add_to_scalar("a", -1);
    changes.push("a", 0.0);
    changes.push("a", 0.0);

    AnalyticsStore(file).apply(changes);

    const StoreContents contents = host::read_analytics_store(file);
    EXPECT_EQ(contents.scalars.at("clé"), kSmallest + 1);
    EXPECT_EQ(contents.scalars.at("a"), kLargest);
    EXPECT_EQ(contents.distributions.at("a").at(0.0), std::uint64_t{kLargest});
}

TEST_F(AnalyticsStoreTest, ClearingRemovesEverything) {
    host::write_new_analytics_store(file, kContents);

    AnalyticsStore(file).clear();

    EXPECT_EQ(host::read_analytics_store(file), StoreContents{});
}

TEST_F(AnalyticsStoreTest, AFileThatWasMovedIsWrittenToNoMore) {
    AnalyticsStore store(file);
    store.apply(addition("a", 1));
    fs::rename(file, folder / "moved");

    EXPECT_EQ(reason_of(file, [&] { store.apply(addition("a", 1)); }), "was moved or deleted while it was open");

    fs::rename(folder / "moved", file);
    store.apply(addition("a", 1));
    EXPECT_EQ(store.contents().scalars.at("a"), 2);
}

TEST_F(AnalyticsStoreTest, ChangesThatDoNotFitOnTheDiskAreNotAppliedAtAll) {
    AnalyticsStore store(file);
    store.apply(addition("a", 1));
    StoreChanges changes = addition("a", 1);
    for (int value = 0; value < 10'000; ++value) {
        changes.push("d", value);
        changes.push("e", value);
    }

    {
        const FileSizeLimit limit(100'000);
        EXPECT_NE(reason_of(file, [&] { store.apply(changes); }), "");
        EXPECT_EQ(store.contents(), (StoreContents{{{"a", 1}}, {}}));
        EXPECT_EQ(host::read_analytics_store(file), (StoreContents{{{"a", 1}}, {}}));
    }
    store.apply(changes);

    EXPECT_EQ(store.contents().scalars.at("a"), 2);
    EXPECT_EQ(store.contents().distributions.at("d").size(), 10'000u);
}

TEST_F(AnalyticsStoreTest, AFullDiskLeavesNoPartOfANewStore) {
    const FileSizeLimit limit(1000);

    EXPECT_EQ(reason_of(file, [&] { host::write_new_analytics_store(file, kContents); }), "File too large");
    EXPECT_TRUE(names().empty());
}

// ---- locks

TEST_F(AnalyticsStoreTest, AStoreThatStaysLockedIsAnErrorAfterFiveSeconds) {
    AnalyticsStore store(file);
    Sqlite other(file);
    other.execute("BEGIN IMMEDIATE");

    const std::string reason = "is locked by another program for more than 5 seconds";
    std::thread opener([&] { EXPECT_EQ(reason_of(file, [&] { const AnalyticsStore second(file); }), reason); });
    EXPECT_EQ(reason_of(file, [&] { store.apply(addition("a", 1)); }), reason);
    opener.join();

    EXPECT_EQ(host::read_analytics_store(file), StoreContents{}) << "readers do not wait for writers";
    other.execute("ROLLBACK");
    store.apply(addition("a", 1));
    EXPECT_EQ(store.contents(), (StoreContents{{{"a", 1}}, {}}));
}

TEST_F(AnalyticsStoreTest, AReaderThatIsLockedOutGetsAnErrorAfterFiveSeconds) {
    host::write_new_analytics_store(file, kContents);
    Sqlite other(file);
    other.execute("PRAGMA locking_mode = EXCLUSIVE; BEGIN IMMEDIATE; DELETE FROM scalar");

    EXPECT_EQ(reason_of(file, [&] { host::read_analytics_store(file); }),
              "is locked by another program for more than 5 seconds");
}

// ---- places that cannot be written to

class AnalyticsStoreReadOnly : public AnalyticsStoreTest {
protected:
    AnalyticsStoreReadOnly() {
        host::write_new_analytics_store(file, kContents);
        fs::permissions(file, fs::perms(0444));
        fs::permissions(folder, fs::perms(0555));
    }
    ~AnalyticsStoreReadOnly() override { fs::permissions(folder, fs::perms(0755)); }
};

TEST_F(AnalyticsStoreReadOnly, AStoreAtRestIsRead) {
    run_without_privileges([&] { EXPECT_EQ(host::read_analytics_store(file), kContents); });
}

TEST_F(AnalyticsStoreReadOnly, AStoreInUseIsRead) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes a second user";
    }
    fs::permissions(file, fs::perms(0644));
    AnalyticsStore store(file);
    store.apply(addition("b", 7));

    run_without_privileges([&] { EXPECT_EQ(host::read_analytics_store(file).scalars.at("b"), 7); });
}

TEST_F(AnalyticsStoreReadOnly, WhatAKilledHostLeftIsRead) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes a second user";
    }
    fs::permissions(file, fs::perms(0644));
    const pid_t child = fork();
    if (child == 0) {
        (new AnalyticsStore(file))->apply(addition("b", 7));
        raise(SIGKILL);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    fs::remove(folder / "store-shm");

    run_without_privileges([&] { EXPECT_EQ(host::read_analytics_store(file).scalars.at("b"), 7); });
    EXPECT_EQ(names().size(), 2u) << "reading made a file";
}

TEST_F(AnalyticsStoreReadOnly, OpeningIsAnError) {
    run_without_privileges([&] {
        EXPECT_THAT(reason_of(file, [&] { const AnalyticsStore store(file); }), HasSubstr("cannot be written to"));
        EXPECT_THAT(reason_of(folder / "new", [&] { const AnalyticsStore store(folder / "new"); }),
                    "Permission denied");
    });
    EXPECT_EQ(names(), std::vector<std::string>{"store"});
}

TEST_F(AnalyticsStoreReadOnly, AFileThatMayNotBeReadIsAnError) {
    fs::permissions(file, fs::perms(0));
    run_without_privileges(
        [&] { EXPECT_EQ(reason_of(file, [&] { host::read_analytics_store(file); }), "Permission denied"); });
}

// ---- changes

/** One operation, in a plain formulation. */
struct Operation {
    int kind;
    std::string key;
    std::int64_t number;

    double value() const { return static_cast<double>(number % 3); }

    void apply_to(StoreChanges &changes) const {
        switch (kind) {
        case 0:
            return changes.clear_scalar(key);
        case 1:
            return changes.set_scalar(key, number);
        case 2:
            return changes.add_to_scalar(key, number);
        case 3:
            return changes.clear_distribution(key);
        case 4:
            return changes.set_distribution(key, value());
        default:
            return changes.push(key, value());
        }
    }

    void apply_to(StoreContents &contents) const {
        switch (kind) {
        case 0:
            contents.scalars.erase(key);
            return;
        case 1:
            contents.scalars[key] = number;
            return;
        case 2:
            contents.scalars[key] =
                static_cast<std::int64_t>(static_cast<std::uint64_t>(contents.scalars[key]) + std::uint64_t(number));
            return;
        case 3:
            contents.distributions.erase(key);
            return;
        case 4:
            contents.distributions[key] = {{value(), 1}};
            return;
        default:
            ++contents.distributions[key][value()];
        }
    }
};

std::vector<Operation> any_operations() {
    return *rc::gen::container<std::vector<Operation>>(rc::gen::construct<Operation>(
        rc::gen::inRange(0, 8), rc::gen::element<std::string>("a", "b"),
        rc::gen::oneOf(rc::gen::inRange<std::int64_t>(-5, 6), rc::gen::element(kLargest, kSmallest))));
}

/** Applies batches of operations, some joined with the next. @return the contents after the operations one by one. */
template <typename Apply>
StoreContents expected_after_batches(const Apply &apply) {
    StoreContents expected;
    StoreChanges waiting;
    StoreChanges used_again;
    for (int batch = *rc::gen::inRange(1, 5); batch > 0; --batch) {
        used_again.clear();
        for (const Operation &operation : any_operations()) {
            operation.apply_to(used_again);
            operation.apply_to(expected);
        }
        waiting.append(used_again);
        if (*rc::gen::arbitrary<bool>()) {
            apply(waiting);
            waiting.clear();
        }
    }
    apply(waiting);
    return expected;
}

RC_GTEST_FIXTURE_PROP(AnalyticsStoreTest, OperationsComeOutAsOneByOneHoweverTheyAreGathered, ()) {
    AnalyticsStore store(file);
    const StoreContents expected = expected_after_batches([&](const StoreChanges &changes) { store.apply(changes); });

    RC_ASSERT(store.contents() == expected);
}

RC_GTEST_PROP(StoreChangesProperty, OperationsComeOutAsOneByOneHoweverTheyAreGathered, ()) {
    StoreContents contents;
    const StoreContents expected =
        expected_after_batches([&](const StoreChanges &changes) { host::apply(contents, changes); });

    RC_ASSERT(contents == expected);
}

TEST(StoreChangesTest, EqualPushesAreOneChange) {
    StoreChanges changes;
    for (int i = 0; i < 250; ++i) {
        changes.push("key", 1.5);
    }

    EXPECT_EQ(changes.operations(), 250u);
    changes.for_each([](const std::string &, const StoreChanges::KeyChanges &of_key) {
        EXPECT_EQ(of_key.distribution.pushed.size(), 1u);
    });
}

// ---- the limit of values

constexpr int kMostValuesOfKey = 10'000;
constexpr int kMostValuesOfStore = 100'000;

/** Pushes that make one distribution full, and then some more, two of them into values that it has. */
StoreChanges more_values_than_a_key_may_have() {
    StoreChanges changes;
    for (int value = 0; value < kMostValuesOfKey + 3; ++value) {
        changes.push("d", value);
    }
    changes.push("d", kMostValuesOfKey + 1);
    changes.push("d", 5);
    return changes;
}

TEST_F(AnalyticsStoreTest, ValuesBeyondTheLimitOfAKeyAreCounted) {
    AnalyticsStore store(file);
    StoreContents in_memory;
    const StoreChanges changes = more_values_than_a_key_may_have();

    for (const int times : {1, 2}) {
        store.apply(changes);
        host::apply(in_memory, changes);

        const StoreContents contents = store.contents();
        EXPECT_EQ(contents.distributions.at("d").size(), std::size_t{kMostValuesOfKey});
        EXPECT_EQ(contents.distributions.at("d").at(5), std::uint64_t(2 * times));
        EXPECT_EQ(contents.scalars.at("d.beyond_limit"), 4 * times);
        EXPECT_TRUE(in_memory == contents);
    }
}

TEST_F(AnalyticsStoreTest, AClearedDistributionHasRoomAgain) {
    AnalyticsStore store(file);
    StoreContents in_memory;
    store.apply(more_values_than_a_key_may_have());
    host::apply(in_memory, more_values_than_a_key_may_have());
    StoreChanges changes;
    changes.clear_distribution("d");
    changes.push("d", -1);

    store.apply(changes);
    host::apply(in_memory, changes);

    const StoreContents cleared = {{}, {{"d", {{-1, 1}}}}};
    EXPECT_EQ(store.contents(), cleared);
    EXPECT_EQ(in_memory, cleared);
}

TEST_F(AnalyticsStoreTest, WhatAnotherHostHasPushedTakesRoom) {
    AnalyticsStore first(file);
    AnalyticsStore second(file);
    StoreChanges changes;
    changes.push("d", -1);
    second.apply(changes);
    first.apply(more_values_than_a_key_may_have());
    StoreChanges another;
    another.push("d", -2);

    second.apply(another);

    const StoreContents contents = second.contents();
    EXPECT_EQ(contents.distributions.at("d").size(), std::size_t{kMostValuesOfKey});
    EXPECT_EQ(contents.scalars.at("d.beyond_limit"), 6);
}

/** The store is full with one more value in each of its distributions than fits. */
TEST_F(AnalyticsStoreTest, ValuesBeyondTheLimitOfTheStoreAreCounted) {
    StoreContents full;
    for (int key = 0; key < 11; ++key) {
        for (int value = 0; value < kMostValuesOfStore / 11; ++value) {
            full.distributions["d" + std::to_string(key)][value] = 1;
        }
    }
    host::write_new_analytics_store(file, full);
    AnalyticsStore store(file);
    StoreChanges changes;
    const int room = kMostValuesOfStore - 11 * (kMostValuesOfStore / 11);
    for (int value = 0; value < room + 2; ++value) {
        changes.push("new", value);
    }

    store.apply(changes);
    host::apply(full, changes);

    const StoreContents contents = store.contents();
    EXPECT_EQ(contents.distributions.at("new").size(), std::size_t{room});
    EXPECT_EQ(contents.scalars.at("new.beyond_limit"), 2);
    EXPECT_TRUE(full == contents);
}

// ---- merging

TEST(MergeTest, ScalarsAndCountsAdd) {
    StoreContents sum = {{{"a", 1}, {"b", kLargest}}, {{"d", {{0.5, 2}, {1.5, kLargest}}}}};

    host::merge_into(sum, {{{"b", 1}, {"c", -3}}, {{"d", {{0.5, 3}, {1.5, 1}}}, {"e", {{-kInfinity, 4}}}}});

    EXPECT_EQ(sum, (StoreContents{{{"a", 1}, {"b", kSmallest}, {"c", -3}},
                                  {{"d", {{0.5, 5}, {1.5, kLargest}}}, {"e", {{-kInfinity, 4}}}}}));
}

TEST(MergeTest, NothingChangesNothing) {
    StoreContents sum = kContents;
    host::merge_into(sum, {});
    EXPECT_EQ(sum, kContents);

    StoreContents none;
    host::merge_into(none, kContents);
    EXPECT_EQ(none, kContents);
}

} // namespace
