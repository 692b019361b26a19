#pragma once

#include "Gate.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <cstddef>
#include <memory>

namespace vexa {

/// Holds up every worker of a platform, and those that it adds meanwhile, from the construction to the end.
///
/// Far more closures wait in front of the workers than the platform adds workers for while a test runs, so nothing that
/// becomes ready behind them finds a worker.
class HeldUpWorkers {
public:
    HeldUpWorkers(SystemPlatform& platform, std::size_t workers)
    {
        for (std::size_t i = 0; i < inFront; ++i) {
            platform.execute([gate = gate_] { gate->pass(); });
        }
        gate_->awaitArrivals(workers);
    }

    ~HeldUpWorkers() { gate_->open(); }
    HeldUpWorkers(const HeldUpWorkers&) = delete;
    HeldUpWorkers& operator=(const HeldUpWorkers&) = delete;

private:
    static constexpr std::size_t inFront = 10'000;

    std::shared_ptr<Gate> gate_ = std::make_shared<Gate>();
};

} // namespace vexa
