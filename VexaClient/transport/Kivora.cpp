#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/transport/OruClientKey.hpp>

namespace vexa {

Dependencies& Dependencies::shared()
{
    static auto* const container = new Dependencies;
    return *container;
}

std::shared_ptr<OruClient> Dependencies::oruClient() const
{
    std::shared_ptr<OruClient> client = get<OruClientKey>();
    if (client == nullptr) {
        fatal("no transport client is registered; call vexa::Dependencies::shared().oruClient(yourClient) "
              "before the library is first used");
    }
    return client;
}

void Dependencies::oruClient(std::shared_ptr<OruClient> client)
{
    set<OruClientKey>(std::move(client));
}

} // namespace vexa
