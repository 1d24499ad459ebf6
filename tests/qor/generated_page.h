/** Pages of docs/ whose tables are those of qor/. */
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include <gtest/gtest.h>

namespace generated_page {

/**
 * Holds the tables of a page against the given ones, or writes them when QOR_RENEW_GOLDEN is 1 in the environment. A
 * table stands between the lines "<!-- table: NAME -->" and "<!-- end -->".
 */
inline void expect_tables(const std::string &path, const std::map<std::string, std::string> &tables) {
    std::ifstream file(path);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    std::string expected = page;
    for (const auto &[name, table] : tables) {
        const std::string begin = "<!-- table: " + name + " -->\n";
        const std::size_t start = expected.find(begin);
        ASSERT_NE(start, std::string::npos) << "the page has no place for the table " << name;
        const std::size_t end = expected.find("<!-- end -->", start);
        ASSERT_NE(end, std::string::npos) << "the table " << name << " does not end";
        expected.replace(start + begin.size(), end - start - begin.size(), "\n" + table + "\n");
    }
    if (const char *renews = std::getenv("QOR_RENEW_GOLDEN"); renews != nullptr && std::string(renews) == "1") {
        std::ofstream(path) << expected;
    } else {
        EXPECT_EQ(page, expected);
    }
}

} // namespace generated_page
