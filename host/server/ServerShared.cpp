#include <host/server/ServerShared.hpp>
#include <host/server/ServerTls.hpp>

#include <utility>

namespace vexa::host {

namespace {

/// The least time between two notices of one kind, in seconds.
constexpr double betweenNotices = 10;

} // namespace

ServerShared::ServerShared(std::shared_ptr<VexaService> service, VexaServerOptions options, Platform& platform)
    : startedAt{platform.now()}, service_{std::move(service)}, options_{std::move(options)}, platform_{platform}
{
    if (!options_.tls.certificateChain.empty() || !options_.tls.privateKey.empty() ||
        !options_.tls.clientAuthorities.empty()) {
        tls_.emplace(makeServerTls(options_.tls));
    }
    reloadTokens();
}

void ServerShared::reloadTokens()
{
    if (options_.tokenFile.empty()) {
        return;
    }
    auto read = std::make_shared<const BearerTokens>(BearerTokens::readFile(options_.tokenFile));
    const std::lock_guard lock{tokensMutex_};
    tokens_ = std::move(read);
}

bool ServerShared::isAuthorized(std::string_view authorization) const
{
    std::shared_ptr<const BearerTokens> tokens;
    {
        const std::lock_guard lock{tokensMutex_};
        tokens = tokens_;
    }
    return tokens == nullptr || tokens->allow(authorization);
}

void ServerShared::notice(std::string_view kind, const std::function<std::string(std::uint64_t)>& sentence)
{
    if (!options_.notice) {
        return;
    }
    std::optional<std::uint64_t> times;
    {
        const std::lock_guard lock{noticesMutex_};
        const auto line = notices_.try_emplace(std::string{kind}, betweenNotices).first;
        times = line->second.happened(platform_.monotonicNow());
    }
    if (times) {
        callGuarded(platform_, "who takes the notices of a server", [&] { options_.notice(sentence(*times)); });
    }
}

} // namespace vexa::host
