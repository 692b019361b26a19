#include <host/service/ClientConnection.hpp>
#include <VexaClient/platform/Text.hpp>

#include <utility>

namespace vexa::host {

void ClientConnection::publish(const Dictionary& message)
{
    auto request = readPublishRequest(message);
    if (!request) {
        ++service_->figures.malformed;
        return;
    }
    if (const auto* error = std::get_if<ServiceError>(&request->publication)) {
        ++service_->figures.malformed;
        send(publishResponse(request->requestId, {0, *error}));
        return;
    }
    if (const auto refusal = refusalOf(std::get<Publication>(request->publication).topic)) {
        send(publishResponse(request->requestId, {0, refusal}));
        return;
    }
    PublishCompletion answer = [self = shared_from_this(), requestId = request->requestId](
                                   const PublishResult& result) { self->send(publishResponse(requestId, result)); };
    std::string name;
    if (!request->publisher.empty()) {
        name = joined({request->publisher, "\n", request->requestId});
        if (!service_->publications.begin(name, std::move(answer))) {
            ++service_->figures.repeated;
            return;
        }
        answer = [service = service_, name](const PublishResult& result) {
            service->publications.settle(name, result);
        };
    }
    auto publication = std::get<Publication>(std::move(request->publication));
    PublishCompletion completion = [self = shared_from_this(), topic = publication.topic,
                                    answer = std::move(answer)](PublishResult result) {
        self->queue().async([self, topic, answer, result = std::move(result)] {
            self->service_->countPublication(topic, result);
            answer(result);
            self->publicationAnswered();
        });
    };
    ++begunPublications_;
    Broker& broker = *service_->broker;
    if (name.empty()) {
        broker.publish(std::move(publication.topic), std::move(publication.payloads), std::move(completion));
    } else {
        broker.publishOnce(name, std::move(publication.topic), std::move(publication.payloads), std::move(completion));
    }
}

void ClientConnection::publicationAnswered()
{
    ++answeredPublications_;
    while (!waiting_.empty() && waiting_.front().publications <= answeredPublications_) {
        const auto then = std::move(waiting_.front().then);
        waiting_.pop_front();
        callGuarded(service_->platform, "who waits for a session", then);
    }
}

} // namespace vexa::host
