#include <VexaClient/platform/Fatal.hpp>

#include <cstdio>
#include <cstdlib>

#include <syslog.h>

namespace vexa {

void fatal(std::string_view message) noexcept
{
    const int size = static_cast<int>(message.size());
    std::fprintf(stderr, "VEXA: %.*s\n", size, message.data());
    std::fflush(stderr);
    ::syslog(LOG_USER | LOG_CRIT, "VEXA: %.*s", size, message.data());
    std::abort();
}

} // namespace vexa
