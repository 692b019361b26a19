// Bytes as an incoming frame: parsed as a transport does, and handed to a client that has one confirmed and one pending
// topic. Each line of the input is a frame of its own.

#include <testing/FakeTransport.hpp>
#include <testing/ScriptedService.hpp>
#include <testing/StandaloneLibrary.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <boost/json/parse.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace vexa::testing {

namespace {

/// Delivers what is a JSON object. Returns whether it was.
bool deliver(FakeTransport& transport, std::string_view frame)
{
    boost::system::error_code error;
    Value value = boost::json::parse(frame, error);
    if (error || !value.is_object()) {
        return false;
    }
    transport.deliver(std::move(value.get_object()));
    return true;
}

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

void run(std::string_view input)
{
    VirtualPlatform platform{1};
    const auto transport = std::make_shared<FakeTransport>(platform);
    Dependencies container;
    container.oruClient(transport);
    const StandaloneLibrary library{platform, container};
    const auto& manager = library.manager();
    ScriptedService service{platform, *transport};
    auto confirmed = VexaSubscriptionStream::createStream("scores", std::nullopt, std::nullopt, manager);
    service.expectSubscribe("scores").reply(success("s-1"));
    auto pending = VexaSubscriptionStream::createStream("news", std::nullopt, std::nullopt, manager);
    platform.runUntilIdle();

    while (!input.empty()) {
        const std::size_t end = input.find('\n');
        deliver(*transport, input.substr(0, end));
        platform.runUntilIdle();
        input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    }
    // Whatever came, the client goes on: it reconnects, sends its reports and lets its listeners go.
    service.open();
    platform.clock.advance(400);
    confirmed.cancel();
    pending.cancel();
    platform.runUntilIdle();
    require(manager->state().listenersById.empty() && manager->state().listenersBySub.empty());
}

} // namespace

} // namespace vexa::testing

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // libFuzzer hands over bytes; they are read as text.
    vexa::testing::run({reinterpret_cast<const char*>(data), size}); // NOLINT(*-reinterpret-cast)
    return 0;
}
