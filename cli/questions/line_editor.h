/** The line editor of the prompt: the seam to the library that has it, which is loaded when there is a prompt. */
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/** What the Tab key does. */
struct TabEffect {
    std::size_t erased = 0; ///< so many characters before the cursor are replaced; they are ASCII
    std::string inserted;   ///< by this
    std::string listed;     ///< lines to show below, each with a newline; empty for none
};

/** Reads lines from the terminal of standard input, with history. One thread at a time. */
class LineEditor {
public:
    enum class End { Line, Interrupted, EndOfInput };

    struct Result {
        End end;
        std::string line; ///< for `Line`: UTF-8, without a newline at its end
    };

    virtual ~LineEditor() = default;

    /** Waits until a line is entered, a signal comes, or the input ends. A line that is left is lost. */
    virtual Result read(const std::string &prompt) = 0;

    /** Adds an entry to the history, as the newest. */
    virtual void remember(const std::string &entry) = 0;
};

/** What a line editor needs of the program. */
struct LineEditorSurroundings {
    int interruption = -1; ///< a descriptor that is readable once a signal has come
    /** @param before  the line up to the cursor. */
    std::function<TabEffect(std::string_view before)> press_tab;
};

/** What `libqorprompt.so` exports. */
struct LineEditorLibrary {
    /** @throws host::Error when the terminal cannot be used. */
    std::unique_ptr<LineEditor> (*start)(LineEditorSurroundings surroundings);
};

/** @throws host::Error also when the library cannot be loaded. */
std::unique_ptr<LineEditor> start_line_editor(LineEditorSurroundings surroundings);

} // namespace cli

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" const cli::LineEditorLibrary qor_prompt_library;
