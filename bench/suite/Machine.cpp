#include <bench/suite/Machine.hpp>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <sys/utsname.h>
#include <unistd.h>

namespace vexa::bench {

namespace {

std::string processorName()
{
    std::ifstream file{"/proc/cpuinfo"};
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown";
}

std::string kernelName()
{
    utsname names{};
    return ::uname(&names) == 0 ? std::string{names.release} : "unknown";
}

/// How many threads have wanted a processor, over the last minute.
double load()
{
    double average = 0;
    std::ifstream{"/proc/loadavg"} >> average;
    return average;
}

} // namespace

Dictionary machine()
{
    return {{"processor", processorName()},
            {"processors", std::thread::hardware_concurrency()},
            {"kernel", kernelName()},
            {"load", load()},
            {"memoryBytes", static_cast<std::int64_t>(::sysconf(_SC_PHYS_PAGES)) * ::sysconf(_SC_PAGE_SIZE)}};
}

} // namespace vexa::bench
