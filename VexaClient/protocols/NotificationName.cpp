#include <VexaClient/protocols/NotificationName.hpp>

namespace vexa {

const NotificationName& NotificationName::vexaSubscriptionCreated()
{
    // Never destroyed, so that it can be read while the process exits.
    static const auto* const name = new NotificationName{"VexaSubscriptionCreated"};
    return *name;
}

} // namespace vexa
