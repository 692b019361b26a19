#include "PseudoTerminal.hpp"

#include <pty.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <stdexcept>

#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace vexa::host {

PseudoTerminal::PseudoTerminal(std::vector<std::string> arguments, unsigned short columns, unsigned short lines)
{
    arguments.insert(arguments.begin(),
                     {"/usr/bin/env", "-u", "LINES", "-u", "COLUMNS", "TERM=xterm", "LC_ALL=C.UTF-8", VEXA_TOOL});
    std::vector<char*> pointers;
    for (std::string& each : arguments) {
        pointers.push_back(each.data());
    }
    pointers.push_back(nullptr);
    winsize size{lines, columns, 0, 0};
    process_ = ::forkpty(&terminal_, nullptr, nullptr, &size);
    if (process_ < 0) {
        throw std::runtime_error{"a pseudo-terminal could not be made"};
    }
    if (process_ == 0) {
        ::execv(pointers[0], pointers.data());
        ::_exit(127);
    }
}

PseudoTerminal::~PseudoTerminal()
{
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        wait();
    }
    ::close(terminal_);
}

bool PseudoTerminal::read()
{
    std::array<char, 4096> piece{};
    ssize_t count = 0;
    do {
        count = ::read(terminal_, piece.data(), piece.size());
    } while (count < 0 && errno == EINTR);
    if (count <= 0) {
        return false;
    }
    unread_.append(piece.data(), static_cast<std::size_t>(count));
    return true;
}

bool PseudoTerminal::await(std::string_view text)
{
    std::size_t place = unread_.find(text);
    while (place == std::string::npos && read()) {
        place = unread_.find(text);
    }
    if (place == std::string::npos) {
        return false;
    }
    unread_.erase(0, place + text.size());
    return true;
}

std::string PseudoTerminal::readAll()
{
    while (read()) {
    }
    return unread_;
}

void PseudoTerminal::press(std::string_view keys) const
{
    if (::write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        throw std::runtime_error{"nobody takes the keys"};
    }
}

void PseudoTerminal::resize(unsigned short columns, unsigned short lines) const
{
    const winsize size{lines, columns, 0, 0};
    ::ioctl(terminal_, TIOCSWINSZ, &size);
}

void PseudoTerminal::signal(int number) const
{
    ::kill(process_, number);
}

bool PseudoTerminal::isOrdinary() const
{
    termios settings{};
    return ::tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ICANON) != 0 &&
           (settings.c_lflag & ECHO) != 0 && (settings.c_oflag & ONLCR) != 0;
}

int PseudoTerminal::wait()
{
    constexpr int exitCodeOfSignals = 128;
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : exitCodeOfSignals + WTERMSIG(status);
}

} // namespace vexa::host
