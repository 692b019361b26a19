#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <stdlib.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <unistd.h>

namespace vexa::bench {

namespace {

std::filesystem::path makeTemporaryFolder()
{
    std::string pattern = std::filesystem::temp_directory_path() / "vexa-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error{"no temporary folder could be made"};
    }
    return pattern;
}

/// A program of this name, also where servers are kept but not everyone looks.
std::string programCalled(const std::string& name)
{
    for (const char* const folder : {"/usr/bin/", "/usr/sbin/", "/usr/local/bin/", "/usr/local/sbin/"}) {
        if (std::filesystem::exists(folder + name)) {
            return folder + name;
        }
    }
    throw std::runtime_error{name + " is not installed; ./dev setup peers installs it"};
}

} // namespace

TemporaryFolder::TemporaryFolder() : path_{makeTemporaryFolder()} {}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Daemon Daemon::redis()
{
    return Daemon{[](const Place& place) -> std::vector<std::string> {
        return {programCalled("redis-server"),
                "--bind",
                "127.0.0.1",
                "--port",
                std::to_string(place.port),
                "--dir",
                place.folder,
                "--save",
                "",
                "--appendonly",
                "no",
                "--logfile",
                place.folder / "log"};
    }};
}

Daemon Daemon::nats()
{
    return Daemon{[](const Place& place) -> std::vector<std::string> {
        return {programCalled("nats-server"), "--addr", "127.0.0.1",         "--port",
                std::to_string(place.port),   "--log",  place.folder / "log"};
    }};
}

Daemon Daemon::mosquitto()
{
    return Daemon{[](const Place& place) -> std::vector<std::string> {
        const std::string file = place.folder / "configuration";
        std::ofstream{file} << "listener " << place.port << " 127.0.0.1\n"
                            << "allow_anonymous true\n"
                               "persistence false\n"
                               "max_queued_messages 0\n"
                               "set_tcp_nodelay true\n"
                               "log_dest none\n";
        return {programCalled("mosquitto"), "-c", file};
    }};
}

Daemon::Daemon(const std::function<std::vector<std::string>(const Place& place)>& command)
    : port_{freePort()}, process_{ChildProcess::program(command(Place{folder_.path(), port_}), STDERR_FILENO)}
{
    awaitConnections();
}

void Daemon::awaitConnections()
{
    constexpr std::chrono::seconds patience{30};
    constexpr std::chrono::milliseconds pause{10};
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!isListening(port_)) {
        process_.check();
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error{"a server does not take connections"};
        }
        std::this_thread::sleep_for(pause);
    }
}

} // namespace vexa::bench
