#pragma once

#include <host/broker/Broker.hpp>
#include <host/server/FrameQueue.hpp>
#include <host/server/ThreadDoor.hpp>
#include <host/service/DataBatch.hpp>
#include <VexaClient/platform/Json.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace vexa::host {

class ClientOutbox;

/// The outboxes of one thread that have something for it. Many of them, as when a message goes to a thousand clients,
/// wake the thread once.
class ReadyOutboxes : public std::enable_shared_from_this<ReadyOutboxes> {
public:
    explicit ReadyOutboxes(std::shared_ptr<ThreadDoor> door) noexcept : door_{std::move(door)} {}

    /// Has the thread attend to an outbox. Any thread.
    void add(std::shared_ptr<ClientOutbox> outbox);

private:
    void attend();

    const std::shared_ptr<ThreadDoor> door_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<ClientOutbox>> ready_;
};

/// Where the service leaves what is for one client, and the thread that carries the client's connection collects it.
class ClientOutbox : public std::enable_shared_from_this<ClientOutbox> {
public:
    /// What the service has to say beside the messages.
    struct News {
        bool isOverfull = false;               ///< a message has found no room and is lost, as are all after it
        std::optional<ServiceError> closedFor; ///< the service has closed the session
        bool isHandled = false;                ///< handled() was called
    };

    /// What the outbox calls on the connection's thread.
    class Owner {
    public:
        virtual ~Owner() = default;
        virtual void outboxReady() = 0;
    };

    ClientOutbox(const FrameQueueLimits& limits, std::shared_ptr<ReadyOutboxes> ready, Owner& owner);

    // For the service; any thread.
    void send(const Dictionary& message);
    void deliver(DataBatch batch);
    void closed(ServiceError reason);
    void handled();

    // For the connection, on its thread.

    /// The next frame; the one taken before counts as written. Nothing when none waits: outboxReady() is called when
    /// the next one does.
    [[nodiscard]] std::optional<OutgoingFrame> take();

    /// What is new since the last call. outboxReady() is called when there is more.
    [[nodiscard]] News takeNews();

    /// Takes no more messages; those that wait can still be taken.
    void closeQueue();

    /// Forgets the owner and all that waits.
    void detach();

private:
    friend class ReadyOutboxes;

    template <class Content>
    void add(Content content);
    void announce(std::unique_lock<std::mutex> lock);
    void attend();

    const std::shared_ptr<ReadyOutboxes> ready_;
    Owner* owner_; ///< on the connection's thread; null when detached

    std::mutex mutex_;
    FrameQueue queue_;
    News news_;
    bool isAttended_ = false; ///< the connection knows that frames wait
    bool isDetached_ = false;
};

} // namespace vexa::host
