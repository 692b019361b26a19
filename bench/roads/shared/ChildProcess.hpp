#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vexa::bench {

/// A process that this one starts and that does not outlive it.
class ChildProcess {
public:
    /// Runs `body` in a copy of this process, which must have one thread alone. What `body` throws is written to
    /// standard error, and the copy ends with exit code 1.
    [[nodiscard]] static ChildProcess running(const std::function<void()>& body);

    /// Runs a program, with its output to this descriptor. Throws std::runtime_error when no process can be made.
    [[nodiscard]] static ChildProcess program(const std::vector<std::string>& command, int output);

    /// Ends the process, as a crash does, and waits until it is gone.
    ~ChildProcess();

    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Throws std::runtime_error when the process has ended with anything but exit code 0.
    void check();

    /// Waits for the end of the process and returns its exit code; 128 and the signal when a signal ended it.
    [[nodiscard]] int wait();

private:
    explicit ChildProcess(pid_t process) noexcept : process_{process} {}

    pid_t process_;
};

} // namespace vexa::bench
