// Bytes as what people give to the tool: a duration, the parameters of a topic, the address of a service, an address to
// listen on, and lines to publish. The whole input is each of them.

#include <fuzz/Input.hpp>
#include <fuzz/Require.hpp>
#include <fuzz/Values.hpp>
#include <host/server/ListenAddress.hpp>
#include <host/tool/client/Duration.hpp>
#include <host/tool/client/InputLines.hpp>
#include <host/tool/client/MessageLines.hpp>
#include <host/tool/client/TopicArguments.hpp>
#include <host/websocket/WebSocketAddress.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/json/parse.hpp>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::fuzz {

namespace {

using namespace vexa::host;

bool hasControlCharacters(std::string_view text)
{
    return std::ranges::any_of(text, [](unsigned char each) { return each < 0x20 || each == 0x7F; });
}

void runDuration(std::string_view text)
{
    const auto seconds = readDuration(text);
    require(!seconds || (std::isfinite(*seconds) && *seconds >= 0));
    // What is a duration ends in its unit, and a bare number counts seconds.
    if (seconds && text.back() >= '0' && text.back() <= '9') {
        require(readDuration(std::string{text} + "s") == seconds);
    }
}

void runParameters(std::string_view input)
{
    CLI::App command;
    std::string text;
    addParametersOption(command, text);
    bool isAccepted = true;
    try {
        command.parse(std::vector<std::string>{"--params=" + std::string{input}});
    } catch (const CLI::ParseError&) {
        isAccepted = false;
    }
    boost::system::error_code error;
    const Value value = boost::json::parse(boost::json::string_view{input.data(), input.size()}, error);
    require(isAccepted || error || !isFinite(value));
    if (isAccepted) {
        const Parameters parameters = parametersOf(text);
        require(text == input && parameters);
        const Dictionary sent = readMessage(messageText(Dictionary{{"parameters", *parameters}}), error);
        require(!error && sent.at("parameters") == *parameters);
    }
}

void runServiceAddress(std::string_view url)
{
    try {
        const WebSocketAddress address = webSocketAddress(url);
        require(!address.host.empty() && !address.port.empty() && address.target.starts_with('/'));
        // Both become lines of a request.
        require(!hasControlCharacters(address.target) && !hasControlCharacters(address.authority));
        const std::string again = (address.isSecure ? "wss://" : "ws://") + address.authority + address.target;
        const WebSocketAddress same = webSocketAddress(again);
        require(same.host == address.host && same.port == address.port && same.target == address.target &&
                same.authority == address.authority && same.isSecure == address.isSecure);
    } catch (const std::invalid_argument& error) {
        require(!hasControlCharacters(error.what()));
    }
}

void runListenAddress(std::string_view text)
{
    std::optional<ListenAddress> address;
    try {
        address = ListenAddress::read(text);
    } catch (const std::invalid_argument&) {
        return;
    }
    require(ListenAddress::read(address->text()) == *address);
}

struct Lines {
    std::vector<std::string> lines;
    std::uint64_t tooLong;

    friend bool operator==(const Lines&, const Lines&) = default;
};

Lines takeAll(InputLines& input)
{
    input.end();
    Lines all{{}, input.tooLong()};
    while (const auto line = input.take()) {
        all.lines.push_back(*line);
    }
    require(input.empty());
    return all;
}

void runMessage(std::string_view line)
{
    const LineMessage text = textMessage(line);
    require(text.isRepaired == !isUtf8(line));
    const LineMessage message = messageOfLine(line);
    for (const LineMessage* each : {&text, &message}) {
        const std::string written = messageText(each->payload);
        boost::system::error_code error;
        require(isUtf8(written) && readMessage(written, error) == each->payload && !error);
    }
    VexaSubscriptionStream::Element element{std::make_shared<const Dictionary>(message.payload), false};
    boost::system::error_code error;
    require(readMessage(jsonLine("topic", element), error).at("message") == Value(message.payload) && !error);
    require(!hasControlCharacters(plainLine(line, element)));
    static_cast<void>(textLine(element));
    element.message = std::make_shared<const Dictionary>(Dictionary{{"payload", message.payload}});
    require(!hasControlCharacters(plainLine("topic", element)));
}

/// Lines are the same in whatever pieces they come.
void runLines(std::string_view bytes)
{
    constexpr std::size_t longest = 40;
    InputLines whole{longest};
    whole.add(bytes);
    const Lines lines = takeAll(whole);
    InputLines inPieces{longest};
    for (std::string_view rest = bytes; !rest.empty();) {
        const std::size_t size = 1 + static_cast<unsigned char>(rest.front()) % 7;
        inPieces.add(rest.substr(0, size));
        rest.remove_prefix(std::min(size, rest.size()));
    }
    require(takeAll(inPieces) == lines);
    for (const std::string& line : lines.lines) {
        require(line.size() <= longest && line.find('\n') == std::string::npos);
        runMessage(line);
    }
}

} // namespace

} // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input = vexa::fuzz::textOf(data, size);
    vexa::fuzz::runDuration(input);
    vexa::fuzz::runParameters(input);
    vexa::fuzz::runServiceAddress(input);
    vexa::fuzz::runListenAddress(input);
    vexa::fuzz::runLines(input);
    return 0;
}
