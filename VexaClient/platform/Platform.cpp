#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/Text.hpp>

#include <exception>

namespace vexa {

void Platform::log(std::string_view text) noexcept
{
    const HostCode scope{*this};
    try {
        constexpr std::string_view beginning = "VEXA: ";
        std::string line;
        line.reserve(beginning.size() + text.size());
        line += beginning;
        appendWithEscapes(line, text);
        writeLogLine(line);
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nowhere left to write to
    }
}

void Platform::logEscapedException(std::string_view what) noexcept
{
    try {
        throw;
    } catch (const std::exception& error) {
        log(joined({what, " threw: ", error.what()}));
    } catch (...) {
        log(joined({what, " threw something that is no std::exception"}));
    }
}

} // namespace vexa
