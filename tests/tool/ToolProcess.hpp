#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vexa::host {

/// The tool as a process of its own, with its standard output and standard error. It is killed with the object.
class ToolProcess {
public:
    /// Runs `vexa` with these arguments.
    ///
    /// \param input  the file that is its standard input
    explicit ToolProcess(std::vector<std::string> arguments, const std::string& input = "/dev/null");
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    /// The next line of its output, without the line break; empty at the end.
    std::string readLine() { return readLine(output_); }
    std::string readErrorLine() { return readLine(errors_); }

    /// What is left of what it writes to its output; the end of that is the end of the process.
    std::string readAll();

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
