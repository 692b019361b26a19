#pragma once

#include <VexaClient/platform/Json.hpp>

#include <tests/websocket/ChildProcess.hpp>

#include <string>
#include <vector>

namespace vexa::host {

/// A client of a service, on the npm package ws, as a process of its own; node/client.js says what each scenario does.
class NodeClient {
public:
    /// Starts a scenario against the service at `url`. What follows are further arguments of the script.
    NodeClient(const std::string& scenario, const std::string& url, const std::vector<std::string>& more = {});

    /// The next report of `event`, past others. Throws std::runtime_error with all that was reported when the process
    /// ends without one.
    Dictionary await(const std::string& event);

    /// Tells a scenario that waits for it to go on.
    void goOn() { process_.write("go on\n"); }

private:
    ChildProcess process_;
    std::string reports_;
};

} // namespace vexa::host
