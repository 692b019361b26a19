#include <host/tool/demo/ServiceProcess.hpp>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr int cannotRun = 127;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error{errno, std::generic_category(), what};
}

/// Becomes the service. Between fork() and here only what is safe in a signal handler may be called.
[[noreturn]] void becomeService(int output, pid_t parent, char* const* arguments)
{
    // An interrupt at the terminal is the demonstration's, which then ends the service in its turn.
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() == parent && ::dup2(output, STDOUT_FILENO) >= 0) {
        ::execv("/proc/self/exe", arguments);
    }
    ::_exit(cannotRun);
}

/// The first line that comes out of a file descriptor, without its end.
std::string readLine(int descriptor)
{
    std::string line;
    char next = 0;
    for (;;) {
        const ssize_t count = ::read(descriptor, &next, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count != 1 || next == '\n') {
            return line;
        }
        line.push_back(next);
    }
}

void waitFor(pid_t process)
{
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

ServiceProcess::ServiceProcess(std::size_t messagesPerTopic)
{
    std::array<std::string, 6> texts{"vexa",        "serve",           "--listen",
                                     "127.0.0.1:0", "--history-count", std::to_string(messagesPerTopic)};
    std::array<char*, texts.size() + 1> arguments{};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        arguments[i] = texts[i].data();
    }
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("pipe2");
    }
    const pid_t parent = ::getpid();
    id_ = ::fork();
    if (id_ == 0) {
        becomeService(ends[1], parent, arguments.data());
    }
    const int error = errno;
    ::close(ends[1]);
    const std::string line = id_ > 0 ? readLine(ends[0]) : std::string{};
    ::close(ends[0]);
    if (id_ < 0) {
        errno = error;
        fail("fork");
    }
    constexpr std::string_view beginning = "listening on ";
    if (!line.starts_with(beginning)) {
        ::kill(id_, SIGKILL);
        waitFor(id_);
        throw std::runtime_error{"the process of the service did not start"};
    }
    url_ = line.substr(beginning.size());
}

ServiceProcess::~ServiceProcess()
{
    ::kill(id_, SIGTERM);
    waitFor(id_);
}

} // namespace vexa::host
