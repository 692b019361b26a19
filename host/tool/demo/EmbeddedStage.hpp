#pragma once

#include <host/embedded/EmbeddedTransport.hpp>
#include <host/service/VexaService.hpp>
#include <host/tool/demo/DemoStage.hpp>

#include <memory>

namespace vexa::host {

/// A stage within one process.
class EmbeddedStage final : public DemoStage {
public:
    /// \param transport  to that service; registered with the container of the streams' manager
    EmbeddedStage(std::shared_ptr<VexaService> service, std::shared_ptr<EmbeddedTransport> transport) noexcept;

    [[nodiscard]] Parameters parametersOf(const Parameters& parameters) const override { return parameters; }
    void publish(const std::string& topic, const Parameters& parameters, Dictionary payload) override;
    void open() override { transport_->open(); }
    void cut() override { transport_->close(); }
    [[nodiscard]] bool isOpen() override { return transport_->isOpen(); }
    [[nodiscard]] DemoStageFigures figures() override;

private:
    const std::shared_ptr<VexaService> service_;
    const std::shared_ptr<EmbeddedTransport> transport_;
};

} // namespace vexa::host
