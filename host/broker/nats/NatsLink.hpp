#pragma once

#include <host/broker/nats/NatsBrokerOptions.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <nats/nats.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::host {

struct NatsMessageDeleter {
    void operator()(natsMsg* message) const noexcept { natsMsg_Destroy(message); }
};
using NatsMessagePointer = std::unique_ptr<natsMsg, NatsMessageDeleter>;

/// What the owner of a link hears, on the queue that the link was made with.
class NatsLinkListener {
public:
    virtual ~NatsLinkListener() = default;

    /// The link is connected, for the first time or again.
    virtual void linkOpened() = 0;

    /// The connection is lost; the link is trying to get it back.
    virtual void linkLost(std::string reason) = 0;

    /// The link has given up; another one must be made.
    virtual void linkFailed(std::string reason) = 0;

    /// A message came to an inbox of the link.
    virtual void messageArrived(std::int64_t inbox, NatsMessagePointer message) = 0;
};

using NatsHeaders = std::vector<std::pair<std::string, std::string>>;

/// A connection to NATS servers that is reconnected for ever. The callbacks of nats.c only put items into the queue.
class NatsLink {
public:
    /// The inbox that is always there, for the answers to what was sent: every subject that begins with the link's
    /// prefix and answerPart.
    static constexpr std::int64_t answers = 0;
    static constexpr std::string_view answerPart = "answer.";

    /// \param prefix  of the subjects to listen to, which nobody else uses
    NatsLink(std::string prefix, Platform& platform, SerialQueueHandle queue, std::weak_ptr<NatsLinkListener> listener);

    /// Disconnects and waits until no callback can come any more.
    ~NatsLink();

    NatsLink(const NatsLink&) = delete;
    NatsLink& operator=(const NatsLink&) = delete;

    /// Starts connecting; may block for the time limit of an attempt. Call it once. Returns why this can never work.
    [[nodiscard]] std::optional<std::string> connect(const NatsBrokerOptions& options);

    /// Sends a message whose answer goes to `replyTo`. Returns why it was not sent.
    [[nodiscard]] std::optional<std::string> send(const std::string& subject, const std::string& replyTo,
                                                  std::string_view text, const NatsHeaders& headers = {});

    /// Opens an inbox, which is given a number of its own, for the messages to one subject.
    void listen(std::int64_t number, const std::string& subject);

    /// Closes an inbox. An unknown number is accepted.
    void ignore(std::int64_t number);

    /// The largest message that the server takes, in bytes.
    [[nodiscard]] std::size_t largestMessage() const noexcept;

    /// The address of the server that the link is connected to.
    [[nodiscard]] std::string server() const;

private:
    struct Inbox {
        NatsLink& link;
        std::int64_t number;
        natsSubscription* subscription = nullptr; ///< null once the inbox is closed
        bool isEnded = false;                     ///< under the mutex: no callback of the subscription is left
    };

    static void onOpened(natsConnection* connection, void* link);
    static void onLost(natsConnection* connection, void* link);
    static void onClosed(natsConnection* connection, void* link);
    static void onError(natsConnection* connection, natsSubscription* subscription, natsStatus status, void* link);
    static void onMessage(natsConnection* connection, natsSubscription* subscription, natsMsg* message, void* inbox);
    static void onInboxEnd(void* inbox);

    /// Calls the listener on the queue, if it still lives then.
    template <class Call>
    void notify(Call call);

    void markDone(bool& isDone);

    Platform& platform_;
    const SerialQueueHandle queue_;
    const std::weak_ptr<NatsLinkListener> listener_;
    const std::string prefix_;

    natsConnection* connection_ = nullptr;
    std::list<Inbox> inboxes_; ///< closed ones stay until no callback of theirs is left

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isClosed_ = false;  ///< no callback of the connection is left
    bool isClosing_ = false; ///< the link itself closes the connection
};

} // namespace vexa::host
