#include <testing/StandaloneLibrary.hpp>

namespace vexa::testing {

StandaloneLibrary::StandaloneLibrary(Platform& platform, Dependencies& container)
    : client_{VexaOruClient::make(platform, container)}, manager_{VexaOruSubscriptionManager::make(platform, client_)}
{}

StandaloneLibrary::~StandaloneLibrary()
{
    client_->setMessageFeedDelegate(nullptr);
    static_cast<void>(client_->state());
}

} // namespace vexa::testing
