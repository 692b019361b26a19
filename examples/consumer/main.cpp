// A whole host in one file: it registers a transport, follows a topic and publishes to it. The transport is the testing
// kit's, which plays the service in a few lines; an application has one of its own.

#include <testing/FakeTransport.hpp>
#include <testing/ScriptedService.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <cstdlib>
#include <iostream>
#include <memory>

int main()
{
    using namespace vexa;
    using namespace vexa::testing;

    VirtualPlatform platform;
    const auto transport = std::make_shared<FakeTransport>(platform);
    Dependencies container;
    container.oruClient(transport);
    const auto manager = VexaOruSubscriptionManager::make(platform, container);
    ScriptedService service{platform, *transport};

    auto stream = VexaSubscriptionStream::createStream("scores", std::nullopt, std::nullopt, manager);
    service.expectSubscribe("scores").reply(success("s-1"));
    service.data({entry("s-1", {{"points", 3}}), entry("s-1", {{"points", 5}})});
    service.terminate("s-1");

    int messages = 0;
    for (const auto& element : stream) {
        std::cout << *element.message << (element.isTerminating ? " and that was the last one\n" : "\n");
        ++messages;
    }
    return messages == 3 ? EXIT_SUCCESS : EXIT_FAILURE;
}
