#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace vexa::host {

/// The tool as a process of its own on a terminal of its own, of the kind xterm, in UTF-8. It is killed with the
/// object.
class PseudoTerminal {
public:
    /// Runs `vexa` with these arguments.
    PseudoTerminal(std::vector<std::string> arguments, unsigned short columns, unsigned short lines);
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// Reads what is written to the terminal until `text` has come since the last call. Returns whether it has, which
    /// it has not when the process ends first.
    [[nodiscard]] bool await(std::string_view text);

    /// What is left of what is written to the terminal; its end is the end of the process.
    [[nodiscard]] std::string readAll();

    void press(std::string_view keys) const;
    void resize(unsigned short columns, unsigned short lines) const;
    void signal(int number) const;

    /// Whether the terminal collects lines and shows what is typed, as shells leave it to programs.
    [[nodiscard]] bool isOrdinary() const;

    /// Waits for its end and returns its exit code; 128 and the signal when a signal ended it.
    int wait();

private:
    /// Reads one piece; returns whether there was one.
    bool read();

    pid_t process_ = -1;
    int terminal_ = -1;
    std::string unread_;
};

} // namespace vexa::host
