#include "cli/questions/prompt_session.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>

#include "cli/questions/query_engine.h"
#include "cli/terminal/columns.h"
#include "host/error.h"
#include "host/nearest_word.h"

namespace cli {
namespace {

constexpr const char *kPrompt = "qorstat> ";
constexpr const char *kContinued = "    ...> ";

/** The most names that Tab lists. */
constexpr std::size_t kMostListed = 200;

struct Command {
    std::string_view name;
    std::string_view arguments;
    std::string_view meaning;
};

constexpr std::array<Command, 5> kCommands = {{
    {".format", "[FORMAT]", "shows or chooses the form of answers"},
    {".help", "", "shows this"},
    {".quit", "", "ends the session, as Ctrl-D does"},
    {".schema", "[TABLE]", "shows the columns of a table or view, or of all, with their meaning"},
    {".tables", "", "shows the tables and views"},
}};

std::string help_text() {
    std::vector<std::vector<std::string>> rows;
    for (const Command &command : kCommands) {
        std::string usage(command.name);
        usage += command.arguments.empty() ? "" : " " + std::string(command.arguments);
        rows.push_back({usage, std::string(command.meaning)});
    }
    std::string text;
    for (const std::string &line : align_rows(rows, {Align::Left, Align::Left})) {
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text + "A statement ends with a semicolon and may have several lines. Tab completes names. Ctrl-C ends\n"
                  "the statement that runs, or clears the one that is entered.\n";
}

std::string trimmed(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\n");
    const std::size_t end = text.find_last_not_of(" \t\n");
    return start == std::string_view::npos ? "" : std::string(text.substr(start, end - start + 1));
}

/** As one line, which is easier to edit again, unless a comment would swallow what follows it. */
std::string as_entry(std::string statement) {
    if (statement.find("--") == std::string::npos) {
        std::replace(statement.begin(), statement.end(), '\n', ' ');
    }
    return statement;
}

void report(const host::Error &error) { print_message(std::string("qorstat: ") + error.what()); }

class Session {
public:
    Session(PromptSubject subject, const PromptHistory &history, Output &output, Interruption &interruption,
            const StartsEditor &starts_editor)
        : _subject(std::move(subject)), _history(history), _output(output), _interruption(interruption) {
        for (const Command &command : kCommands) {
            _subject.names.commands.emplace_back(command.name);
        }
        _editor =
            starts_editor({interruption.descriptor(), [this](std::string_view before) { return press_tab(before); }});
        try {
            for (const std::string &entry : history.load()) {
                _editor->remember(entry);
            }
        } catch (const host::Error &error) {
            report(error);
        }
    }

    /** @return the signal that ended it; 0 for none. */
    int run() {
        while (!_has_quit) {
            const LineEditor::Result result = _editor->read(_statement.empty() ? kPrompt : kContinued);
            if (result.end == LineEditor::End::EndOfInput) {
                return 0;
            }
            if (result.end == LineEditor::End::Line) {
                take(result.line);
            } else {
                _statement.clear();
            }
            if (const int signal = _interruption.take_signal(); signal != 0 && signal != SIGINT) {
                return signal;
            }
        }
        return 0;
    }

private:
    void take(const std::string &line) {
        if (const std::string command = trimmed(line); _statement.empty()) {
            if (command.empty()) {
                return;
            }
            if (command.front() == '.') {
                remember(command);
                attempt([&] { obey(command); });
                return;
            }
        }
        _statement += (_statement.empty() ? "" : "\n") + line;
        if (QueryEngine::is_complete(_statement)) {
            const std::string statement = trimmed(std::exchange(_statement, {}));
            remember(as_entry(statement));
            attempt([&] { _subject.answer(statement); });
        }
    }

    /** What fails is told, and the session goes on. */
    template <typename Work>
    void attempt(const Work &work) {
        try {
            work();
            _output.flush();
        } catch (const host::Error &error) {
            report(error);
        } catch (const Interrupted &) {
            print_message("qorstat: interrupted");
        }
    }

    void remember(const std::string &entry) {
        _editor->remember(entry);
        try {
            _history.add(entry);
        } catch (const host::Error &error) {
            if (!std::exchange(_has_lost_history, true)) {
                report(error);
            }
        }
    }

    void obey(const std::string &line) {
        const std::vector<std::string> words = words_of(line);
        const std::string &command = words.front();
        const std::string argument = words.size() > 1 ? words[1] : "";
        const auto known =
            std::find_if(kCommands.begin(), kCommands.end(), [&](const Command &one) { return one.name == command; });
        if (known == kCommands.end()) {
            throw host::Error("", "",
                              "no command " + host::in_quotes(command) + suggestion(command) + "; .help shows all");
        }
        if (words.size() > (known->arguments.empty() ? 1U : 2U)) {
            throw host::Error("", "", command + ": unexpected argument " + host::in_quotes(words.back()));
        }
        if (command == ".quit") {
            _has_quit = true;
        } else if (command == ".help") {
            _output.write(help_text());
        } else if (command == ".tables") {
            write_names();
        } else if (command == ".schema") {
            _output.write(_subject.describe(argument));
        } else {
            choose_format(argument);
        }
    }

    static std::string suggestion(const std::string &command) {
        std::vector<std::string_view> names;
        for (const Command &one : kCommands) {
            names.push_back(one.name);
        }
        return host::suggestion(command, names);
    }

    void write_names() {
        std::vector<std::string> names;
        for (const OfferedTable &table : _subject.names.tables) {
            names.push_back(table.name);
        }
        for (const std::string &line : wrap_words(names, "", _output.style().columns)) {
            _output.write(line + "\n");
        }
    }

    void choose_format(const std::string &format) {
        const std::vector<std::string> &formats = _subject.names.formats;
        std::string all;
        for (const std::string &one : formats) {
            all += (all.empty() ? "" : ", ") + one;
        }
        if (format.empty()) {
            _output.write("one of " + all + "\n");
        } else if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
            throw host::Error("", "", "no format " + host::in_quotes(format) + ": expected one of " + all);
        } else {
            _subject.choose_format(format);
        }
    }

    TabEffect press_tab(std::string_view line) const {
        const std::string before = _statement.empty() ? std::string(line) : _statement + "\n" + std::string(line);
        const TabChoices found = find_choices(before, _subject.names);
        if (found.choices.empty()) {
            return {};
        }
        const std::string common = common_start(found.choices);
        if (found.choices.size() == 1) {
            return {found.typed, common + (common.ends_with('(') ? "" : " "), {}};
        }
        if (common.size() > found.typed) {
            return {found.typed, common, {}};
        }
        return {0, {}, listing(found.choices)};
    }

    std::string listing(std::vector<std::string> choices) const {
        const std::size_t left_out = choices.size() - std::min(choices.size(), kMostListed);
        choices.resize(choices.size() - left_out);
        std::string text;
        for (const std::string &line : wrap_words(choices, "", style_for(STDOUT_FILENO).columns - 1)) {
            text += line + "\n";
        }
        return text + (left_out == 0 ? "" : "and " + std::to_string(left_out) + " more\n");
    }

    PromptSubject _subject;
    const PromptHistory &_history;
    Output &_output;
    Interruption &_interruption;
    std::unique_ptr<LineEditor> _editor;
    std::string _statement; ///< what was entered of it so far
    bool _has_quit = false;
    bool _has_lost_history = false;
};

} // namespace

int hold_session(PromptSubject subject, const PromptHistory &history, Output &output, Interruption &interruption,
                 const StartsEditor &starts_editor) {
    return Session(std::move(subject), history, output, interruption, starts_editor).run();
}

} // namespace cli
