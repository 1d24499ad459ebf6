/** The prompt at which questions are asked, one after another. */
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "cli/questions/line_editor.h"
#include "cli/questions/prompt_history.h"
#include "cli/questions/tab_choices.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"

namespace cli {

/** What the prompt asks and shows. The functions end early, with what they throw, when the interruption is requested.
 */
struct PromptSubject {
    OfferedNames names; ///< without commands, which the prompt adds
    /** Prints the answer of a statement. @throws host::Error, Interrupted, ReaderHasGone. */
    std::function<void(const std::string &statement)> answer;
    /** The columns of a table with their meaning, as lines; of all for an empty name. @throws host::Error. */
    std::function<std::string(const std::string &table)> describe;
    /** Chooses the form of answers, one of `names.formats`. */
    std::function<void(const std::string &format)> choose_format;
};

/** Makes the line editor once its surroundings are known. */
using StartsEditor = std::function<std::unique_ptr<LineEditor>(LineEditorSurroundings)>;

/**
 * Reads statements, which end with a semicolon and may have several lines, and commands, which begin with a dot, until
 * `.quit`, the end of the input, or a signal other than SIGINT. SIGINT ends the statement that is answered, or clears
 * the one that is entered. What fails is one message, and the session goes on.
 * @param output  for what commands show.
 * @return the signal that ended it; 0 for none.
 */
int hold_session(PromptSubject subject, const PromptHistory &history, Output &output, Interruption &interruption,
                 const StartsEditor &starts_editor = start_line_editor);

} // namespace cli
