#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace vexa::host {

/// A program that runs beside the test.
class ChildProcess {
public:
    /// Starts the program that `arguments` begin with, found as a shell finds it, in `folder`. Throws std::system_error
    /// when it cannot be started.
    ChildProcess(const std::vector<std::string>& arguments, const std::string& folder);

    /// Ends the program's standard input, which has to make it end, and waits for that.
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// The next line of the program's standard output, without its end; empty when the output has ended.
    [[nodiscard]] std::string readLine();

    /// Hands a text to the program's standard input. Throws std::system_error when the program no longer reads.
    void write(std::string_view text);

    /// Waits until the program has ended. Returns its exit code, -1 when a signal ended it.
    int wait();

private:
    pid_t id_ = -1;
    int input_ = -1;
    int output_ = -1;
    int exitCode_ = -1;
};

} // namespace vexa::host
