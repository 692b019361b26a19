#include <host/tool/top/CursesScreen.hpp>

#include <langinfo.h>

#include <array>
#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

// The macros of the library have names such as move and erase.
#define NCURSES_NOMACROS 1
#ifndef NCURSES_WIDECHAR
#define NCURSES_WIDECHAR 1
#endif
#include <curses.h>

namespace vexa::host {

namespace {

constexpr short goodPair = 1;
constexpr short badPair = 2;
constexpr short chosenPair = 3;

constexpr wint_t controlL = 0x0C;
constexpr wint_t escapeCode = 0x1B;
constexpr wint_t deleteCode = 0x7F;
constexpr wint_t backspaceCode = 0x08;
constexpr wint_t firstPrintable = 0x20;

/// Sets the locale of the environment, or one with UTF-8 when the environment asks for a locale that the system has
/// not. Returns whether characters are written in UTF-8.
bool takeLocale()
{
    // Before there are other threads that could ask for the locale.
    // NOLINTBEGIN(concurrency-mt-unsafe)
    if (std::setlocale(LC_CTYPE, "") == nullptr && terminalTraits().hasUnicode) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
    return std::string_view{::nl_langinfo(CODESET)} == "UTF-8";
    // NOLINTEND(concurrency-mt-unsafe)
}

/// The colours of a pair as an attribute.
chtype colours(short pair)
{
    return static_cast<chtype>(COLOR_PAIR(pair));
}

chtype attributesOf(ScreenStyle style, bool hasColour)
{
    switch (style) {
    case ScreenStyle::plain:
        return A_NORMAL;
    case ScreenStyle::strong:
        return A_BOLD;
    case ScreenStyle::faint:
        return A_DIM;
    case ScreenStyle::bar:
        return A_REVERSE;
    case ScreenStyle::chosen:
        return hasColour ? colours(chosenPair) | A_BOLD : A_REVERSE | A_BOLD | A_UNDERLINE;
    case ScreenStyle::good:
        return hasColour ? colours(goodPair) : A_NORMAL;
    case ScreenStyle::bad:
        return hasColour ? colours(badPair) | A_BOLD : A_BOLD;
    }
    return A_NORMAL;
}

Key::Kind kindOf(wint_t code)
{
    switch (code) {
    case KEY_UP:
        return Key::Kind::up;
    case KEY_DOWN:
        return Key::Kind::down;
    case KEY_LEFT:
        return Key::Kind::left;
    case KEY_RIGHT:
        return Key::Kind::right;
    case KEY_PPAGE:
        return Key::Kind::pageUp;
    case KEY_NPAGE:
        return Key::Kind::pageDown;
    case KEY_HOME:
        return Key::Kind::home;
    case KEY_END:
        return Key::Kind::end;
    case KEY_ENTER:
        return Key::Kind::enter;
    case KEY_BACKSPACE:
    case KEY_DC:
        return Key::Kind::erase;
    default:
        return Key::Kind::other;
    }
}

} // namespace

struct CursesScreen::Terminal {
    SCREEN* screen = nullptr;
    bool hasColour = false;
};

CursesScreen::CursesScreen() : terminal_{std::make_unique<Terminal>()}, hasUnicode_{takeLocale()}
{
    terminal_->screen = ::newterm(nullptr, stdout, stdin);
    if (terminal_->screen == nullptr) {
        throw std::runtime_error{"the terminal cannot show a whole screen; set TERM to its kind, or use --once"};
    }
    ::cbreak();
    ::noecho();
    ::nonl();
    ::curs_set(0);
    ::keypad(stdscr, TRUE);
    ::nodelay(stdscr, TRUE);
    // A person who presses Escape does not want to wait for a second.
    ::set_escdelay(25);
    if (terminalTraits().hasColour && ::has_colors()) {
        terminal_->hasColour = true;
        ::start_color();
        ::use_default_colors();
        ::init_pair(goodPair, COLOR_GREEN, -1);
        ::init_pair(badPair, COLOR_RED, -1);
        ::init_pair(chosenPair, COLOR_BLACK, COLOR_CYAN);
    }
}

CursesScreen::~CursesScreen()
{
    ::endwin();
    ::delscreen(terminal_->screen);
}

TerminalSize CursesScreen::size() const
{
    return {static_cast<std::size_t>(::getmaxx(stdscr)), static_cast<std::size_t>(::getmaxy(stdscr))};
}

void CursesScreen::resize()
{
    const TerminalSize now = terminalSize();
    ::resizeterm(static_cast<int>(now.height), static_cast<int>(now.width));
    // The terminal may have wrapped or cut what was there.
    ::clearok(stdscr, TRUE);
}

void CursesScreen::draw(const std::vector<ScreenLine>& lines)
{
    ::werase(stdscr);
    const int height = ::getmaxy(stdscr);
    int row = 0;
    for (const ScreenLine& line : lines) {
        if (row == height) {
            break;
        }
        ::wmove(stdscr, row++, 0);
        for (const ScreenPiece& each : line) {
            ::wattrset(stdscr, static_cast<int>(attributesOf(each.style, terminal_->hasColour)));
            ::waddnstr(stdscr, each.text.data(), static_cast<int>(each.text.size()));
        }
    }
    ::wattrset(stdscr, static_cast<int>(A_NORMAL));
    ::wrefresh(stdscr);
}

std::optional<Key> CursesScreen::nextKey()
{
    wint_t code = 0;
    for (int kind = ::wget_wch(stdscr, &code); kind != ERR; kind = ::wget_wch(stdscr, &code)) {
        if (kind == KEY_CODE_YES) {
            return Key{kindOf(code), 0};
        }
        switch (code) {
        case controlL:
            ::clearok(::curscr, TRUE);
            continue;
        case escapeCode:
            return Key{Key::Kind::escape, 0};
        case deleteCode:
        case backspaceCode:
            return Key{Key::Kind::erase, 0};
        case '\r':
        case '\n':
            return Key{Key::Kind::enter, 0};
        default:
            return code < firstPrintable ? Key{Key::Kind::other, 0}
                                         : Key{Key::Kind::character, static_cast<char32_t>(code)};
        }
    }
    return std::nullopt;
}

} // namespace vexa::host
