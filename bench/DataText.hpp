#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vexa::bench {

/// The texts of data messages of entries of about 200 bytes, each newer than the one before.
class DataText {
public:
    /// Entries of the subscription s-0, and of others when asked for.
    explicit DataText(std::size_t entries, std::size_t subscriptionDigits = 1)
    {
        text_ = R"({"category":"vexa","type":"data","sentAt":1700000000.25,"messages":[)";
        for (std::size_t entry = 0; entry < entries; ++entry) {
            text_ += entry > 0 ? "," : "";
            text_ += R"({"subscriptionId":"s-)";
            subscriptionsAt_.push_back(text_.size());
            text_ += std::string(subscriptionDigits, '0') + R"(","payload":{"updatedAt":)";
            timesAt_.push_back(text_.size());
            text_ += "1700000000.000000"
                     R"(,"player":"a-name-of-some-length","score":123456,"position":[12.5,88.25,3.0],)"
                     R"("inventory":{"gold":12,"wood":7},"text":"a line of chat as people write it"}})";
        }
        text_ += "]}";
        subscriptionDigits_ = subscriptionDigits;
    }

    /// The next text; the one before is gone.
    const std::string& next()
    {
        constexpr std::size_t digitsBeforeThePoint = 10;
        constexpr std::size_t digitsBehindThePoint = 6;
        constexpr std::uint64_t microseconds = 1'000'000;
        for (const std::size_t at : timesAt_) {
            ++time_;
            write(at, digitsBeforeThePoint, firstSecond_ + time_ / microseconds);
            write(at + digitsBeforeThePoint + 1, digitsBehindThePoint, time_ % microseconds);
        }
        return text_;
    }

    /// As next(), with the only entry of this subscription.
    const std::string& next(std::size_t subscription)
    {
        write(subscriptionsAt_.front(), subscriptionDigits_, subscription);
        return next();
    }

private:
    void write(std::size_t at, std::size_t digits, std::uint64_t number)
    {
        constexpr std::uint64_t base = 10;
        for (std::size_t digit = digits; digit-- > 0; number /= base) {
            text_[at + digit] = static_cast<char>('0' + number % base);
        }
    }

    static constexpr std::uint64_t firstSecond_ = 1'700'000'000;

    std::string text_;
    std::vector<std::size_t> subscriptionsAt_;
    std::vector<std::size_t> timesAt_;
    std::size_t subscriptionDigits_ = 1;
    std::uint64_t time_ = 0;
};

} // namespace vexa::bench
