/** Every verb that reads a file, with a file that cannot be read. */
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/cli/hosting.h"
#include "tests/cli/program.h"

using cli_tests::isolate_in;
using cli_tests::kSmall;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::TemporaryFolder;

namespace {

/** Stands for the name of the input among the arguments. */
const std::string kInput = "INPUT";

/** A regular file that can be opened, also by root, and whose reads fail. */
const std::string kUnreadableFile = "/proc/self/mem";

/** One input of a verb, and what is printed after "qorstat: " when it is bad. */
struct Input {
    std::string name;
    std::vector<std::string> arguments;
    std::string missing;    ///< for "nowhere"
    std::string empty_name; ///< empty: the option then counts as not given
    std::string folder;     ///< for "folder"; empty: wrong use, which others test
    std::string unreadable; ///< for `kUnreadableFile`; empty: the file has no size, and is not read
};

void PrintTo(const Input &input, std::ostream *out) { *out << input.name; }

/** Records, reports and batches, which are read by the same code. */
Input plain_input(const std::string &name, const std::vector<std::string> &arguments) {
    return {name,
            arguments,
            "nowhere: No such file or directory",
            "\"\": No such file or directory",
            "folder: Is a directory",
            kUnreadableFile + ": Input/output error"};
}

Input store(const std::string &name, const std::vector<std::string> &arguments) {
    Input input = plain_input(name, arguments);
    input.folder = "folder: has no file that holds an analytics store";
    return input;
}

Input records(const std::string &name, const std::vector<std::string> &arguments) {
    Input input = plain_input(name, arguments);
    input.folder = "folder: has no file that holds a state-capture record";
    return input;
}

/** What is read as reports. A folder stands for its files. */
Input reports(const std::string &name, const std::vector<std::string> &arguments) {
    Input input = plain_input(name, arguments);
    input.folder = "folder: has no file that holds a dump";
    return input;
}

Input description(const std::string &name, const std::vector<std::string> &arguments) {
    return {name, arguments, "nowhere: no such file", "\"\": no such file", "folder: not a regular file", ""};
}

Input loaded_module(const std::string &name, const std::vector<std::string> &arguments) {
    const std::string refusal = ": this module cannot be loaded: cannot read file data: ";
    return {name,
            arguments,
            "nowhere: there is no such file",
            "",
            "folder" + refusal + "Is a directory",
            kUnreadableFile + refusal + "Input/output error"};
}

const std::vector<Input> kInputs = {
    records("ShowFile", {"show", kInput}),
    reports("DecodeFile", {"decode", kInput}),
    reports("DecodeLast", {"decode", kInput, "--last", "1"}),
    reports("DecodeStatistics", {"decode", kInput, "--stats"}),
    {"DecodeFollow",
     {"decode", kInput, "--follow"},
     "nowhere: No such file or directory",
     "\"\": No such file or directory",
     "",
     kUnreadableFile + ": Input/output error"},
    description("DecodeLive", {"decode", "-", "--live", kInput}),
    description("DecodeNames", {"decode", "-", "--names", kInput}),
    store("MetricsStore", {"metrics", kInput}),
    store("MetricsMerge", {"metrics", "--merge", kInput, "-o", "sum.db"}),
    plain_input("PublishBatch", {"publish", kInput, "--store", "store.db"}),
    loaded_module("PublishModule", {"publish", "-", "--store", "store.db", "--plugin", kInput}),
    description("RunDescription", {"run", kInput, "--for", "0", "--store", "store.db"}),
    loaded_module("RunModule", {"run", kSmall, "--for", "0", "--store", "store.db", "--plugin", kInput}),
    description("CaptureDescription", {"capture", kInput, "-o", "records", "--store", "store.db"}),
    loaded_module("CaptureModule", {"capture", kSmall, "-o", "records", "--store", "store.db", "--plugin", kInput}),
    {"ValidateModule",
     {"validate", kInput},
     "nowhere: No such file or directory",
     "",
     "folder: this is not a module: it is not a regular file",
     ""},
};

class UnreadableInputTest : public testing::TestWithParam<Input> {
protected:
    UnreadableInputTest() { std::filesystem::create_directory(folder.path() / "folder"); }

    /** One line on standard error, nothing on standard output, nothing written. */
    void expect_refused(const std::string &input, const std::string &message) const {
        std::vector<std::string> arguments = GetParam().arguments;
        for (std::string &argument : arguments) {
            argument = argument == kInput ? input : argument;
        }

        const Outcome outcome = qorstat(arguments, isolate_in(folder));

        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "qorstat: " + message + "\n");
        EXPECT_EQ(folder.names(), std::vector<std::string>{"folder"});
    }

    const TemporaryFolder folder;
};

TEST_P(UnreadableInputTest, AMissingFileIsAnError) { expect_refused("nowhere", GetParam().missing); }

TEST_P(UnreadableInputTest, AnEmptyNameIsAnError) {
    if (!GetParam().empty_name.empty()) {
        expect_refused("", GetParam().empty_name);
    }
}

TEST_P(UnreadableInputTest, AFolderIsAnError) {
    if (!GetParam().folder.empty()) {
        expect_refused("folder", GetParam().folder);
    }
}

TEST_P(UnreadableInputTest, AFileThatCannotBeReadIsAnError) {
    if (!GetParam().unreadable.empty()) {
        expect_refused(kUnreadableFile, GetParam().unreadable);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryInput, UnreadableInputTest, testing::ValuesIn(kInputs),
                         [](const testing::TestParamInfo<Input> &input) { return input.param.name; });

} // namespace
