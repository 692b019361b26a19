#pragma once

#include <host/publish/Publisher.hpp>
#include <host/tool/demo/DemoStage.hpp>
#include <host/websocket/OruWebSocketClient.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <memory>
#include <string>

namespace vexa::host {

/// A stage across a network: one connection for the streams, which is cut, and another one to publish on. The topics
/// have a parameter more, which is of this run alone, so that runs do not meet.
class RemoteStage final : public DemoStage {
public:
    /// Begins to connect. Throws std::invalid_argument when the options cannot be used.
    RemoteStage(const OruWebSocketClientOptions& options, Platform& platform);

    /// Ends the connections and waits for that.
    ~RemoteStage() override;

    RemoteStage(const RemoteStage&) = delete;
    RemoteStage& operator=(const RemoteStage&) = delete;

    /// Waits for both connections to open. Throws std::runtime_error, with the reason, when they are not open in time.
    ///
    /// \param seconds  until then
    void awaitConnections(double seconds);

    /// The connection of the streams, for the container of their manager.
    [[nodiscard]] const std::shared_ptr<OruWebSocketClient>& transport() const noexcept { return streams_; }

    [[nodiscard]] Parameters parametersOf(const Parameters& parameters) const override;
    void publish(const std::string& topic, const Parameters& parameters, Dictionary payload) override;
    void open() override { streams_->setNetworkAvailable(true); }
    void cut() override { streams_->setNetworkAvailable(false); }
    [[nodiscard]] bool isOpen() override { return streams_->isOpen(); }
    [[nodiscard]] DemoStageFigures figures() override;

private:
    class Openings;

    const std::string run_;
    const std::shared_ptr<Openings> openings_;
    const std::shared_ptr<OruWebSocketClient> streams_;
    const std::shared_ptr<OruWebSocketClient> publishing_;
    Publisher publisher_;
};

} // namespace vexa::host
