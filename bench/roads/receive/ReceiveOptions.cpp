#include <bench/roads/receive/ReceiveOptions.hpp>
#include <bench/roads/shared/RoadMain.hpp>

#include <stdexcept>

namespace vexa::bench {

int receiveMain(int count, char** words, const std::vector<std::string>& modes,
                const std::function<Dictionary(const ReceiveOptions& options)>& receive)
{
    ReceiveOptions options;
    const std::vector<NumberOption> numbers{
        {"--topics", &options.topics, "Over how many topics the messages are spread, in turn"},
        {"--batch", &options.batch, "Messages in a frame"},
        {"--messages", &options.messages, "How many are measured"},
        {"--warm-up", &options.warmUp, "How many come before them"},
        {"--window", &options.window, "How many may be on the way"}};
    return roadMain(count, words, numbers, modes, [&](const std::string& mode) {
        if (options.topics == 0 || options.batch == 0 || options.messages == 0 || options.window == 0) {
            throw std::invalid_argument{"there has to be something to receive"};
        }
        options.mode = mode;
        return receive(options);
    });
}

} // namespace vexa::bench
