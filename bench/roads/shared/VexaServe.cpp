#include <bench/roads/shared/Sockets.hpp>
#include <bench/roads/shared/VexaServe.hpp>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace vexa::bench {

namespace {

/// The tool of the same build as this program, next to which it stands.
std::string tool()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "vexa";
}

/// The port in the line with which the service says that it is up.
std::uint16_t portIn(int output)
{
    constexpr std::string_view beginning = "listening on ws://127.0.0.1:";
    std::string line;
    std::array<char, 256> some{};
    while (line.find('\n') == std::string::npos) {
        const std::size_t count = readSome(output, some.data(), some.size());
        if (count == 0) {
            throw std::runtime_error{"the service does not come up"};
        }
        line.append(some.data(), count);
    }
    if (!line.starts_with(beginning)) {
        throw std::runtime_error{"the service does not say where it listens: " + line};
    }
    return static_cast<std::uint16_t>(std::stoul(line.substr(beginning.size())));
}

} // namespace

VexaServe VexaServe::start()
{
    Pipe output = Pipe::open();
    ChildProcess process = ChildProcess::program({tool(), "serve", "--listen", "127.0.0.1:0", "--max-topics", "1000000",
                                                  "--max-message-bytes", "256MiB", "--max-queue-bytes", "256MiB"},
                                                 output.writing.number());
    output.writing = Descriptor{};
    const std::uint16_t port = portIn(output.reading.number());
    return VexaServe{std::move(process), std::move(output.reading), port};
}

VexaServe::VexaServe(ChildProcess process, Descriptor output, std::uint16_t port) noexcept
    : process_{std::move(process)}, output_{std::move(output)}, port_{port}
{}

} // namespace vexa::bench
