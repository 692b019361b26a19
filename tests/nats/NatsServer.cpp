#include "NatsServer.hpp"

#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <nats/nats.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vexa::host {

namespace {

using boost::asio::ip::tcp;

std::string makeTemporaryFolder()
{
    std::string pattern = std::filesystem::temp_directory_path() / "vexa-nats-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error{"no temporary folder could be made"};
    }
    return pattern;
}

std::string addressOf(std::uint16_t port)
{
    return "nats://127.0.0.1:" + std::to_string(port);
}

/// The answer to a request to JetStream; an empty dictionary when none comes.
Dictionary ask(const std::string& servers, const std::string& operation)
{
    natsConnection* connection = nullptr;
    natsMsg* answer = nullptr;
    Dictionary content;
    constexpr std::int64_t milliseconds = 2'000;
    if (natsConnection_ConnectTo(&connection, servers.c_str()) == NATS_OK &&
        natsConnection_RequestString(&answer, connection, ("$JS.API." + operation).c_str(), "", milliseconds) ==
            NATS_OK) {
        boost::system::error_code error;
        content =
            readMessage({natsMsg_GetData(answer), static_cast<std::size_t>(natsMsg_GetDataLength(answer))}, error);
    }
    natsMsg_Destroy(answer);
    natsConnection_Destroy(connection);
    return content;
}

/// Replaces the calling process, a fresh child, by the server. Only what may be done between fork and exec.
[[noreturn]] void becomeServer(std::vector<char*>& arguments, int log)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    execvp(arguments.front(), arguments.data());
    constexpr int commandNotFound = 127;
    _exit(commandNotFound);
}

} // namespace

TemporaryFolder::TemporaryFolder() : path_{makeTemporaryFolder()} {}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

NatsServer::NatsServer(Place place) : place_{std::move(place)}
{
    start();
}

NatsServer::~NatsServer()
{
    kill();
}

void NatsServer::start()
{
    std::vector<std::string> words{"nats-server", "-a",        "127.0.0.1", "-p",  std::to_string(place_.port),
                                   "-n",          place_.name, "-js",       "-sd", place_.folder / place_.name};
    words.insert(words.end(), place_.clusterArguments.begin(), place_.clusterArguments.end());
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const std::string logFile = place_.folder / (place_.name + ".log");
    constexpr mode_t forTheOwner = 0600;
    const int log = open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, forTheOwner);
    process_ = fork();
    if (process_ == 0) {
        becomeServer(arguments, log);
    }
    close(log);
    if (process_ < 0) {
        process_ = 0;
        throw std::runtime_error{"no process could be made for nats-server"};
    }
    awaitConnections();
}

void NatsServer::awaitConnections()
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{30};
    boost::asio::io_context context;
    const tcp::endpoint endpoint{boost::asio::ip::address_v4::loopback(), place_.port};
    while (std::chrono::steady_clock::now() < deadline) {
        boost::system::error_code error;
        tcp::socket socket{context};
        socket.connect(endpoint, error);
        if (!error) {
            return;
        }
        int status = 0;
        if (waitpid(process_, &status, WNOHANG) == process_) {
            process_ = 0;
            throw std::runtime_error{"nats-server ended at once; is the package nats-server installed?"};
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
    }
    throw std::runtime_error{"nats-server does not take connections"};
}

void NatsServer::kill()
{
    const pid_t process = std::exchange(process_, 0);
    if (process > 0) {
        ::kill(process, SIGKILL);
        int status = 0;
        waitpid(process, &status, 0);
    }
}

void NatsServer::suspend() const
{
    ::kill(process_, SIGSTOP);
    // The signal is on its way when kill() returns, and the server may still answer.
    int status = 0;
    waitpid(process_, &status, WUNTRACED);
}

void NatsServer::resume() const
{
    ::kill(process_, SIGCONT);
}

std::string NatsServer::address() const
{
    return addressOf(place_.port);
}

SingleNatsServer::SingleNatsServer() : server_{NatsServer::Place{folder_.path(), "alone", freePorts(1).front(), {}}} {}

void SingleNatsServer::saveStore() const
{
    std::filesystem::copy(folder_.path() / server_.name(), folder_.path() / "saved",
                          std::filesystem::copy_options::recursive);
}

void SingleNatsServer::restoreStore() const
{
    std::filesystem::remove_all(folder_.path() / server_.name());
    std::filesystem::copy(folder_.path() / "saved", folder_.path() / server_.name(),
                          std::filesystem::copy_options::recursive);
}

NatsCluster::NatsCluster()
{
    const std::vector<std::uint16_t> clientPorts = freePorts(2 * size);
    std::string routes;
    for (std::size_t i = 0; i < size; ++i) {
        routes += (routes.empty() ? "" : ",") + addressOf(clientPorts.at(size + i));
    }
    for (std::size_t i = 0; i < size; ++i) {
        servers_.push_back(std::make_unique<NatsServer>(NatsServer::Place{
            folder_.path(),
            "member" + std::to_string(i),
            clientPorts.at(i),
            {"--cluster_name", "vexa", "--cluster", addressOf(clientPorts.at(size + i)), "--routes", routes}}));
    }
}

std::vector<std::string> NatsCluster::addresses() const
{
    std::vector<std::string> addresses;
    for (const auto& server : servers_) {
        addresses.push_back(server->address());
    }
    return addresses;
}

std::string NatsCluster::joinedAddresses() const
{
    std::string joined;
    for (const std::string& address : addresses()) {
        joined += (joined.empty() ? "" : ",") + address;
    }
    return joined;
}

std::optional<std::size_t> NatsCluster::leaderOf(const std::string& stream) const
{
    const Dictionary answer = ask(joinedAddresses(), "STREAM.INFO." + stream);
    const Dictionary* const members = dictionaryAt(answer, "cluster");
    const auto leader = members == nullptr ? std::nullopt : stringAt(*members, "leader");
    const auto found = std::find_if(servers_.begin(), servers_.end(),
                                    [&](const auto& server) { return leader && server->name() == *leader; });
    return found == servers_.end() ? std::nullopt : std::optional{static_cast<std::size_t>(found - servers_.begin())};
}

bool NatsCluster::isCurrent(const std::string& stream) const
{
    const Dictionary answer = ask(joinedAddresses(), "STREAM.INFO." + stream);
    const Dictionary* const members = dictionaryAt(answer, "cluster");
    const List* const replicas = members == nullptr ? nullptr : dictionariesAt(*members, "replicas");
    return replicas != nullptr && replicas->size() == size - 1 && stringAt(*members, "leader").has_value() &&
           std::all_of(replicas->begin(), replicas->end(), [](const Value& replica) {
               return boolAt(replica.get_object(), "current").value_or(false) &&
                      !boolAt(replica.get_object(), "offline").value_or(false);
           });
}

void removeStream(const NatsServer& server, const std::string& stream)
{
    const Dictionary answer = ask(server.address(), "STREAM.DELETE." + stream);
    if (!boolAt(answer, "success").value_or(false)) {
        throw std::runtime_error{"the stream could not be removed"};
    }
}

std::size_t removeConsumers(const NatsServer& server, const std::string& stream)
{
    const Dictionary answer = ask(server.address(), "CONSUMER.NAMES." + stream);
    const Value* const names = answer.if_contains("consumers");
    if (names == nullptr || !names->is_array()) {
        return 0;
    }
    for (const Value& name : names->get_array()) {
        ask(server.address(), "CONSUMER.DELETE." + stream + "." + std::string{name.as_string()});
    }
    return names->get_array().size();
}

std::vector<std::uint16_t> freePorts(std::size_t count)
{
    boost::asio::io_context context;
    std::vector<tcp::acceptor> acceptors;
    std::vector<std::uint16_t> ports;
    for (std::size_t i = 0; i < count; ++i) {
        acceptors.emplace_back(context, tcp::endpoint{boost::asio::ip::address_v4::loopback(), 0});
        ports.push_back(acceptors.back().local_endpoint().port());
    }
    return ports;
}

} // namespace vexa::host
