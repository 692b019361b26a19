#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/Text.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <syslog.h>

namespace vexa {

void fatal(std::string_view message) noexcept
{
    const std::string line = joined({"VEXA: ", message});
    std::fputs((line + "\n").c_str(), stderr);
    std::fflush(stderr);
    ::syslog(LOG_USER | LOG_CRIT, "%s", line.c_str());
    std::abort();
}

} // namespace vexa
