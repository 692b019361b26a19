#pragma once

#include <host/tool/display/Terminal.hpp>
#include <host/tool/top/ScreenText.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace vexa::host {

/// The terminal at the standard output as a whole screen, with its keys at the standard input. The terminal is as it
/// was before once the object is gone. For one thread, and one such object at a time.
///
/// Signals are the caller's: end the object when one ends the process, and call resize() at SIGWINCH.
class CursesScreen {
public:
    /// Takes the terminal, and the locale of the environment for the process's characters. Throws std::runtime_error,
    /// with a sentence that says what to do, when the terminal cannot be used so.
    CursesScreen();
    ~CursesScreen();
    CursesScreen(const CursesScreen&) = delete;
    CursesScreen& operator=(const CursesScreen&) = delete;

    /// Whether characters outside ASCII can be shown.
    [[nodiscard]] bool hasUnicode() const noexcept { return hasUnicode_; }

    [[nodiscard]] TerminalSize size() const;

    /// The terminal has another size now.
    void resize();

    /// Shows the lines from the top on; what is beyond the screen is left out.
    void draw(const std::vector<ScreenLine>& lines);

    /// The next key that has been pressed; nothing when there is none. Ctrl-L is not among them: it makes the next
    /// draw() write the whole screen.
    [[nodiscard]] std::optional<Key> nextKey();

private:
    struct Terminal;

    std::unique_ptr<Terminal> terminal_;
    bool hasUnicode_ = false;
};

} // namespace vexa::host
