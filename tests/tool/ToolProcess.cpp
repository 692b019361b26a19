#include "ToolProcess.hpp"

#include <spawn.h>

#include <array>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace vexa::host {

namespace {

using Pipe = std::array<int, 2>;

Pipe makePipe()
{
    Pipe pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error{"a pipe could not be made"};
    }
    return pipe;
}

} // namespace

ToolProcess::ToolProcess(std::vector<std::string> arguments, const std::string& input)
{
    arguments.insert(arguments.begin(), VEXA_TOOL);
    std::vector<char*> pointers;
    for (std::string& each : arguments) {
        pointers.push_back(each.data());
    }
    pointers.push_back(nullptr);
    const Pipe output = makePipe();
    const Pipe errors = makePipe();
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);
    const int failure = ::posix_spawn(&process_, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(output[1]);
    ::close(errors[1]);
    output_ = ::fdopen(output[0], "r");
    errors_ = ::fdopen(errors[0], "r");
    if (failure != 0) {
        process_ = -1;
        throw std::runtime_error{"the tool could not be run"};
    }
}

ToolProcess::~ToolProcess()
{
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        wait();
    }
    std::fclose(output_);
    std::fclose(errors_);
}

std::string ToolProcess::readAll()
{
    std::string text;
    std::array<char, 65536> piece{};
    for (std::size_t count = std::fread(piece.data(), 1, piece.size(), output_); count > 0;
         count = std::fread(piece.data(), 1, piece.size(), output_)) {
        text.append(piece.data(), count);
    }
    return text;
}

std::string ToolProcess::readErrors()
{
    std::string text;
    for (std::string line = readErrorLine(); !line.empty(); line = readErrorLine()) {
        text += line + "\n";
    }
    return text;
}

void ToolProcess::signal(int number) const
{
    ::kill(process_, number);
}

int ToolProcess::wait()
{
    constexpr int exitCodeOfSignals = 128;
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : exitCodeOfSignals + WTERMSIG(status);
}

std::string ToolProcess::readLine(std::FILE* file)
{
    std::string line;
    for (int character = std::fgetc(file); character != EOF && character != '\n'; character = std::fgetc(file)) {
        line += static_cast<char>(character);
    }
    return line;
}

} // namespace vexa::host
