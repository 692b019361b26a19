#include <host/server/HttpAnswers.hpp>
#include <host/server/JsonPages.hpp>
#include <host/server/MetricsPage.hpp>
#include <host/server/PrometheusText.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/verb.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>

namespace vexa::host {

namespace {

namespace http = boost::beast::http;

enum class Page : std::uint8_t { webSocket, health, metrics, records, topics };

std::string_view standard(boost::beast::string_view text) noexcept
{
    return {text.data(), text.size()};
}

std::string_view pathOf(std::string_view target) noexcept
{
    return target.substr(0, target.find('?'));
}

std::optional<Page> pageAt(std::string_view path) noexcept
{
    constexpr std::array<std::pair<std::string_view, Page>, 5> pages{{{"/", Page::webSocket},
                                                                      {"/healthz", Page::health},
                                                                      {"/metrics", Page::metrics},
                                                                      {"/records", Page::records},
                                                                      {"/topics", Page::topics}}};
    for (const auto& [name, page] : pages) {
        if (name == path) {
            return page;
        }
    }
    return std::nullopt;
}

/// The number that a query such as ?limit=20 names; nothing when it names none. An error when it is no number.
std::optional<std::size_t> limitIn(std::string_view target, bool& isMalformed)
{
    constexpr std::string_view key = "limit=";
    isMalformed = false;
    const std::size_t mark = target.find('?');
    std::string_view query = mark == std::string_view::npos ? std::string_view{} : target.substr(mark + 1);
    while (!query.empty()) {
        const std::size_t end = query.find('&');
        const std::string_view part = query.substr(0, end);
        query.remove_prefix(end == std::string_view::npos ? query.size() : end + 1);
        if (part.starts_with(key)) {
            const std::string_view digits = part.substr(key.size());
            std::size_t number = 0;
            const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
            isMalformed = digits.empty() || read.ec != std::errc{} || read.ptr != digits.data() + digits.size();
            return number;
        }
    }
    return std::nullopt;
}

HttpAnswer jsonAnswer(std::string body, unsigned status = 200)
{
    return {status, "application/json", std::move(body), {}, false};
}

HttpAnswer health(const ServerShared& shared)
{
    BrokerStatus broker = shared.service().brokerStatus();
    if (shared.isStopping) {
        broker = {false, "the server is stopping"};
    }
    const double uptime = shared.platform().now() - shared.startedAt;
    return jsonAnswer(healthPage(broker, uptime), broker.isHealthy ? 200 : 503);
}

HttpAnswer metrics(const ServerShared& shared, const ServiceFigures& figures)
{
    return {200,
            std::string{PrometheusText::contentType},
            metricsPage({figures, shared.figures(), shared.service().brokerStatus(), processUse(), shared.startedAt}),
            {},
            false};
}

ServiceOverview overviewOf(const ServerShared& shared, const ServiceFigures& figures)
{
    const double now = shared.platform().now();
    return {now, now - shared.startedAt, figures, shared.figures(), shared.service().brokerStatus()};
}

/// The time of a moment as RFC 9110, section 5.6.7, writes it.
std::string httpDate(double now)
{
    constexpr std::array<const char*, 7> days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array<const char*, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto seconds = static_cast<std::time_t>(now);
    std::tm time{};
    ::gmtime_r(&seconds, &time);
    std::array<char, 64> text{};
    const int length = std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                                     days[static_cast<std::size_t>(time.tm_wday)], time.tm_mday,
                                     months[static_cast<std::size_t>(time.tm_mon)], time.tm_year + 1900, time.tm_hour,
                                     time.tm_min, time.tm_sec);
    return {text.data(), static_cast<std::size_t>(length)};
}

} // namespace

HttpAnswer refusal(unsigned status, const ServiceError& error)
{
    return jsonAnswer(errorPage(error), status);
}

std::optional<HttpAnswer> answerToUnreadable(const boost::system::error_code& error)
{
    HttpAnswer answer;
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
        answer = refusal(431, {"HeaderTooLarge", "The head of the request is too large"});
    } else if (error == http::error::body_limit) {
        answer = refusal(413, {"BodyTooLarge", "The body of the request is too large"});
    } else if (error == http::error::bad_version) {
        answer = refusal(505, {"UnknownVersion", "The server speaks HTTP/1.0 and HTTP/1.1"});
    } else if (error == http::error::end_of_stream || error == http::error::partial_message ||
               error.category() != make_error_code(http::error::bad_method).category()) {
        return std::nullopt;
    } else {
        answer = refusal(400, {"BadRequest", joined({"This is no HTTP request: ", error.message()})});
    }
    answer.closes = true;
    return answer;
}

std::optional<HttpAnswer> refuse(ServerShared& shared, const HttpRequest& request)
{
    const auto page = pageAt(pathOf(standard(request.target())));
    if (request.version() == 11 && request.count(http::field::host) != 1) {
        return refusal(400, {"BadRequest", "A request names its host, once"});
    }
    if (page != Page::health && !shared.isAuthorized(standard(request[http::field::authorization]))) {
        HttpAnswer answer = refusal(401, {"Unauthorized", "The request needs a valid bearer token"});
        answer.fields.emplace_back(http::field::www_authenticate, R"(Bearer realm="vexa")");
        return answer;
    }
    if (!page) {
        return refusal(404, {"NotFound", "There are /healthz, /metrics, /records and /topics, and a WebSocket at /"});
    }
    const bool isHead = request.method() == http::verb::head;
    if (request.method() != http::verb::get && !isHead) {
        HttpAnswer answer = refusal(405, {"MethodNotAllowed", "The server answers GET and HEAD"});
        answer.fields.emplace_back(http::field::allow, "GET, HEAD");
        return answer;
    }
    if (const auto expectation = request.find(http::field::expect);
        expectation != request.end() && !boost::beast::iequals(expectation->value(), "100-continue")) {
        return refusal(417, {"ExpectationFailed", "The server knows no expectation but 100-continue"});
    }
    if (page == Page::webSocket && !boost::beast::websocket::is_upgrade(request)) {
        HttpAnswer answer = refusal(426, {"UpgradeRequired", "There is a WebSocket here, and no page"});
        answer.fields.emplace_back(http::field::upgrade, "websocket");
        answer.fields.emplace_back(http::field::connection, "upgrade");
        return answer;
    }
    if (shared.isStopping && page != Page::health) {
        return refusal(503, {"Stopping", "The server is stopping"});
    }
    return std::nullopt;
}

void servePage(const std::shared_ptr<ServerShared>& shared, const std::shared_ptr<ThreadDoor>& door,
               std::string_view target, std::function<void(HttpAnswer)> completion)
{
    bool isMalformed = false;
    const auto limit = limitIn(target, isMalformed);
    if (isMalformed) {
        completion(refusal(400, {"BadRequest", "'limit' is a whole number"}));
        return;
    }
    // What the service answers is only taken along on its queue, which carries the messages, and made into a page here.
    switch (pageAt(pathOf(target)).value_or(Page::webSocket)) {
    case Page::webSocket:
        completion(refusal(404, {"NotFound", "There is no such page"}));
        return;
    case Page::health:
        completion(health(*shared));
        return;
    case Page::metrics:
        shared->service().figures([shared, door, completion = std::move(completion)](const ServiceFigures& figures) {
            door->post([shared, completion, figures] { completion(metrics(*shared, figures)); });
        });
        return;
    case Page::records:
        shared->service().serverLogRecords(
            limit.value_or(std::numeric_limits<std::size_t>::max()),
            [door, completion = std::move(completion)](std::vector<ServerLogRecord> records) {
                door->post([completion, records = std::move(records)]() mutable {
                    completion(jsonAnswer(recordsPage(std::move(records))));
                });
            });
        return;
    case Page::topics:
        shared->service().figures(
            [shared, door, limit, completion = std::move(completion)](const ServiceFigures& figures) {
                shared->service().topicFigures(
                    [shared, door, limit, completion, figures](std::vector<TopicFigures> topics) {
                        door->post([shared, limit, completion, figures, topics = std::move(topics)]() mutable {
                            completion(jsonAnswer(topicsPage(overviewOf(*shared, figures), std::move(topics), limit)));
                        });
                    });
            });
        return;
    }
}

HttpResponse makeResponse(HttpAnswer answer, unsigned version, bool keepsAlive, bool isHead, double now)
{
    HttpResponse response{static_cast<http::status>(answer.status), version};
    response.set(http::field::server, "vexa");
    response.set(http::field::date, httpDate(now));
    response.set(http::field::cache_control, "no-store");
    response.set(http::field::content_type, answer.contentType);
    response.keep_alive(keepsAlive && !answer.closes);
    for (const auto& [field, value] : answer.fields) {
        if (field == http::field::connection) {
            response.set(field, response[field].empty() ? value : joined({standard(response[field]), ", ", value}));
        } else {
            response.set(field, value);
        }
    }
    response.content_length(answer.body.size());
    if (!isHead) {
        response.body() = std::move(answer.body);
    }
    return response;
}

} // namespace vexa::host
