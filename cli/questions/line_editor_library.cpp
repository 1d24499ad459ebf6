#include <array>
#include <bit>
#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

#include <histedit.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/questions/line_editor.h"
#include "host/error.h"
#include "host/utf8.h"

namespace cli {
namespace {

static_assert(sizeof(wchar_t) == 4, "a wide character holds any character");

constexpr wchar_t kReplacement = 0xFFFD;

wchar_t wide_character(std::string_view sequence) { return static_cast<wchar_t>(host::decode_utf8(sequence)); }

std::wstring wide(std::string_view text) {
    std::wstring characters;
    while (!text.empty()) {
        const std::size_t length = host::utf8_sequence_length(text);
        characters += length == 0 ? kReplacement : wide_character(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return characters;
}

std::string narrow(std::wstring_view characters) {
    std::string text;
    for (const wchar_t one : characters) {
        const auto character = std::bit_cast<std::uint32_t>(one);
        const auto tail = [character](unsigned shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
        if (character < 0x80) {
            text += static_cast<char>(character);
        } else if (character < 0x800) {
            text += {static_cast<char>(0xC0 | character >> 6), tail(0)};
        } else if (character < 0x10000) {
            text += {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
        } else {
            text += {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
        }
    }
    return text;
}

/** The number of bytes of the sequence that begins with this one; 1 for what begins none. */
std::size_t sequence_length(char first) {
    const auto marks = static_cast<std::size_t>(std::countl_one(static_cast<unsigned char>(first)));
    return 2 <= marks && marks <= 4 ? marks : 1;
}

bool continues_sequence(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

class LibraryEditor final : public LineEditor {
public:
    explicit LibraryEditor(LineEditorSurroundings surroundings) : _surroundings(std::move(surroundings)) {
        (void)std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe): the program has one thread here
        _editor.reset(el_init("qorstat", stdin, stdout, stderr));
        _history.reset(history_winit());
        if (!_editor || !_history) {
            throw host::Error("the terminal", "", "its lines cannot be edited");
        }
        HistEventW event{};
        history_w(_history.get(), &event, H_SETSIZE, kMostEntries);
        history_w(_history.get(), &event, H_SETUNIQUE, 1);
        el_wset(_editor.get(), EL_CLIENTDATA, this);
        el_wset(_editor.get(), EL_GETCFN, &LibraryEditor::read_character);
        el_set(_editor.get(), EL_PROMPT, &LibraryEditor::prompt_of);
        el_wset(_editor.get(), EL_EDITOR, L"emacs");
        el_wset(_editor.get(), EL_HIST, history_w, _history.get());
        el_wset(_editor.get(), EL_ADDFN, L"qorstat-complete", L"Completes a name", &LibraryEditor::press_tab);
        el_wset(_editor.get(), EL_BIND, L"\t", L"qorstat-complete", nullptr);
        el_wset(_editor.get(), EL_BIND, L"^R", L"em-inc-search-prev", nullptr);
        el_source(_editor.get(), nullptr); // the user's own bindings win
    }

    Result read(const std::string &prompt) override {
        _prompt = prompt;
        _is_interrupted = false;
        int count = 0;
        // Before the prompt is shown, or the terminal itself takes a Ctrl-D that answers it at once.
        el_set(_editor.get(), EL_PREP_TERM, 1);
        const wchar_t *const line = el_wgets(_editor.get(), &count);
        if (_is_interrupted) {
            std::fputs("^C\n", stdout);
            std::fflush(stdout);
            return {End::Interrupted, {}};
        }
        if (line == nullptr || count <= 0) {
            std::fputs("\n", stdout);
            std::fflush(stdout);
            return {End::EndOfInput, {}};
        }
        std::wstring_view text(line, static_cast<std::size_t>(count));
        if (text.ends_with(L'\n')) {
            text.remove_suffix(1);
        }
        return {End::Line, narrow(text)};
    }

    void remember(const std::string &entry) override {
        HistEventW event{};
        history_w(_history.get(), &event, H_ENTER, wide(entry).c_str());
    }

private:
    static constexpr int kMostEntries = 1000;

    struct Close {
        void operator()(EditLine *editor) const { el_end(editor); }
        void operator()(HistoryW *history) const { history_wend(history); }
    };

    static LibraryEditor &of(EditLine *editor) {
        void *self = nullptr;
        el_wget(editor, EL_CLIENTDATA, &self);
        return *static_cast<LibraryEditor *>(self);
    }

    static char *prompt_of(EditLine *editor) { return of(editor)._prompt.data(); }

    /** @return nothing at the end of the input and when a signal has come. */
    std::optional<char> read_byte() {
        if (_left) {
            return std::exchange(_left, std::nullopt);
        }
        for (;;) {
            std::array<pollfd, 2> ends{{{STDIN_FILENO, POLLIN, 0}, {_surroundings.interruption, POLLIN, 0}}};
            if (poll(ends.data(), ends.size(), -1) == -1) {
                continue; // a signal, which the second one tells of
            }
            if (ends[1].revents != 0) {
                _is_interrupted = true;
                return std::nullopt;
            }
            char byte = 0;
            const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
            if (count == 1) {
                return byte;
            }
            if (count == 0 || errno != EINTR) {
                return std::nullopt;
            }
        }
    }

    /** The library asks for each character here. @return how many were read; -1 ends the line. */
    static int read_character(EditLine *editor, wchar_t *character) {
        LibraryEditor &self = of(editor);
        const std::optional<char> first = self.read_byte();
        if (!first) {
            return self._is_interrupted ? -1 : 0;
        }
        std::string sequence(1, *first);
        const std::size_t length = sequence_length(*first);
        while (sequence.size() < length) {
            const std::optional<char> next = self.read_byte();
            if (!next) {
                return -1;
            }
            if (!continues_sequence(*next)) {
                self._left = next; // a key of its own
                break;
            }
            sequence += *next;
        }
        self.follow_size();
        *character = host::utf8_sequence_length(sequence) == length ? wide_character(sequence) : kReplacement;
        return 1;
    }

    /** Tells the library when the terminal has another size. */
    void follow_size() {
        winsize size{};
        if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && (size.ws_col != _columns || size.ws_row != _rows)) {
            _columns = size.ws_col;
            _rows = size.ws_row;
            el_resize(_editor.get());
        }
    }

    static unsigned char press_tab(EditLine *editor, int) {
        LibraryEditor &self = of(editor);
        const LineInfoW *const line = el_wline(editor);
        const std::wstring_view before(line->buffer, static_cast<std::size_t>(line->cursor - line->buffer));
        const TabEffect effect = self._surroundings.press_tab(narrow(before));
        if (!effect.listed.empty()) {
            std::fputs(("\n" + effect.listed).c_str(), stdout);
            std::fflush(stdout);
            return CC_REDISPLAY;
        }
        if (effect.inserted.empty()) {
            return CC_ERROR;
        }
        if (effect.erased > 0) {
            el_wdeletestr(editor, static_cast<int>(effect.erased));
        }
        el_winsertstr(editor, wide(effect.inserted).c_str());
        return CC_REFRESH;
    }

    LineEditorSurroundings _surroundings;
    std::unique_ptr<HistoryW, Close> _history;
    std::unique_ptr<EditLine, Close> _editor;
    std::string _prompt;
    bool _is_interrupted = false;
    std::optional<char> _left; ///< read behind a sequence that was not whole
    unsigned short _columns = 0;
    unsigned short _rows = 0;
};

std::unique_ptr<LineEditor> start(LineEditorSurroundings surroundings) {
    return std::make_unique<LibraryEditor>(std::move(surroundings));
}

} // namespace
} // namespace cli

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" constexpr cli::LineEditorLibrary qor_prompt_library = {.start = cli::start};
