#pragma once

#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <memory>

namespace vexa::testing {

/// A client and a manager apart from those of the process, which go when it goes.
///
/// A manager and its client keep each other alive, as the process-wide ones should. A test wants its own to end, with
/// all that their listeners and queues hold.
class StandaloneLibrary {
public:
    /// \param platform   must outlive it
    /// \param container  must outlive it; where the client finds its transport
    StandaloneLibrary(Platform& platform, Dependencies& container);

    /// Parts the client from its manager. Blocks until the client has done what it was asked before, so it must not be
    /// called on a queue of the library.
    ~StandaloneLibrary();

    StandaloneLibrary(const StandaloneLibrary&) = delete;
    StandaloneLibrary& operator=(const StandaloneLibrary&) = delete;

    [[nodiscard]] const std::shared_ptr<VexaOruClient>& client() const noexcept { return client_; }
    [[nodiscard]] const std::shared_ptr<VexaOruSubscriptionManager>& manager() const noexcept { return manager_; }

private:
    const std::shared_ptr<VexaOruClient> client_;
    const std::shared_ptr<VexaOruSubscriptionManager> manager_;
};

} // namespace vexa::testing
