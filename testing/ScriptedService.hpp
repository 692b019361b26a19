#pragma once

#include <testing/FakeTransport.hpp>
#include <testing/ServiceMessages.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::testing {

class ScriptedService;

/// A subscribe request that a ScriptedService has received. Each reply is delivered at once, and what it makes ready
/// runs before the call returns.
class ReceivedSubscribe {
public:
    [[nodiscard]] const Dictionary& message() const noexcept { return message_; }
    [[nodiscard]] const std::string& operationId() const noexcept { return operationId_; }

    /// The topics as the request lists them.
    [[nodiscard]] std::vector<Dictionary> topics() const { return topicsOf(message_); }

    /// Answers the request with one entry for each of its topics, made by success() and failure().
    template <class... Entries>
    void reply(Entries&&... entries)
    {
        replyWith(subscriptionResponse(operationId_, std::vector<Dictionary>{std::forward<Entries>(entries)...}));
    }

    /// Answers with the entries, but without one part of the answer.
    void replyWithoutOperationId(const std::vector<Dictionary>& entries);
    void replyWithoutTopics();

    /// Answers the request with any message.
    void replyWith(Dictionary answer);

private:
    friend class ScriptedService;
    ReceivedSubscribe(ScriptedService& service, Dictionary message);

    ScriptedService& service_;
    Dictionary message_;
    std::string operationId_;
};

/// The service's side of a conversation, told in the lines of a test:
///
///     service.expectSubscribe("scores").reply(success("s-1"));
///     service.data({entry("s-1", {{"score", 1}})});
///     service.terminate("s-1");
///
/// It reads what the client has sent from a FakeTransport, and delivers through it. Every call first runs what is ready
/// on the platform, and after a delivery what that made ready. An expectation that does not hold throws
/// std::logic_error with a text that lists what came instead and how to repeat the run.
class ScriptedService {
public:
    /// Both must outlive the service.
    ScriptedService(VirtualPlatform& platform, FakeTransport& transport) noexcept
        : platform_{platform}, transport_{transport}
    {}

    /// The newest subscribe request that lists the topic and has had no reply. A request that was sent again counts
    /// with its newest sending.
    ReceivedSubscribe expectSubscribe(std::string_view topicName);

    /// The newest subscribe request that has had no reply and lists exactly these topics, in any order.
    ReceivedSubscribe expectSubscribe(std::vector<std::string> topicNames);
    ReceivedSubscribe expectSubscribe(std::initializer_list<std::string> topicNames)
    {
        return expectSubscribe(std::vector<std::string>{topicNames});
    }

    /// Nothing was sent since the last expectation, or since the start.
    void expectNothingSent();

    /// Publishes a batch. "sentAt" is left out when absent. Returns the message as the client's listeners received it.
    Message data(const std::vector<Dictionary>& entries, std::optional<double> sentAt = std::nullopt);

    /// Ends a subscription with a message of its own.
    Message terminate(std::string_view subscriptionId);

    /// Opens the connection, or closes it, and tells the client.
    void open();
    void close();

    /// Delivers any message.
    Message deliver(Dictionary message);

private:
    friend class ReceivedSubscribe;

    /// The newest request without a reply whose topic names `isWanted` accepts. Throws with `wanted` when there is
    /// none.
    template <class Predicate>
    ReceivedSubscribe expect(const std::string& wanted, Predicate&& isWanted);
    [[nodiscard]] std::string describeSent(std::size_t first) const;
    [[noreturn]] void fail(const std::string& complaint) const;

    VirtualPlatform& platform_;
    FakeTransport& transport_;
    std::set<std::string, std::less<>> answered_; ///< operation ids
    std::size_t seen_ = 0;                        ///< how many sent messages the last expectation knew
};

} // namespace vexa::testing
