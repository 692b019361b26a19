#include <host/tool/demo/EmbeddedStage.hpp>

#include <utility>
#include <vector>

namespace vexa::host {

EmbeddedStage::EmbeddedStage(std::shared_ptr<VexaService> service,
                             std::shared_ptr<EmbeddedTransport> transport) noexcept
    : service_{std::move(service)}, transport_{std::move(transport)}
{}

void EmbeddedStage::publish(const std::string& topic, const Parameters& parameters, Dictionary payload)
{
    std::vector<Dictionary> payloads;
    payloads.push_back(std::move(payload));
    service_->publish(topic, parameters, std::move(payloads));
}

DemoStageFigures EmbeddedStage::figures()
{
    const ServiceFigures figures = service_->figures();
    return {transport_->figures().openings, figures.echoes, figures.serverLogRecords};
}

} // namespace vexa::host
