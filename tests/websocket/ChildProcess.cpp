#include "ChildProcess.hpp"

#include <spawn.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vexa::host {

namespace {

void require(int error, const char* what)
{
    if (error != 0) {
        throw std::system_error{error, std::generic_category(), what};
    }
}

std::array<int, 2> makePipe()
{
    std::array<int, 2> ends{};
    require(::pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
    return ends;
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& folder)
{
    const auto [childInput, input] = makePipe();
    const auto [output, childOutput] = makePipe();
    input_ = input;
    output_ = output;

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, childInput, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, childOutput, STDOUT_FILENO);
    ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    std::vector<std::string> owned = arguments;
    std::vector<char*> pointers;
    for (std::string& each : owned) {
        pointers.push_back(each.data());
    }
    pointers.push_back(nullptr);
    const int error = ::posix_spawnp(&id_, pointers[0], &actions, nullptr, pointers.data(), ::environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(childInput);
    ::close(childOutput);
    if (error != 0) {
        ::close(input_);
        ::close(output_);
        require(error, pointers[0]);
    }
}

ChildProcess::~ChildProcess()
{
    ::close(input_);
    wait();
    ::close(output_);
}

std::string ChildProcess::readLine()
{
    std::string line;
    char next = 0;
    while (::read(output_, &next, 1) == 1 && next != '\n') {
        line.push_back(next);
    }
    return line;
}

void ChildProcess::write(std::string_view text)
{
    // A program that has ended is an error to throw, no reason to end as well.
    std::signal(SIGPIPE, SIG_IGN);
    while (!text.empty()) {
        const ssize_t count = ::write(input_, text.data(), text.size());
        require(count > 0 ? 0 : errno, "write");
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

int ChildProcess::wait()
{
    if (id_ > 0) {
        int status = 0;
        while (::waitpid(id_, &status, 0) < 0 && errno == EINTR) {
        }
        id_ = -1;
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return exitCode_;
}

} // namespace vexa::host
