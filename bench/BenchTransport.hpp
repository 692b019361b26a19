#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parser.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace vexa::bench {

/// A received frame as a real transport makes it: parsed once, into memory of its own that dies in one piece.
class Frame {
public:
    [[nodiscard]] static Message parse(std::string_view text)
    {
        const auto frame = std::make_shared<Frame>(text.size());
        boost::json::parser parser(boost::json::storage_ptr(), boost::json::parse_options(), frame->scratch_.data(),
                                   frame->scratch_.size());
        parser.reset(boost::json::storage_ptr(&frame->memory_));
        parser.write(text.data(), text.size());
        new (&frame->value_) Value(parser.release());
        return Message{frame, &frame->value_.get_object()};
    }

    explicit Frame(std::size_t textSize) : memory_(4 * textSize) {}

private:
    std::array<unsigned char, 1024> scratch_;
    boost::json::monotonic_resource memory_;
    Value value_{nullptr};
};

/// A transport whose service confirms each subscribe request at once. The subscription id of a topic is s- and the
/// number that its name ends with, or 0 when there is none, however often it is asked for. It is open at first.
class BenchTransport final : public OruClient {
public:
    /// \param idDigits  how many digits the subscription ids have at least.
    explicit BenchTransport(std::size_t idDigits = 1) : idDigits_{idDigits} {}

    class Logger final : public OruClientLogger {
    public:
        void consoleLog(std::string_view) override {}
        void serverLog(std::string_view, Dictionary, std::int64_t) override { reports.fetch_add(1); }

        std::atomic<std::uint64_t> reports{0};
    };

    [[nodiscard]] std::shared_ptr<OruClientLogger> logger() override { return logger_; }
    [[nodiscard]] bool isVisible() override { return true; }
    [[nodiscard]] bool isOpen() override { return isOpen_; }

    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override
    {
        const std::lock_guard lock{mutex_};
        connectionListener_ = std::move(listener);
        return 1;
    }

    std::int64_t addCategoryListener(std::string_view, std::shared_ptr<OruClientMessageListener> listener) override
    {
        const std::lock_guard lock{mutex_};
        listener_ = std::move(listener);
        return 2;
    }

    void send(Dictionary request) override
    {
        const Dictionary& payload = request.at("payload").as_object();
        const std::uint64_t count = payload.at("topics").as_array().size();
        List answers;
        for (const Value& topic : payload.at("topics").as_array()) {
            answers.emplace_back(
                Dictionary{{"success", true}, {"subscriptionId", idFor(topic.at("name").as_string())}});
        }
        Dictionary response{{"category", "vexa"},
                            {"type", "subscriptionResponse"},
                            {"operationId", payload.at("operationId")},
                            {"topics", std::move(answers)}};
        deliver(std::make_shared<const Dictionary>(std::move(response)));
        // Behind the answer, so that whoever has seen it can send data.
        confirmed_.fetch_add(count);
    }

    void deliver(Message message) { listener_->handleMessage(std::move(message)); }

    void close() { isOpen_ = false; }

    /// Closes; on the next connection all topics have other ids, as with a service that knows nothing of earlier ones.
    void cut()
    {
        close();
        prefix_ += "c";
    }

    void open()
    {
        isOpen_ = true;
        connectionListener_->connectionOpened();
    }

    /// How many diagnostic reports have come.
    [[nodiscard]] std::uint64_t reports() const { return logger_->reports.load(); }

    /// How many topics have been confirmed.
    [[nodiscard]] std::uint64_t confirmed() const { return confirmed_.load(); }

private:
    [[nodiscard]] std::string idFor(std::string_view name) const
    {
        const std::size_t end = name.find_last_not_of("0123456789");
        std::string number{name.substr(end + 1)};
        // Names may have more digits than ids, or fewer.
        number.erase(0, std::min(number.find_first_not_of('0'), number.size()));
        number.insert(0, number.size() < idDigits_ ? idDigits_ - number.size() : 0, '0');
        return prefix_ + "s-" + number;
    }

    const std::size_t idDigits_;
    std::string prefix_; ///< changes while it is closed
    std::shared_ptr<Logger> logger_ = std::make_shared<Logger>();
    std::mutex mutex_;
    std::shared_ptr<OruClientMessageListener> listener_;
    std::shared_ptr<OruClientConnectionListener> connectionListener_;
    std::atomic<bool> isOpen_{true};
    std::atomic<std::uint64_t> confirmed_{0};
};

} // namespace vexa::bench
