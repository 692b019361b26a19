#include <bench/roads/shared/RoadMain.hpp>

#include <boost/json/serialize.hpp>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace vexa::bench {

int roadMain(int count, char** words, const std::vector<NumberOption>& numbers, const std::vector<std::string>& modes,
             const std::function<Dictionary(const std::string& mode)>& road)
{
    std::string mode = modes.front();
    CLI::App application{"Goes one road and tells on one line of JSON what that cost this process."};
    for (const NumberOption& number : numbers) {
        // A later one counts, so that whoever calls the program can make it shorter.
        application.add_option(number.name, *number.value, number.description)->take_last()->capture_default_str();
    }
    application.add_option("--mode", mode, "In which of its ways")->check(CLI::IsMember(modes))->capture_default_str();
    CLI11_PARSE(application, count, words);
    try {
        Dictionary line = road(mode);
        line["mode"] = mode;
        std::printf("%s\n", boost::json::serialize(line).c_str());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", words[0], error.what());
        return 1;
    }
}

} // namespace vexa::bench
