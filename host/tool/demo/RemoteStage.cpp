#include <host/tool/demo/RemoteStage.hpp>
#include <host/wire/RandomName.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vexa::host {

/// Counts the connections that have opened once.
class RemoteStage::Openings final : public OruClientConnectionListener {
public:
    void connectionOpened() override
    {
        const std::lock_guard lock{mutex_};
        ++count_;
        changed_.notify_all();
    }
    void connectionClosed() override {}

    [[nodiscard]] bool await(int count, double seconds)
    {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, std::chrono::duration<double>{seconds}, [&] { return count_ >= count; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

RemoteStage::RemoteStage(const OruWebSocketClientOptions& options, Platform& platform)
    : run_{randomName(platform)},
      openings_{std::make_shared<Openings>()},
      streams_{OruWebSocketClient::make(options, platform)},
      publishing_{OruWebSocketClient::make(options, platform)},
      publisher_{publishing_, {}, platform}
{
    for (const auto& client : {streams_, publishing_}) {
        client->addConnectionListener(openings_);
        client->start();
    }
}

RemoteStage::~RemoteStage()
{
    streams_->stop();
    publishing_->stop();
}

void RemoteStage::awaitConnections(double seconds)
{
    if (!openings_->await(2, seconds)) {
        const std::string reason = publishing_->lastError();
        throw std::runtime_error{"there is no connection to the service" + (reason.empty() ? "" : ": " + reason)};
    }
}

Parameters RemoteStage::parametersOf(const Parameters& parameters) const
{
    Dictionary all;
    if (parameters && parameters->is_object()) {
        all = parameters->get_object();
    } else if (parameters) {
        all["of"] = *parameters;
    }
    all["run"] = run_;
    return Value(std::move(all));
}

void RemoteStage::publish(const std::string& topic, const Parameters& parameters, Dictionary payload)
{
    std::vector<Dictionary> payloads;
    payloads.push_back(std::move(payload));
    publisher_.publish(topic, parameters, std::move(payloads));
}

DemoStageFigures RemoteStage::figures()
{
    return {streams_->figures().connects, std::nullopt, std::nullopt};
}

} // namespace vexa::host
