#include "tests/simulation/Options.hpp"
#include "tests/simulation/Proof.hpp"
#include "tests/simulation/Seeds.hpp"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

int runProgram(const std::vector<std::string>& arguments)
{
    using namespace vexa::simulation;
    Options options;
    try {
        options = optionsFrom(arguments);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "simulate: %s; see simulate --help\n", error.what());
        return 2;
    }
    if (options.asksForHelp) {
        std::fputs(usage().c_str(), stdout);
        return 0;
    }
    return (options.provesItself ? proveItself(options) : runSeeds(options)) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return runProgram({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "simulate: %s\n", error.what());
        return 1;
    }
}
