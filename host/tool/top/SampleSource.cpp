#include <host/tool/client/BearerToken.hpp>
#include <host/tool/client/ServiceConnection.hpp>
#include <host/tool/top/SampleSource.hpp>
#include <host/websocket/SteadyDuration.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace vexa::host {

namespace {

constexpr unsigned statusOk = 200;
constexpr unsigned statusUnauthorized = 401;
constexpr unsigned statusUnavailable = 503;

/// Seconds after which a service that does not answer is asked again, if samples are not taken more often anyway.
constexpr double longestRetryInterval = 5;

/// The path that the pages of a service are under.
std::string folderOf(std::string_view target)
{
    std::string_view path = target.substr(0, target.find('?'));
    while (path.ends_with('/')) {
        path.remove_suffix(1);
    }
    return std::string{path};
}

/// What a service says about a request that it refuses; empty when it says nothing.
std::string explanationIn(const HttpReply& reply)
{
    boost::system::error_code error;
    const Dictionary page = readMessage(reply.body, error);
    const auto message = stringAt(page, "errorMessage");
    return message ? joined({": ", escapeControlCharacters(*message)}) : std::string{};
}

SampleFailure refusal(const std::string& url, const std::string& name, const HttpReply& reply)
{
    std::string text = fmt::format("{} answers {} with {} {}{}", url, name, reply.status,
                                   escapeControlCharacters(reply.reason), explanationIn(reply));
    if (reply.status == statusUnauthorized) {
        text += "; name a file with a valid token with --token-file FILE";
    } else if (reply.status != statusUnavailable) {
        text += "; is it a service of 'vexa serve'? Name another one with --url";
    }
    return SampleFailure{text};
}

} // namespace

SampleSource::SampleSource(boost::asio::io_context& context, const ConnectionOptions& options,
                           std::optional<std::size_t> atMost)
    : context_{context},
      url_{options.url},
      isVerbose_{options.isVerbose},
      topicsPage_{atMost ? fmt::format("/topics?limit={}", *atMost) : "/topics"}
{
    HttpClientOptions client;
    client.address = webSocketAddress(options.url);
    client.tls = {options.verifiesPeer, options.authoritiesFile, options.certificateFile, options.privateKeyFile};
    client.bearerToken = readBearerToken(options.tokenFile);
    folder_ = folderOf(client.address.target);
    client_.emplace(context, std::move(client));
}

std::string SampleSource::advice(HttpTrouble trouble) const
{
    switch (trouble) {
    case HttpTrouble::unreachable:
        return "; start a service with 'vexa serve' or name another one with --url";
    case HttpTrouble::untrusted:
        return "; name the authority that has issued it with --ca FILE";
    case HttpTrouble::late:
        return "; try again later or name another service with --url";
    case HttpTrouble::unreadable:
        break;
    }
    return "; is it a service of 'vexa serve'? Name another one with --url";
}

boost::asio::awaitable<HttpReply> SampleSource::page(std::string name, bool mayBeUnavailable)
{
    HttpReply reply;
    std::string trouble;
    try {
        reply = co_await client_->get(folder_ + name);
    } catch (const HttpFailure& failure) {
        trouble =
            joined({"no answer from ", url_, ": ", escapeControlCharacters(failure.what()), advice(failure.trouble())});
    }
    if (!trouble.empty()) {
        throw SampleFailure{trouble};
    }
    if (isVerbose_) {
        note(fmt::format("vexa: {}{}: {} and {} bytes", folder_, name, reply.status, reply.body.size()));
    }
    if (reply.status != statusOk && !(mayBeUnavailable && reply.status == statusUnavailable)) {
        throw refusal(url_, name, reply);
    }
    co_return reply;
}

boost::asio::awaitable<ServiceSample> SampleSource::take()
{
    const HttpReply health = co_await page("/healthz", true);
    const HttpReply topics = co_await page(topicsPage_, false);
    const HttpReply metrics = co_await page("/metrics", false);
    ServiceSample sample;
    std::string trouble;
    try {
        sample = readServiceSample({health.body, topics.body, metrics.body});
    } catch (const std::invalid_argument& complaint) {
        trouble = joined({url_, " is no service of 'vexa serve': ", complaint.what(), "; name another one with --url"});
    }
    if (!trouble.empty()) {
        throw SampleFailure{trouble};
    }
    co_return sample;
}

boost::asio::awaitable<void> SampleSource::takeForEver(double interval, Taken taken, Failed failed)
{
    boost::asio::steady_timer timer{context_};
    for (;;) {
        const auto begin = std::chrono::steady_clock::now();
        std::optional<ServiceSample> sample;
        std::string reason;
        try {
            sample = co_await take();
        } catch (const SampleFailure& failure) {
            reason = failure.what();
        }
        const bool isTaken = sample.has_value();
        if (isTaken) {
            taken(*std::move(sample));
        } else {
            failed(reason);
        }
        timer.expires_at(begin + steadyDuration(isTaken ? interval : std::min(interval, longestRetryInterval)));
        co_await timer.async_wait(boost::asio::use_awaitable);
    }
}

} // namespace vexa::host
