#include <host/tool/display/Terminal.hpp>

#include <cerrno>
#include <cstdlib>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

namespace vexa::host {

namespace {

std::string_view environment(const char* name)
{
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody sets variables here
    return value != nullptr ? value : std::string_view{};
}

/// The locale that decides about characters, in the order in which the C library asks for it.
std::string_view characterLocale()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE"}) {
        if (const auto value = environment(name); !value.empty()) {
            return value;
        }
    }
    return environment("LANG");
}

bool isUtf8(std::string_view locale)
{
    return locale.find("UTF-8") != std::string_view::npos || locale.find("utf8") != std::string_view::npos ||
           locale.find("UTF8") != std::string_view::npos || locale.find("utf-8") != std::string_view::npos;
}

} // namespace

TerminalTraits terminalTraits()
{
    const std::string_view kind = environment("TERM");
    TerminalTraits traits;
    traits.isTerminal = ::isatty(STDOUT_FILENO) == 1 && !kind.empty() && kind != "dumb";
    traits.hasColour = traits.isTerminal && environment("NO_COLOR").empty();
    traits.hasUnicode = isUtf8(characterLocale());
    return traits;
}

TerminalSize terminalSize()
{
    TerminalSize size;
    winsize window{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0) {
        size.width = window.ws_col;
        size.height = window.ws_row;
    }
    return size;
}

void writeToTerminal(std::string_view text) noexcept
{
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace vexa::host
