#include <bench/roads/shared/ChildProcess.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vexa::bench {

namespace {

/// A copy of this process that dies with it. Throws std::runtime_error when there can be none.
pid_t forkBound()
{
    const pid_t parent = ::getpid();
    const pid_t process = ::fork();
    if (process < 0) {
        throw std::runtime_error{"no process could be made"};
    }
    if (process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        // The parent may have died before it could be followed.
        if (::getppid() != parent) {
            ::_exit(1);
        }
    }
    return process;
}

} // namespace

ChildProcess ChildProcess::running(const std::function<void()>& body)
{
    const pid_t process = forkBound();
    if (process == 0) {
        try {
            body();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "sender: %s\n", error.what());
            ::_exit(1);
        }
        ::_exit(0);
    }
    return ChildProcess{process};
}

ChildProcess ChildProcess::program(const std::vector<std::string>& command, int output)
{
    std::vector<std::string> words{command};
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const pid_t process = forkBound();
    if (process == 0) {
        ::dup2(output, STDOUT_FILENO);
        ::execvp(arguments.front(), arguments.data());
        std::fprintf(stderr, "%s cannot be run\n", arguments.front());
        constexpr int commandNotFound = 127;
        ::_exit(commandNotFound);
    }
    return ChildProcess{process};
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : process_{std::exchange(other.process_, 0)} {}

ChildProcess::~ChildProcess()
{
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
}

void ChildProcess::check()
{
    int status = 0;
    if (process_ > 0 && ::waitpid(process_, &status, WNOHANG) == process_) {
        process_ = 0;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            throw std::runtime_error{"a process that was needed has ended"};
        }
    }
}

int ChildProcess::wait()
{
    constexpr int codeOfSignals = 128;
    int status = 0;
    if (::waitpid(std::exchange(process_, 0), &status, 0) < 0) {
        throw std::runtime_error{"a process cannot be waited for"};
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : codeOfSignals + WTERMSIG(status);
}

} // namespace vexa::bench
