#pragma once

#include <VexaClient/platform/AsyncStream.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/ReturnsPromptly.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vexa {

/// One topic subscription as an asynchronous stream of its messages.
class VexaSubscriptionStream final : public VexaSubscriptionListener, public ReturnsPromptly {
    struct Private {};

public:
    /// One message of the subscription.
    struct Element {
        Message message;    ///< the service's entry, unchanged; it keeps the batch that it came with alive
        bool isTerminating; ///< true on the last element of a subscription that the service has ended
    };

    /// Subscribes to a topic and gives its messages as a stream.
    ///
    /// The stream finishes after a terminating message. When it is dropped or cancelled before, its listener is
    /// removed, and with the last listener of a topic the subscription. Elements wait in an unbounded buffer: a slow
    /// consumer loses nothing and holds nobody up.
    ///
    /// \param params     the topic's parameters; absent for none.
    /// \param updatedAt  seconds since 1970 of the newest message that the caller has seen, after which the service
    ///                   resumes; absent for none.
    /// \param manager    the registry that shares subscriptions among listeners.
    ///
    /// Blocks until the listener is registered, on no free thread's account. Never call it from the state queue of the
    /// manager or of its client: that stops the process with a message.
    [[nodiscard]] static AsyncStream<Element> createStream(std::string_view name,
                                                           const Parameters& params = std::nullopt,
                                                           std::optional<double> updatedAt = std::nullopt,
                                                           const std::shared_ptr<VexaOruSubscriptionManager>& manager =
                                                               VexaOruSubscriptionManager::sharedSubscriptionManager());

    VexaSubscriptionStream(Private, std::string name, const Parameters& params,
                           std::function<void(const Message&, bool)> onElement,
                           std::shared_ptr<VexaOruSubscriptionManager> manager);

    /// Puts a message into the stream; the manager calls it.
    void messageReceived(const Message& message, bool isTerminating) override;

private:
    void registerWithManager(std::optional<double> updatedAt, const std::shared_ptr<VexaSubscriptionStream>& self);
    void unregisterFromManager();

    std::string name_;
    Parameters params_;
    std::function<void(const Message&, bool)> onElement_;
    std::optional<std::int64_t> listenerId_;
    std::shared_ptr<VexaOruSubscriptionManager> manager_;
};

/// The record of an echo. Every value is text.
struct GameSDKMessage {
    struct Payload {
        /// `date` becomes the current time of `platform`: seconds since 1970 in plain decimal.
        Payload(std::string fieldOne, std::string fieldTwo, Platform& platform);

        std::string fieldOne;
        std::string fieldTwo;
        std::string date;

        [[nodiscard]] Dictionary encoded() const;

        /// The record in a dictionary, nothing when "fieldOne" or "fieldTwo" is no text. Its date is the time of
        /// decoding: "date" is never read. Unknown keys are ignored.
        [[nodiscard]] static std::optional<Payload> decoded(const Dictionary& dictionary, Platform& platform);
    };

    std::string category;
    std::string type;
    std::string msgId;
    Payload payload;

    [[nodiscard]] Dictionary encoded() const;

    /// The record in a dictionary, nothing when one of its four keys is absent or of another type. Unknown keys are
    /// ignored.
    [[nodiscard]] static std::optional<GameSDKMessage> decoded(const Dictionary& dictionary, Platform& platform);
};

/// Sends test messages to the service's echo channel, with or without subscriptions.
class VexaDataSender {
public:
    VexaDataSender(const VexaDataSender&) = delete;
    VexaDataSender& operator=(const VexaDataSender&) = delete;

    /// The one sender of the process. Made on first use and never destroyed. Any thread.
    [[nodiscard]] static VexaDataSender& shared();

    /// Sends one echo message through the transport that is registered now, whether or not its connection is open.
    /// Any thread, several at the same time; it runs on the caller's.
    void sendToEcho();

protected:
    VexaDataSender(Platform& platform, Dependencies& container);
    ~VexaDataSender() = default;

private:
    Platform& platform_;
    Dependency<std::shared_ptr<OruClient>> _oruClient;
};

} // namespace vexa
