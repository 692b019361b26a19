#include <bench/roads/shared/Usage.hpp>

#include <malloc.h>

#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string>

namespace vexa::bench {

namespace {

double secondsOf(clockid_t clock)
{
    timespec time{};
    if (clock_gettime(clock, &time) != 0) {
        throw std::runtime_error{"a clock cannot be read"};
    }
    constexpr double nanosecond = 1e-9;
    return static_cast<double>(time.tv_sec) + nanosecond * static_cast<double>(time.tv_nsec);
}

std::uint64_t bytesAt(const std::string& line, const std::string& name)
{
    constexpr std::uint64_t bytesPerKibibyte = 1024;
    return line.starts_with(name) ? std::stoull(line.substr(name.size())) * bytesPerKibibyte : 0;
}

} // namespace

TimeUsage TimeUsage::now()
{
    return {secondsOf(CLOCK_MONOTONIC), secondsOf(CLOCK_PROCESS_CPUTIME_ID)};
}

MemoryUsage MemoryUsage::now()
{
    MemoryUsage memory;
    std::ifstream status{"/proc/self/status"};
    for (std::string line; std::getline(status, line);) {
        memory.resident += bytesAt(line, "VmRSS:");
        memory.residentPeak += bytesAt(line, "VmHWM:");
    }
    if (memory.resident == 0 || memory.residentPeak == 0) {
        throw std::runtime_error{"/proc/self/status does not tell of the memory"};
    }
    const auto info = mallinfo2();
    memory.allocated = info.uordblks + info.hblkhd;
    return memory;
}

Dictionary asDictionary(const MemoryUsage& memory)
{
    return {{"resident", memory.resident}, {"residentPeak", memory.residentPeak}, {"allocated", memory.allocated}};
}

} // namespace vexa::bench
