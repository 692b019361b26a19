#pragma once

#include <host/broker/Broker.hpp>
#include <host/server/ServerShared.hpp>
#include <host/server/ThreadDoor.hpp>

#include <boost/beast/http/field.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/system/error_code.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What a server answers to HTTP requests (RFC 9110), apart from how requests and responses travel.
namespace vexa::host {

/// The head of a request. Its body never matters.
using HttpRequest = boost::beast::http::request_header<>;
using HttpResponse = boost::beast::http::response<boost::beast::http::string_body>;

struct HttpAnswer {
    unsigned status = 200;
    std::string contentType;
    std::string body;
    std::vector<std::pair<boost::beast::http::field, std::string>> fields;
    bool closes = false; ///< whether the connection cannot go on
};

/// An answer that is an error, with a JSON body that says so.
[[nodiscard]] HttpAnswer refusal(unsigned status, const ServiceError& error);

/// Answers a request that could not be read; nothing when nobody is there to read an answer.
[[nodiscard]] std::optional<HttpAnswer> answerToUnreadable(const boost::system::error_code& error);

/// Why a request is refused, by its head alone; nothing when it is to be answered by servePage() or, when it asks for
/// an upgrade, by opening a WebSocket.
[[nodiscard]] std::optional<HttpAnswer> refuse(ServerShared& shared, const HttpRequest& request);

/// Makes the page that a request asks for, which refuse() has let pass. `completion` is called once, on the thread of
/// `door`, which is the calling one; also before this returns.
void servePage(const std::shared_ptr<ServerShared>& shared, const std::shared_ptr<ThreadDoor>& door,
               std::string_view target, std::function<void(HttpAnswer answer)> completion);

/// The response that carries an answer to a request of a version and method. A response to HEAD has the fields, but no
/// body (RFC 9110, section 9.3.2).
[[nodiscard]] HttpResponse makeResponse(HttpAnswer answer, unsigned version, bool keepsAlive, bool isHead, double now);

} // namespace vexa::host
