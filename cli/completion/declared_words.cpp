#include "cli/completion/declared_words.h"

#include <algorithm>
#include <functional>
#include <set>
#include <span>
#include <string_view>
#include <variant>

#include "qor/categories.h"

namespace cli {
namespace {

/** In the order of the alphabet, each once. */
using Names = std::set<std::string>;

void add_names(Names &names, std::span<const qor::NamedId> table) {
    for (const qor::NamedId &row : table) {
        names.emplace(row.name);
    }
}

Names names_of_categories(const std::function<void(Names &, const qor::Category &)> &add) {
    Names names;
    for (const qor::Category &category : qor::kCategories) {
        add(names, category);
    }
    return names;
}

void add_events(Names &names, const qor::Category &category) {
    add_names(names, category.events);
    for (const qor::ComponentEvents &events : category.events_of_components) {
        add_names(names, events.names);
    }
}

Names names_of_types() {
    Names names;
    for (const qor::Type &type : qor::kTypes) {
        names.emplace(type.name);
    }
    return names;
}

/** In the order of the help page. */
std::vector<std::string> names_of_verbs(const Program &program) {
    std::vector<std::string> names;
    for (const VerbEntry &entry : program.verbs) {
        names.emplace_back(entry.name);
    }
    return names;
}

std::vector<std::string> names_of_kind(const Program &program, ValueKind kind) {
    if (kind == ValueKind::Verb) {
        return names_of_verbs(program);
    }
    Names names;
    if (kind == ValueKind::Category) {
        names = names_of_categories([](Names &all, const qor::Category &category) { all.emplace(category.name); });
    } else if (kind == ValueKind::Component) {
        names =
            names_of_categories([](Names &all, const qor::Category &category) { add_names(all, category.components); });
    } else if (kind == ValueKind::Event) {
        names = names_of_categories(add_events);
    } else if (kind == ValueKind::Type) {
        names = names_of_types();
    }
    return {names.begin(), names.end()};
}

bool takes_many(const Argument &argument) {
    return std::holds_alternative<std::vector<std::string> *>(argument.target);
}

Completion completion_of(const Argument &argument) {
    if (std::holds_alternative<bool *>(argument.target) || argument.has_value_or_none) {
        return Completion::Flag;
    }
    if (std::holds_alternative<OneOfWords>(argument.target)) {
        return Completion::Words;
    }
    switch (argument.kind) {
    case ValueKind::File:
        return Completion::Files;
    case ValueKind::Folder:
        return Completion::Folders;
    case ValueKind::Other:
        return Completion::Text;
    default:
        return takes_many(argument) ? Completion::WordList : Completion::Words;
    }
}

std::vector<std::string> names_of(const Argument &argument) {
    std::vector<std::string> names = {argument.name};
    if (*argument.short_name != '\0') {
        names.insert(names.begin(), argument.short_name);
    }
    return names;
}

/** Whether the two may not stand beside each other; either may say so. */
bool exclude_each_other(const Argument &one, const Argument &other) {
    return one.excludes == std::string_view(other.name) || other.excludes == std::string_view(one.name);
}

DeclaredWord declared_word(const Program &program, const std::vector<Argument> &all, const Argument &argument) {
    DeclaredWord word{.names = names_of(argument),
                      .value_name = argument.value_name,
                      .help = replace_all(argument.help, "\n", " "),
                      .completion = completion_of(argument),
                      .words = {},
                      .ending = "",
                      .may_be_repeated = takes_many(argument),
                      .excluded = {}};
    if (const auto *const closed = std::get_if<OneOfWords>(&argument.target)) {
        word.words = closed->words;
    } else if (word.completion == Completion::Words || word.completion == Completion::WordList) {
        word.words = names_of_kind(program, argument.kind);
    }
    const std::string &name = word.value_name.empty() ? word.names.back() : word.value_name;
    if (const std::size_t ending = name.find('.');
        word.completion == Completion::Files && ending != std::string::npos && name.substr(ending) != "...") {
        word.ending = name.substr(ending);
    }
    for (const Argument &other : all) {
        if (exclude_each_other(argument, other)) {
            const std::vector<std::string> names = names_of(other);
            word.excluded.insert(word.excluded.end(), names.begin(), names.end());
        }
    }
    return word;
}

DeclaredWord flag(std::vector<std::string> names, std::string help) {
    return {.names = std::move(names),
            .value_name = "",
            .help = std::move(help),
            .completion = Completion::Flag,
            .words = {},
            .ending = "",
            .may_be_repeated = false,
            .excluded = {}};
}

/** Accepted by every verb, and declared by none. */
DeclaredWord help_flag() { return flag({"-h", "--help"}, "Print this help and exit"); }

} // namespace

std::vector<DeclaredVerbWords> declared_words(const Program &program) {
    std::vector<DeclaredVerbWords> verbs;
    for (const VerbEntry &entry : program.verbs) {
        const Verb declared = entry.declare();
        DeclaredVerbWords verb{entry.name, entry.summary, {}, {}};
        for (const Argument &argument : declared.arguments) {
            if (!argument.is_internal) {
                (*argument.name == '-' ? verb.options : verb.places)
                    .push_back(declared_word(program, declared.arguments, argument));
            }
        }
        verb.options.push_back(help_flag());
        verbs.push_back(std::move(verb));
    }
    return verbs;
}

std::vector<DeclaredWord> options_of_program() {
    return {help_flag(), flag({"-V", "--version"}, "Print the version and exit")};
}

std::string replace_all(std::string text, const std::string &what, const std::string &by) {
    for (std::size_t place = text.find(what); place != std::string::npos; place = text.find(what, place + by.size())) {
        text.replace(place, what.size(), by);
    }
    return text;
}

} // namespace cli
