#include <host/tool/client/WatchedTransport.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <cstddef>
#include <utility>

namespace vexa::host {

/// Listens beside the library to what the service answers.
class WatchedTransport::Answers final : public OruClientMessageListener {
public:
    explicit Answers(std::weak_ptr<WatchedTransport> transport) noexcept : transport_{std::move(transport)} {}

    void handleMessage(Message message) override
    {
        if (message == nullptr || stringAt(*message, "type") != "subscriptionResponse") {
            return;
        }
        if (const auto transport = transport_.lock()) {
            transport->answered(*message);
        }
    }
    void messageListenerRemoved(std::int64_t) override {}

private:
    const std::weak_ptr<WatchedTransport> transport_;
};

std::shared_ptr<WatchedTransport> WatchedTransport::make(std::shared_ptr<OruClient> transport, Refused refused)
{
    auto watched = std::make_shared<WatchedTransport>(std::move(transport), std::move(refused));
    watched->addCategoryListener("vexa", std::make_shared<Answers>(watched));
    return watched;
}

WatchedTransport::WatchedTransport(std::shared_ptr<OruClient> transport, Refused refused)
    : transport_{std::move(transport)}, refused_{std::move(refused)}
{}

std::int64_t WatchedTransport::addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener)
{
    return transport_->addConnectionListener(std::move(listener));
}

std::int64_t WatchedTransport::addCategoryListener(std::string_view category,
                                                   std::shared_ptr<OruClientMessageListener> listener)
{
    return transport_->addCategoryListener(category, std::move(listener));
}

void WatchedTransport::send(Dictionary message)
{
    if (stringAt(message, "type") == "subscribe") {
        remember(message);
    }
    transport_->send(std::move(message));
}

void WatchedTransport::remember(const Dictionary& message)
{
    const Dictionary* payload = dictionaryAt(message, "payload");
    const auto operationId = payload != nullptr ? stringAt(*payload, "operationId") : std::nullopt;
    const List* topics = payload != nullptr ? dictionariesAt(*payload, "topics") : nullptr;
    if (!operationId || topics == nullptr) {
        return;
    }
    std::vector<std::string> names;
    for (const Value& topic : *topics) {
        names.emplace_back(stringAt(topic.get_object(), "name").value_or(""));
    }
    const std::lock_guard lock{mutex_};
    requested_[std::string{*operationId}] = std::move(names);
}

void WatchedTransport::answered(const Dictionary& message)
{
    const auto operationId = stringAt(message, "operationId");
    const List* topics = dictionariesAt(message, "topics");
    if (!operationId || topics == nullptr) {
        return;
    }
    std::vector<std::string> names;
    {
        const std::lock_guard lock{mutex_};
        const auto found = requested_.find(std::string{*operationId});
        if (found == requested_.end()) {
            return;
        }
        names = std::move(found->second);
        requested_.erase(found);
    }
    for (std::size_t position = 0; position < topics->size() && position < names.size(); ++position) {
        const Dictionary& topic = (*topics)[position].get_object();
        if (!boolAt(topic, "success").value_or(false)) {
            refused_(names[position], {std::string{stringAt(topic, "error").value_or("UnknownError")},
                                       std::string{stringAt(topic, "errorMessage").value_or("")}});
        }
    }
}

} // namespace vexa::host
