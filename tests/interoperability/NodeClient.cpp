#include "NodeClient.hpp"

#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <stdexcept>

namespace vexa::host {

namespace {

std::vector<std::string> commandLine(const std::string& scenario, const std::string& url,
                                     const std::vector<std::string>& more)
{
    std::vector<std::string> words{"node", VEXA_NODE_CLIENT, scenario, url};
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

} // namespace

NodeClient::NodeClient(const std::string& scenario, const std::string& url, const std::vector<std::string>& more)
    : process_{commandLine(scenario, url, more), "/"}
{}

Dictionary NodeClient::await(const std::string& event)
{
    for (std::string line = process_.readLine(); !line.empty(); line = process_.readLine()) {
        boost::system::error_code error;
        Dictionary report = readMessage(line, error);
        if (error) {
            throw std::runtime_error{"the client wrote what is no report: " + line};
        }
        if (stringAt(report, "event") == event) {
            return report;
        }
        reports_ += "\n  " + line.substr(0, 500);
    }
    throw std::runtime_error{"the client ended without reporting '" + event + "'; it reported" + reports_};
}

} // namespace vexa::host
