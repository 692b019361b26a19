#pragma once

#include <VexaClient/transport/OruClient.hpp>

#include <memory>

namespace vexa {

/// The key of the application's transport client in the dependency container.
struct OruClientKey {
    using Value = std::shared_ptr<OruClient>;
};

} // namespace vexa
