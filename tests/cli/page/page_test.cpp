/** The page in one file: that data stays data. */
#include "cli/page/page.h"

#include <string>

#include <fcntl.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/page/page_texts.h"
#include "cli/terminal/output.h"
#include "host/file_descriptor.h"
#include "tests/cli/program.h"

using cli::Page;

namespace {

std::string written(const Page &page) {
    const cli_tests::TemporaryFolder folder;
    const std::string file = folder.file("page.html", "");
    const host::FileDescriptor descriptor(open(file.c_str(), O_WRONLY));
    cli::Output output(descriptor.get(), file);
    cli::write_page(output, page);
    output.flush();
    return cli_tests::content_of(file);
}

/** What stands between two texts. */
std::string between(const std::string &text, const std::string &start, const std::string &end) {
    const std::size_t begin = text.find(start) + start.size();
    return text.substr(begin, text.find(end, begin) - begin);
}

TEST(PageTest, NoTextOfTheDataEndsItsElement) {
    const std::string hostile = "</script><img src=x onerror=alert(1)><!--<script>&\"'\u2028";
    const std::string page = written({hostile, {{"kind", hostile, hostile}}, {}});

    EXPECT_EQ(page.find("<img"), std::string::npos);
    EXPECT_EQ(cli_tests::occurrences(page, "</script>"), 2u); // of the data and of the script
    const nlohmann::json contents =
        nlohmann::json::parse(between(page, "<script type=\"application/json\" id=\"contents\">", "</script>"));
    EXPECT_EQ(contents["title"], hostile);
    EXPECT_EQ(contents["sections"][0]["heading"], hostile);
    EXPECT_EQ(contents["sections"][0]["data"], hostile);
    EXPECT_EQ(between(page, "<title>", "</title>"),
              "&lt;/script>&lt;img src=x onerror=alert(1)>&lt;!--&lt;script>&amp;\"'\u2028");
}

TEST(PageTest, ATextThatReadsAsAPlaceOfThePageIsAText) {
    const std::string page = written({"{{script}}", {{"kind", "{{blocks}}", "{{style}}"}}, {}});
    EXPECT_EQ(between(page, "<title>", "</title>"), "{{script}}");
    EXPECT_EQ(cli_tests::occurrences(page, "<style>"), 1u);
    EXPECT_NE(page.find("\"{{blocks}}\""), std::string::npos);
}

TEST(PageTest, BlocksStandInBase64) {
    // The vectors of RFC 4648.
    const std::string page = written({"", {}, {{"a", "f"}, {"b", "fo"}, {"c", "foo"}, {"d", "foobar"}, {"e", ""}}});
    const auto block = [&](const std::string &name) {
        return between(page, "id=\"block-" + name + "\">", "</script>");
    };
    EXPECT_EQ(block("a"), "Zg==");
    EXPECT_EQ(block("b"), "Zm8=");
    EXPECT_EQ(block("c"), "Zm9v");
    EXPECT_EQ(block("d"), "Zm9vYmFy");
    EXPECT_EQ(block("e"), "");
}

TEST(PageTest, ThePolicyAllowsTheScriptAndTheStyleOfThePageAlone) {
    const std::string page = written({"title", {}, {}});
    EXPECT_EQ(between(page, "Content-Security-Policy\" content=\"", "\""),
              "default-src 'none'; script-src '" + std::string(cli::page_script().hash) + "'; style-src '" +
                  std::string(cli::page_style().hash) + "'; base-uri 'none'; form-action 'none'");
    EXPECT_EQ(between(page, "<style>", "</style>"), cli::page_style().text);
    EXPECT_EQ(cli::page_frame().text.find("src="), std::string::npos);
    EXPECT_EQ(cli::page_frame().text.find("://"), std::string::npos);
}

} // namespace
