#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Sockets.hpp>
#include <bench/suite/Programs.hpp>

#include <boost/json/parse.hpp>
#include <boost/system/error_code.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <poll.h>

namespace vexa::bench {

namespace {

/// No program of the suite takes so long.
constexpr std::chrono::minutes patience{20};

/// A benchmark's name without what Google Benchmark adds behind the arguments.
std::string nameOf(const Value& benchmark)
{
    std::string name{benchmark.at("name").as_string()};
    for (const char* const ending : {"/real_time", "/process_time"}) {
        const std::size_t at = name.find(ending);
        name = name.substr(0, at);
    }
    for (const char* const setting : {"/iterations:", "/min_time:", "/repeats:"}) {
        const std::size_t at = name.find(setting);
        if (at != std::string::npos) {
            const std::size_t next = name.find('/', at + 1);
            name = name.substr(0, at) + (next == std::string::npos ? "" : name.substr(next));
        }
    }
    return name;
}

} // namespace

bool Programs::has(const Command& command) const
{
    return std::filesystem::exists(folder_ / command.program);
}

std::string Programs::output(const std::vector<std::string>& words) const
{
    std::vector<std::string> command = words;
    command.front() = folder_ / command.front();
    Pipe pipe = Pipe::open();
    ChildProcess process = ChildProcess::program(command, pipe.writing.number());
    pipe.writing = Descriptor{};
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::string text;
    std::array<char, 4096> some{};
    for (;;) {
        pollfd watched{pipe.reading.number(), POLLIN, 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || ::poll(&watched, 1, static_cast<int>(left.count())) == 0) {
            throw std::runtime_error{words.front() + " does not end"};
        }
        const std::size_t count = readSome(pipe.reading.number(), some.data(), some.size());
        if (count == 0) {
            break;
        }
        text.append(some.data(), count);
    }
    if (const int code = process.wait(); code != 0) {
        throw std::runtime_error{words.front() + " has failed with exit code " + std::to_string(code)};
    }
    return text;
}

Value Programs::run(const Command& command, bool isBrief) const
{
    std::vector<std::string> words{command.program};
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    if (isBrief) {
        words.insert(words.end(), command.brief.begin(), command.brief.end());
    }
    const std::string text = output(words);
    boost::system::error_code error;
    Value value = boost::json::parse(text, error);
    if (error || !value.is_object()) {
        throw std::runtime_error{command.text() + " has printed no JSON: " + text};
    }
    return value;
}

std::vector<std::string> Programs::benchmarks(const std::string& program) const
{
    std::istringstream lines{output({program, "--benchmark_list_tests"})};
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        names.push_back(line);
    }
    return names;
}

std::vector<std::string> Programs::benchmarkPrograms() const
{
    std::vector<std::string> programs;
    for (const auto& file : std::filesystem::directory_iterator{folder_}) {
        const std::string name = file.path().filename();
        if (name.starts_with("bench_") && name != "bench_nats") {
            programs.push_back(name);
        }
    }
    std::sort(programs.begin(), programs.end());
    return programs;
}

std::optional<double> numberIn(const Value& output, const Figure& figure)
{
    boost::system::error_code error;
    if (figure.benchmark.empty()) {
        const Value* const found = output.find_pointer(figure.key, error);
        return found != nullptr ? std::optional{found->to_number<double>() * figure.scale} : std::nullopt;
    }
    for (const Value& benchmark : output.at("benchmarks").as_array()) {
        if (nameOf(benchmark) == figure.benchmark) {
            const Value* const found = benchmark.get_object().if_contains(figure.key);
            return found != nullptr ? std::optional{found->to_number<double>() * figure.scale} : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace vexa::bench
