/** Reads the command line. */
#pragma once

#include <array>
#include <functional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "cli/arguments/declaration.h"

namespace cli {

/** A verb as the program lists it. Only the verbs that the command line names are declared. */
struct VerbEntry {
    const char *name;
    const char *summary;
    Verb (*declare)();
};

/** The program as a whole. All texts are literals. */
struct Program {
    const char *name;
    const char *summary;
    std::string (*version)(); ///< what `--version` prints, without the last newline
    std::span<const VerbEntry> verbs;
    const char *notes; ///< between the verbs and the examples of the program's help page
    std::array<const char *, 2> examples;
};

/** A text that a variable of the environment gave to an option, and that nothing has checked yet. */
struct TextOfVariable {
    std::string variable;
    std::string text;
};

/** The verb of a command line, with all its targets set. */
struct ChosenVerb {
    std::string name;
    std::vector<TextOfVariable> texts_of_variables;
    std::function<int()> run; ///< see Verb
};

/** What a command line asks for: a verb to run, or a text for standard output. */
using Request = std::variant<ChosenVerb, std::string>;

/** The variable of the environment that sets an option which has one: QORSTAT_TIME_ZONE of "--time-zone". */
std::string variable_of(const Program &program, const Argument &argument);

/** @throws WrongUse with the whole message, verb first. */
Request parse_command_line(const Program &program, int argc, const char *const *argv);

} // namespace cli
