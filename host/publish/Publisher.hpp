#pragma once

#include <host/broker/Broker.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace vexa::host {

struct PublisherOptions {
    /// Seconds after which a request without an answer is sent again on the same connection. More than 0.
    double answerTimeLimit = 10;
};

/// Publishes on topics of a service over a transport client.
///
/// Requests go out in the order of the calls. One that is not answered goes out again, unchanged and in its place: on
/// every connection that opens, and when its answer is overdue. Each carries the publisher's name and a number, by
/// which the service knows a request that it has taken already, so that a repetition adds nothing to the topic.
///
/// Any thread may call any operation; all return at once.
class Publisher {
public:
    explicit Publisher(std::shared_ptr<OruClient> transport, const PublisherOptions& options = {},
                       Platform& platform = Platform::system());

    /// Forgets the requests that have no answer; their completions are not called.
    ~Publisher();

    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    /// Adds payloads to a topic, in order and next to each other. A payload whose "isTerminating" is true ends the
    /// topic. The completion, which may be empty, is called once, on a queue of the publisher's, when the service has
    /// answered, however long that takes. Whatever it throws is written to the system log.
    void publish(std::string_view name, const Parameters& parameters, std::vector<Dictionary> payloads,
                 PublishCompletion completion = {});

private:
    class Requests;

    const std::shared_ptr<Requests> requests_;
};

} // namespace vexa::host
