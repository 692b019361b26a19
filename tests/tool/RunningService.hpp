#pragma once

#include "ToolProcess.hpp"

#include <stdexcept>
#include <string>
#include <vector>

namespace vexa::host {

/// `vexa serve` on a free port of loopback, as a process of its own.
class RunningService {
public:
    explicit RunningService(const std::vector<std::string>& arguments = {})
        : process_{withListening(arguments)}, url_{addressIn(process_.readLine())}
    {}

    /// Where clients find it.
    [[nodiscard]] const std::string& url() const noexcept { return url_; }

    [[nodiscard]] ToolProcess& process() noexcept { return process_; }

    /// Runs `vexa` with these arguments against this service.
    [[nodiscard]] std::vector<std::string> reached(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.end(), {"--url", url_});
        return arguments;
    }

private:
    static std::vector<std::string> withListening(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> all{"serve", "--listen", "127.0.0.1:0"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    static std::string addressIn(const std::string& line)
    {
        const std::string beginning = "listening on ";
        if (!line.starts_with(beginning)) {
            throw std::runtime_error{"the service does not run: " + line};
        }
        return line.substr(beginning.size());
    }

    ToolProcess process_;
    std::string url_;
};

} // namespace vexa::host
