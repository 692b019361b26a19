#include <host/tool/completion/CompletionScripts.hpp>

namespace vexa::host {

std::string shellQuoted(std::string_view text)
{
    std::string quoted = "'";
    for (const char each : text) {
        if (each == '\'') {
            quoted += "'\\''";
        } else {
            quoted += each;
        }
    }
    return quoted + "'";
}

std::string fishQuoted(std::string_view text)
{
    std::string quoted = "'";
    for (const char each : text) {
        if (each == '\'' || each == '\\') {
            quoted += '\\';
        }
        quoted += each;
    }
    return quoted + "'";
}

} // namespace vexa::host
