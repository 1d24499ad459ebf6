/** The parts of the page that are the same in every one. The build makes them of the files beside this one. */
#pragma once

#include <string_view>

namespace cli {

struct PageText {
    std::string_view text; ///< UTF-8; valid as long as the program runs
    std::string_view hash; ///< as a content security policy names it: "sha256-" and base64
};

/** The page around its contents: page.html, with names in double braces where the contents stand. */
PageText page_frame();
/** All style sheets. */
PageText page_style();
/** All scripts. */
PageText page_script();

} // namespace cli
