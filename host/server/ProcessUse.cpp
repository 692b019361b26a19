#include <host/server/ProcessUse.hpp>

#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

namespace vexa::host {

std::optional<ProcessUse> processUse()
{
    std::ifstream file{"/proc/self/statm"};
    std::uint64_t allPages = 0;
    std::uint64_t residentPages = 0;
    rusage usage{};
    if (!(file >> allPages >> residentPages) || ::getrusage(RUSAGE_SELF, &usage) != 0) {
        return std::nullopt;
    }
    const auto pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return ProcessUse{allPages * pageSize, residentPages * pageSize, seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

} // namespace vexa::host
