#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Random.hpp>
#include <VexaClient/platform/Text.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <utility>

namespace vexa {

AsyncStream<VexaSubscriptionStream::Element>
VexaSubscriptionStream::createStream(std::string_view name, const Parameters& params, std::optional<double> updatedAt,
                                     const std::shared_ptr<VexaOruSubscriptionManager>& manager)
{
    using Stream = AsyncStream<Element>;
    return Stream{manager->platform(), [&](const Stream::Continuation& continuation) {
                      const auto onElement = [continuation](const Message& message, bool isTerminating) {
                          continuation.yield(Element{message, isTerminating});
                          if (isTerminating) {
                              continuation.finish();
                          }
                      };
                      const auto listener = std::make_shared<VexaSubscriptionStream>(Private{}, std::string{name},
                                                                                     params, onElement, manager);
                      continuation.onTermination([listener](StreamEnd) { listener->unregisterFromManager(); });
                      listener->registerWithManager(updatedAt, listener);
                  }};
}

VexaSubscriptionStream::VexaSubscriptionStream(Private, std::string name, const Parameters& params,
                                               std::function<void(const Message&, bool)> onElement,
                                               std::shared_ptr<VexaOruSubscriptionManager> manager)
    : name_{std::move(name)}, params_{ownCopy(params)}, onElement_{std::move(onElement)}, manager_{std::move(manager)}
{}

void VexaSubscriptionStream::messageReceived(const Message& message, bool isTerminating)
{
    onElement_(message, isTerminating);
}

void VexaSubscriptionStream::registerWithManager(std::optional<double> updatedAt,
                                                 const std::shared_ptr<VexaSubscriptionStream>& self)
{
    // One step with the registration: no message can reach the stream before it knows its id.
    manager_->queue_->sync([&] {
        listenerId_ = manager_->addListener(name_, params_, updatedAt.value_or(0.0), self);
        manager_->platform().log(
            joined({"VexaSubscriptionStream registered listener - ", optionalDisplay(decimal(*listenerId_))}));
    });
}

void VexaSubscriptionStream::unregisterFromManager()
{
    const std::optional<std::int64_t> listenerId = std::exchange(listenerId_, std::nullopt);
    if (!listenerId) {
        return;
    }
    // Given up with the registration, so that the two never keep each other alive.
    const auto manager = std::exchange(manager_, nullptr);
    manager->removeMessageListener(*listenerId);
    manager->platform().log(joined({"VexaSubscriptionStream unregistered listener - ", decimal(*listenerId)}));
}

GameSDKMessage::Payload::Payload(std::string one, std::string two, Platform& platform)
    : fieldOne{std::move(one)}, fieldTwo{std::move(two)}, date{plainDecimal(platform.now())}
{}

Dictionary GameSDKMessage::Payload::encoded() const
{
    Dictionary dictionary;
    dictionary.emplace("fieldOne", fieldOne);
    dictionary.emplace("fieldTwo", fieldTwo);
    dictionary.emplace("date", date);
    return dictionary;
}

std::optional<GameSDKMessage::Payload> GameSDKMessage::Payload::decoded(const Dictionary& dictionary,
                                                                        Platform& platform)
{
    const auto one = stringAt(dictionary, "fieldOne");
    const auto two = stringAt(dictionary, "fieldTwo");
    if (!one || !two) {
        return std::nullopt;
    }
    return Payload{std::string{*one}, std::string{*two}, platform};
}

Dictionary GameSDKMessage::encoded() const
{
    Dictionary dictionary;
    dictionary.emplace("category", category);
    dictionary.emplace("type", type);
    dictionary.emplace("msgId", msgId);
    dictionary.emplace("payload", payload.encoded());
    return dictionary;
}

std::optional<GameSDKMessage> GameSDKMessage::decoded(const Dictionary& dictionary, Platform& platform)
{
    const auto category = stringAt(dictionary, "category");
    const auto type = stringAt(dictionary, "type");
    const auto msgId = stringAt(dictionary, "msgId");
    const Dictionary* payload = dictionaryAt(dictionary, "payload");
    auto decodedPayload = payload != nullptr ? Payload::decoded(*payload, platform) : std::nullopt;
    if (!category || !type || !msgId || !decodedPayload) {
        return std::nullopt;
    }
    return GameSDKMessage{std::string{*category}, std::string{*type}, std::string{*msgId}, std::move(*decodedPayload)};
}

VexaDataSender& VexaDataSender::shared()
{
    static auto* const sender = new VexaDataSender{Platform::system(), Dependencies::shared()};
    return *sender;
}

VexaDataSender::VexaDataSender(Platform& platform, Dependencies& container)
    : platform_{platform}, _oruClient{&Dependencies::oruClient, container}
{}

void VexaDataSender::sendToEcho()
{
    // Five digits: from 20002 to 99999.
    constexpr std::uint64_t lowestId = 20002;
    constexpr std::uint64_t beyondHighestId = 100000;

    GameSDKMessage::Payload payload{"ios-sdk", "testTwo", platform_};
    const std::uint64_t id = lowestId + uniformBelow(platform_, beyondHighestId - lowestId);
    const GameSDKMessage message{"zltMsg", "sdk-echo", std::to_string(id), std::move(payload)};

    const std::string text = boost::json::serialize(message.encoded());
    if (!isUtf8(text)) {
        return;
    }
    boost::system::error_code error;
    Value parsed = boost::json::parse(text, error);
    if (error || !parsed.is_object()) {
        fatal("an echo message cannot be read back");
    }
    callHost(platform_, "OruClient::send", [&] { _oruClient.wrappedValue()->send(std::move(parsed.get_object())); });
}

} // namespace vexa
