#pragma once

#include "tests/simulation/Draws.hpp"
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace vexa::simulation {

/// The service at the far end: it remembers what it was asked for, and makes up answers and messages, good ones and
/// others.
class SimulatedService {
public:
    struct Request {
        std::string operationId;
        std::size_t topics = 0;
    };

    /// What an answer is like.
    enum class Answer : std::uint8_t { success, failures, mixed, withoutIds, usedIds, tooFew, tooMany };

    /// Takes a message of the client's; what is no subscribe request is ignored.
    void receive(const Dictionary& message);

    [[nodiscard]] bool hasUnanswered() const noexcept { return !unanswered_.empty(); }
    [[nodiscard]] bool hasAnswered() const noexcept { return !answered_.empty(); }
    [[nodiscard]] bool hasSubscriptions() const noexcept { return !ids_.empty(); }

    /// Answers a request that waits for it, any of them.
    [[nodiscard]] Dictionary answer(Answer answer, Draws& draws);

    /// Answers a request a second time.
    [[nodiscard]] Dictionary answerAgain(Draws& draws);

    /// Answers a request that was never made.
    [[nodiscard]] Dictionary answerUnasked(Draws& draws);

    /// Forgets a request that waits for an answer.
    void lose(Draws& draws);

    /// A data message with `count` entries.
    [[nodiscard]] Dictionary data(std::size_t count, bool terminates, double now, Draws& draws);

    /// Forgets subscriptions and requests, as a service that starts anew. Answers that were given may come again.
    void restart();

private:
    [[nodiscard]] Dictionary answerTo(const Request& request, Answer answer, Draws& draws);
    [[nodiscard]] Dictionary entry(Answer answer, Draws& draws);
    [[nodiscard]] Dictionary message(bool terminates, double now, Draws& draws);
    [[nodiscard]] const std::string& someId(Draws& draws) const;
    [[nodiscard]] std::string newId();

    std::deque<Request> unanswered_;
    std::vector<Request> answered_;
    std::vector<std::string> ids_;
    std::int64_t generation_ = 1;
    std::int64_t lastId_ = 0;
};

/// Makes one thing about a message wrong: a part of it, however deep, is left out, becomes null or something of another
/// type, or comes twice.
void mutate(Dictionary& message, Draws& draws);

} // namespace vexa::simulation
