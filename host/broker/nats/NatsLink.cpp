#include <host/broker/nats/NatsLink.hpp>

#include <algorithm>
#include <cstdint>

namespace vexa::host {

namespace {

struct OptionsDeleter {
    void operator()(natsOptions* options) const noexcept { natsOptions_Destroy(options); }
};
using OptionsPointer = std::unique_ptr<natsOptions, OptionsDeleter>;

constexpr std::int64_t milliseconds(double seconds) noexcept
{
    constexpr double millisecondsPerSecond = 1e3;
    return static_cast<std::int64_t>(seconds * millisecondsPerSecond);
}

std::string reasonOf(natsConnection* connection, const char* otherwise)
{
    const char* text = nullptr;
    if (natsConnection_GetLastError(connection, &text) != NATS_OK && text != nullptr && *text != '\0') {
        return text;
    }
    return otherwise;
}

/// Sets options one after the other until one of them fails.
class OptionsSetter {
public:
    OptionsSetter()
    {
        natsOptions* made = nullptr;
        status_ = natsOptions_Create(&made);
        options_.reset(made);
    }

    template <class Set, class... Arguments>
    void set(Set operation, Arguments... arguments)
    {
        if (status_ == NATS_OK) {
            status_ = operation(options_.get(), arguments...);
        }
    }

    [[nodiscard]] natsStatus status() const noexcept { return status_; }
    [[nodiscard]] natsOptions* options() const noexcept { return options_.get(); }

private:
    OptionsPointer options_;
    natsStatus status_;
};

void setAddresses(OptionsSetter& setter, const NatsBrokerOptions& options)
{
    std::vector<const char*> servers;
    servers.reserve(options.servers.size());
    for (const std::string& server : options.servers) {
        servers.push_back(server.c_str());
    }
    setter.set(natsOptions_SetServers, servers.data(), static_cast<int>(servers.size()));
    setter.set(natsOptions_SetName, "vexa");
}

void setIdentity(OptionsSetter& setter, const NatsBrokerOptions& options)
{
    if (options.token) {
        setter.set(natsOptions_SetToken, options.token->c_str());
    }
    if (options.credentialsFile) {
        setter.set(natsOptions_SetUserCredentialsFromFiles, options.credentialsFile->c_str(), nullptr);
    }
    if (options.authorityFile) {
        setter.set(natsOptions_SetSecure, true);
        setter.set(natsOptions_LoadCATrustedCertificates, options.authorityFile->c_str());
    }
    if (options.certificateFile && options.keyFile) {
        setter.set(natsOptions_SetSecure, true);
        setter.set(natsOptions_LoadCertificatesChain, options.certificateFile->c_str(), options.keyFile->c_str());
    }
}

void setTimes(OptionsSetter& setter, const NatsBrokerOptions& options)
{
    constexpr int unansweredPings = 2;
    constexpr int forEver = -1;
    setter.set(natsOptions_SetTimeout, milliseconds(options.connectTimeLimit));
    setter.set(natsOptions_SetReconnectWait, milliseconds(options.reconnectDelay));
    setter.set(natsOptions_SetReconnectJitter, milliseconds(options.reconnectDelay),
               milliseconds(options.reconnectDelay));
    setter.set(natsOptions_SetMaxReconnect, forEver);
    setter.set(natsOptions_SetPingInterval, milliseconds(options.pingInterval));
    setter.set(natsOptions_SetMaxPingsOut, unansweredPings);
    setter.set(natsOptions_SetWriteDeadline, milliseconds(options.requestTimeLimit));
}

} // namespace

NatsLink::NatsLink(std::string prefix, Platform& platform, SerialQueueHandle queue,
                   std::weak_ptr<NatsLinkListener> listener)
    : platform_{platform}, queue_{std::move(queue)}, listener_{std::move(listener)}, prefix_{std::move(prefix)}
{}

NatsLink::~NatsLink()
{
    const HostCode scope{platform_};
    {
        const std::lock_guard lock{mutex_};
        isClosing_ = true;
    }
    for (Inbox& inbox : inboxes_) {
        natsSubscription_Destroy(std::exchange(inbox.subscription, nullptr));
    }
    natsConnection_Destroy(connection_);
    std::unique_lock lock{mutex_};
    changed_.wait(lock, [&] {
        return (isClosed_ || connection_ == nullptr) &&
               std::all_of(inboxes_.begin(), inboxes_.end(), [](const Inbox& inbox) { return inbox.isEnded; });
    });
}

std::optional<std::string> NatsLink::connect(const NatsBrokerOptions& options)
{
    const HostCode scope{platform_};
    OptionsSetter setter;
    setAddresses(setter, options);
    setIdentity(setter, options);
    setTimes(setter, options);
    // Otherwise nats.c gathers what is sent for a millisecond, which every reading from one record to the next would
    // pay.
    setter.set(natsOptions_SetSendAsap, true);
    // One thread for all inboxes: what they do is only to pass on.
    setter.set(natsOptions_UseGlobalMessageDelivery, true);
    setter.set(natsOptions_SetRetryOnFailedConnect, true, &onOpened, this);
    setter.set(natsOptions_SetReconnectedCB, &onOpened, this);
    setter.set(natsOptions_SetDisconnectedCB, &onLost, this);
    setter.set(natsOptions_SetClosedCB, &onClosed, this);
    setter.set(natsOptions_SetErrorHandler, &onError, this);
    if (setter.status() != NATS_OK) {
        return nats_GetLastError(nullptr);
    }
    const natsStatus connected = natsConnection_Connect(&connection_, setter.options());
    if (connected != NATS_OK && connected != NATS_NOT_YET_CONNECTED) {
        connection_ = nullptr;
        return natsStatus_GetText(connected);
    }
    listen(answers, prefix_ + std::string{answerPart} + ">");
    if (connected == NATS_OK) {
        notify([](NatsLinkListener& listener) { listener.linkOpened(); });
    }
    return std::nullopt;
}

std::optional<std::string> NatsLink::send(const std::string& subject, const std::string& replyTo, std::string_view text,
                                          const NatsHeaders& headers)
{
    natsMsg* made = nullptr;
    natsStatus status = natsMsg_Create(&made, subject.c_str(), replyTo.empty() ? nullptr : replyTo.c_str(), text.data(),
                                       static_cast<int>(text.size()));
    const NatsMessagePointer message{made};
    for (const auto& [name, value] : headers) {
        if (status == NATS_OK) {
            status = natsMsgHeader_Set(message.get(), name.c_str(), value.c_str());
        }
    }
    if (status == NATS_OK) {
        const HostCode scope{platform_};
        status = natsConnection_PublishMsg(connection_, message.get());
    }
    return status == NATS_OK ? std::nullopt : std::optional<std::string>{natsStatus_GetText(status)};
}

void NatsLink::listen(std::int64_t number, const std::string& subject)
{
    {
        const std::lock_guard lock{mutex_};
        inboxes_.remove_if([](const Inbox& inbox) { return inbox.isEnded; });
    }
    Inbox& inbox = inboxes_.emplace_back(Inbox{*this, number});
    natsStatus status = natsConnection_Subscribe(&inbox.subscription, connection_, subject.c_str(), &onMessage, &inbox);
    if (status != NATS_OK) {
        // The connection is closed, so that no answer will come: the time limit of what waits for one says the rest.
        inboxes_.pop_back();
        return;
    }
    status = natsSubscription_SetOnCompleteCB(inbox.subscription, &onInboxEnd, &inbox);
    if (status != NATS_OK) {
        onInboxEnd(&inbox);
    }
    // JetStream's flow control bounds what comes; a dropped answer would cost more than its memory.
    static_cast<void>(natsSubscription_SetPendingLimits(inbox.subscription, -1, -1));
}

void NatsLink::ignore(std::int64_t number)
{
    for (Inbox& inbox : inboxes_) {
        if (inbox.number == number && inbox.subscription != nullptr) {
            natsSubscription_Destroy(std::exchange(inbox.subscription, nullptr));
            return;
        }
    }
}

std::size_t NatsLink::largestMessage() const noexcept
{
    const std::int64_t bytes = natsConnection_GetMaxPayload(connection_);
    return bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
}

std::string NatsLink::server() const
{
    std::string address(256, '\0');
    if (natsConnection_GetConnectedUrl(connection_, address.data(), address.size()) != NATS_OK) {
        return {};
    }
    address.resize(address.find('\0'));
    return address;
}

template <class Call>
void NatsLink::notify(Call call)
{
    queue_->async([listener = listener_, call = std::move(call)]() mutable {
        if (const auto living = listener.lock()) {
            call(*living);
        }
    });
}

void NatsLink::markDone(bool& isDone)
{
    // The notification comes under the lock, since the link may be destroyed as soon as the lock is free.
    const std::lock_guard lock{mutex_};
    isDone = true;
    changed_.notify_all();
}

void NatsLink::onOpened(natsConnection* /*connection*/, void* link)
{
    static_cast<NatsLink*>(link)->notify([](NatsLinkListener& listener) { listener.linkOpened(); });
}

void NatsLink::onLost(natsConnection* connection, void* link)
{
    static_cast<NatsLink*>(link)->notify([reason = reasonOf(connection, "the connection was cut")](
                                             NatsLinkListener& listener) { listener.linkLost(reason); });
}

void NatsLink::onClosed(natsConnection* connection, void* link)
{
    auto* const self = static_cast<NatsLink*>(link);
    bool isClosing = false;
    {
        const std::lock_guard lock{self->mutex_};
        isClosing = self->isClosing_;
    }
    if (!isClosing) {
        self->notify([reason = reasonOf(connection, "the connection was closed")](NatsLinkListener& listener) {
            listener.linkFailed(reason);
        });
    }
    self->markDone(self->isClosed_);
}

void NatsLink::onError(natsConnection* /*connection*/, natsSubscription* /*subscription*/, natsStatus /*status*/,
                       void* /*link*/)
{
    // Without a handler nats.c prints errors to the standard error output. What they lead to is noticed anyway: a lost
    // connection is reported, a lost answer is asked for again.
}

void NatsLink::onMessage(natsConnection* /*connection*/, natsSubscription* /*subscription*/, natsMsg* message,
                         void* inbox)
{
    const auto* const self = static_cast<const Inbox*>(inbox);
    self->link.notify([number = self->number, message = NatsMessagePointer{message}](
                          NatsLinkListener& listener) mutable { listener.messageArrived(number, std::move(message)); });
}

void NatsLink::onInboxEnd(void* inbox)
{
    auto* const self = static_cast<Inbox*>(inbox);
    NatsLink& link = self->link;
    link.markDone(self->isEnded);
}

} // namespace vexa::host
