#include <host/tool/serve/FileDescriptors.hpp>

#include <sys/resource.h>

namespace vexa::host {

std::uint64_t raiseFileDescriptorLimit() noexcept
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 0;
    }
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before;
}

} // namespace vexa::host
