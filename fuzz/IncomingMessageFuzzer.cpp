// Bytes as an incoming frame: parsed as a transport does, and handed to a client that has one confirmed and one pending
// topic. Each line of the input is a frame of its own.

#include <fuzz/Input.hpp>
#include <fuzz/Require.hpp>
#include <testing/FakeTransport.hpp>
#include <testing/ScriptedService.hpp>
#include <testing/StandaloneLibrary.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <boost/json/parse.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace vexa::testing {

namespace {

/// Delivers what is a JSON object.
void deliver(FakeTransport& transport, std::string_view frame)
{
    boost::system::error_code error;
    Value value = boost::json::parse(frame, error);
    if (!error && value.is_object()) {
        transport.deliver(std::move(value.get_object()));
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
        deliver(*transport, fuzz::takeLine(input));
        platform.runUntilIdle();
    }
    // Whatever came, the client goes on: it reconnects, sends its reports and lets its listeners go.
    service.open();
    platform.clock.advance(400);
    confirmed.cancel();
    pending.cancel();
    platform.runUntilIdle();
    fuzz::require(manager->state().listenersById.empty() && manager->state().listenersBySub.empty());
}

} // namespace

} // namespace vexa::testing

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vexa::testing::run(vexa::fuzz::textOf(data, size));
    return 0;
}
