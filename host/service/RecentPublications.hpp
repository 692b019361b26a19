#pragma once

#include <host/broker/Broker.hpp>

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vexa::host {

/// The publications of publishers who repeat what is not answered: those under way, and the newest that were taken. A
/// repetition gets the answer of the original and adds nothing to the topic. For one thread at a time.
class RecentPublications {
public:
    /// \param capacity  how many that were taken are remembered
    explicit RecentPublications(std::size_t capacity) noexcept : capacity_{capacity} {}

    /// Whether a publication is a new one, which the caller is to carry out and settle. For a repetition the answer is
    /// called: at once, or together with that of the original.
    bool begin(const std::string& name, PublishCompletion answer)
    {
        const auto [found, isNew] = publications_.try_emplace(name);
        if (found->second.result) {
            answer(*found->second.result);
            return false;
        }
        found->second.answers.push_back(std::move(answer));
        return isNew;
    }

    /// Ends a publication that begin() called a new one. One of which nothing was taken is forgotten, so that it can be
    /// tried again.
    void settle(const std::string& name, const PublishResult& result)
    {
        const auto found = publications_.find(name);
        const std::vector<PublishCompletion> answers = std::exchange(found->second.answers, {});
        if (result.error && result.accepted == 0) {
            publications_.erase(found);
        } else {
            found->second.result = result;
            taken_.push_back(name);
            if (taken_.size() > capacity_) {
                publications_.erase(taken_.front());
                taken_.pop_front();
            }
        }
        for (const PublishCompletion& answer : answers) {
            answer(result);
        }
    }

private:
    struct Publication {
        std::optional<PublishResult> result; ///< absent while it is under way
        std::vector<PublishCompletion> answers;
    };

    std::size_t capacity_;
    std::unordered_map<std::string, Publication> publications_;
    std::deque<std::string> taken_; ///< the names of those that were taken, the oldest first
};

} // namespace vexa::host
