#include <host/tool/client/SignalFile.hpp>

#include <cerrno>
#include <csignal>
#include <system_error>

#include <sys/signalfd.h>
#include <unistd.h>

namespace vexa::host {

SignalFile::SignalFile(std::initializer_list<int> signals)
{
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : signals) {
        ::sigaddset(&set, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    descriptor_ = ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        throw std::system_error{errno, std::generic_category(), "signalfd"};
    }
}

SignalFile::~SignalFile()
{
    ::close(descriptor_);
}

std::optional<int> SignalFile::take()
{
    signalfd_siginfo information{};
    if (::read(descriptor_, &information, sizeof information) != sizeof information) {
        return std::nullopt;
    }
    return static_cast<int>(information.ssi_signo);
}

} // namespace vexa::host
