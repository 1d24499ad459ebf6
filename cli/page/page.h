/**
 * A page of HTML in one file, which a browser shows without a network: `qorstat report`, `qorstat compare --html`.
 *
 * The page has sections from top to bottom. What a section shows is data: a value of JSON that a script of the page
 * makes visible, and blocks of bytes for what is too much for JSON. Nothing of the data ever becomes markup or code:
 * JSON stands in it with every `<` escaped, blocks stand in base64, scripts show texts as text nodes alone, and the
 * page's policy lets the browser run no script but the page's own and make no request.
 *
 * To add a kind of section: a class or function here that fills a `PageSection`, and a script beside page.js that calls
 * `page.register(KIND, show)`; cli/CMakeLists.txt lists the scripts.
 */
#pragma once

#include <string>
#include <vector>

#include "cli/terminal/json_value.h"
#include "cli/terminal/output.h"

namespace cli {

/** A part of a page with a heading of its own. */
struct PageSection {
    std::string kind;    ///< the name that a script registered
    std::string heading; ///< UTF-8
    Json data;           ///< handed to the script; all texts in it UTF-8
};

/** Bytes for a script, such as the columns of a time line. */
struct PageBlock {
    std::string name;  ///< letters, digits and hyphens; unique in the page
    std::string bytes; ///< packed in the format of zlib
};

struct Page {
    std::string title; ///< UTF-8
    std::vector<PageSection> sections;
    std::vector<PageBlock> blocks;
};

/** Packs bytes for a `PageBlock`. @param level  of zlib, 1 (fast) to 9 (small). */
std::string pack_for_page(std::string_view bytes, int level);

/** @throws as `Output::write`; std::exception for a text that is not UTF-8. */
void write_page(Output &output, const Page &page);

} // namespace cli
