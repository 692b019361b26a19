#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vexa::host {

/// The tool as a process of its own, with its standard output and standard error. It is killed with the object.
class ChildService {
public:
    /// Runs `vexa` with these arguments.
    explicit ChildService(std::vector<std::string> arguments);
    ~ChildService();
    ChildService(const ChildService&) = delete;
    ChildService& operator=(const ChildService&) = delete;

    /// The next line of its output, without the line break; empty at the end.
    std::string readLine() { return readLine(output_); }
    std::string readErrorLine() { return readLine(errors_); }

    /// What is left of what it writes to standard error.
    std::string readErrors();

    void signal(int number) const;

    /// Waits for its end and returns its exit code; 128 and the signal when a signal ended it.
    int wait();

private:
    static std::string readLine(std::FILE* file);

    pid_t process_ = -1;
    std::FILE* output_ = nullptr;
    std::FILE* errors_ = nullptr;
};

} // namespace vexa::host
