#include <host/publish/Publisher.hpp>
#include <host/service/ServiceMessages.hpp>
#include <host/wire/RandomName.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <charconv>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace vexa::host {

/// The requests that wait for their answers. Everything but the notifications belongs on the queue.
class Publisher::Requests final : public std::enable_shared_from_this<Requests> {
public:
    Requests(std::shared_ptr<OruClient> transport, const PublisherOptions& options, Platform& platform)
        : transport_{std::move(transport)},
          answerTimeLimit_{options.answerTimeLimit},
          platform_{platform},
          queue_{platform.makeQueue("vexapublisher")},
          name_{randomName(platform)}
    {}

    void listen();

    /// Runs `work` on the queue if the requests still exist by then.
    template <class Work>
    void onQueue(Work work)
    {
        queue_->async([requests = weak_from_this(), work = std::move(work)]() mutable {
            if (const auto existing = requests.lock()) {
                work(*existing);
            }
        });
    }

    void add(std::string_view name, const Parameters& parameters, std::vector<Dictionary> payloads,
             PublishCompletion completion);
    void end();

    void connectionOpened();
    void connectionClosed() { isOpen_ = false; }
    void answered(const Dictionary& answer);

private:
    class Listener;

    struct Request {
        Dictionary message;
        PublishCompletion completion;
        double sentAt = 0; ///< on the monotonic clock
    };

    /// The number of one of this publisher's requests.
    [[nodiscard]] std::optional<std::int64_t> numberOf(std::string_view requestId) const;

    void send(Request& request);
    void sendOverdue();
    void stopTimer();

    const std::shared_ptr<OruClient> transport_;
    const double answerTimeLimit_;
    Platform& platform_;
    const SerialQueueHandle queue_;
    const std::string name_; ///< hardly another publisher has it

    std::shared_ptr<Listener> listener_;
    bool isOpen_ = false;
    std::int64_t lastRequest_ = 0;
    std::map<std::int64_t, Request> unanswered_;
    std::shared_ptr<RepeatingTimer> timer_;
};

/// What the transport holds, which may be for longer than the publisher lives.
class Publisher::Requests::Listener final : public OruClientMessageListener, public OruClientConnectionListener {
public:
    explicit Listener(std::weak_ptr<Requests> requests) noexcept : requests_{std::move(requests)} {}

    void handleMessage(Message message) override
    {
        if (message == nullptr || stringAt(*message, "type") != "publishResponse") {
            return;
        }
        tell([message = std::move(message)](Requests& requests) { requests.answered(*message); });
    }
    void messageListenerRemoved(std::int64_t) override {}

    void connectionOpened() override
    {
        tell([](Requests& requests) { requests.connectionOpened(); });
    }
    void connectionClosed() override
    {
        tell([](Requests& requests) { requests.connectionClosed(); });
    }

private:
    template <class Work>
    void tell(Work work)
    {
        if (const auto requests = requests_.lock()) {
            requests->onQueue(std::move(work));
        }
    }

    const std::weak_ptr<Requests> requests_;
};

void Publisher::Requests::listen()
{
    const auto listener = std::make_shared<Listener>(weak_from_this());
    // Also held here, for transports that do not.
    listener_ = listener;
    transport_->addCategoryListener("vexa", listener);
    transport_->addConnectionListener(listener);
    onQueue([](Requests& requests) {
        // What opened before the registration is not told of.
        requests.isOpen_ = requests.isOpen_ || requests.transport_->isOpen();
    });
}

void Publisher::Requests::add(std::string_view name, const Parameters& parameters, std::vector<Dictionary> payloads,
                              PublishCompletion completion)
{
    const std::int64_t number = ++lastRequest_;
    Request& request = unanswered_[number];
    request.message =
        publishRequest(joined({name_, "-", decimal(number)}), name_, name, parameters, std::move(payloads));
    request.completion = std::move(completion);
    if (timer_ == nullptr) {
        const double interval = answerTimeLimit_ / 2;
        timer_ = queue_->startTimer({interval, interval, interval / 2}, [requests = weak_from_this()] {
            if (const auto existing = requests.lock()) {
                existing->sendOverdue();
            }
        });
    }
    if (isOpen_) {
        send(request);
    }
}

void Publisher::Requests::end()
{
    stopTimer();
    unanswered_.clear();
}

void Publisher::Requests::connectionOpened()
{
    isOpen_ = true;
    for (auto& [number, request] : unanswered_) {
        send(request);
    }
}

void Publisher::Requests::answered(const Dictionary& answer)
{
    auto response = readPublishResponse(answer);
    const auto number = response ? numberOf(response->requestId) : std::nullopt;
    const auto found = number ? unanswered_.find(*number) : unanswered_.end();
    if (found == unanswered_.end()) {
        return;
    }
    const PublishCompletion completion = std::move(found->second.completion);
    unanswered_.erase(found);
    if (unanswered_.empty()) {
        stopTimer();
    }
    if (completion) {
        callHost(platform_, "the completion of a publication", [&] { completion(std::move(response->result)); });
    }
}

std::optional<std::int64_t> Publisher::Requests::numberOf(std::string_view requestId) const
{
    if (!requestId.starts_with(name_) || requestId.size() < name_.size() + 2) {
        return std::nullopt;
    }
    std::int64_t number = 0;
    const char* const end = requestId.data() + requestId.size();
    const auto [stop, error] = std::from_chars(requestId.data() + name_.size() + 1, end, number);
    return error == std::errc{} && stop == end ? std::optional{number} : std::nullopt;
}

void Publisher::Requests::send(Request& request)
{
    request.sentAt = platform_.monotonicNow();
    callHost(platform_, "a transport's send", [&] { transport_->send(request.message); });
}

void Publisher::Requests::sendOverdue()
{
    if (!isOpen_) {
        return;
    }
    const double overdueSince = platform_.monotonicNow() - answerTimeLimit_;
    for (auto& [number, request] : unanswered_) {
        if (request.sentAt <= overdueSince) {
            send(request);
        }
    }
}

void Publisher::Requests::stopTimer()
{
    if (const auto timer = std::exchange(timer_, nullptr)) {
        timer->cancel();
    }
}

Publisher::Publisher(std::shared_ptr<OruClient> transport, const PublisherOptions& options, Platform& platform)
    : requests_{std::make_shared<Requests>(std::move(transport), options, platform)}
{
    requests_->listen();
}

Publisher::~Publisher()
{
    requests_->onQueue([requests = requests_](Requests&) { requests->end(); });
}

void Publisher::publish(std::string_view name, const Parameters& parameters, std::vector<Dictionary> payloads,
                        PublishCompletion completion)
{
    requests_->onQueue([name = std::string{name}, parameters, payloads = std::move(payloads),
                        completion = std::move(completion)](Requests& requests) mutable {
        requests.add(name, parameters, std::move(payloads), std::move(completion));
    });
}

} // namespace vexa::host
