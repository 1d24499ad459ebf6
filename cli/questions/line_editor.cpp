#include "cli/questions/line_editor.h"

#include <utility>

#include "host/shared_library.h"

namespace cli {

std::unique_ptr<LineEditor> start_line_editor(LineEditorSurroundings surroundings) {
    return host::own_library<LineEditorLibrary>("libqorprompt.so", "qor_prompt_library").start(std::move(surroundings));
}

} // namespace cli
