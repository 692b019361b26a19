#include <host/service/ClientConnection.hpp>
#include <host/service/Session.hpp>

#include <utility>

namespace vexa::host {

Session::Session(std::shared_ptr<ClientConnection> connection) noexcept : connection_{std::move(connection)} {}

Session::~Session()
{
    close();
}

Session& Session::operator=(Session&& other) noexcept
{
    if (this != &other) {
        close();
        connection_ = std::move(other.connection_);
    }
    return *this;
}

void Session::receive(Message message)
{
    if (connection_ != nullptr) {
        connection_->queue().async(
            [connection = connection_, message = std::move(message)] { connection->receive(message); });
    }
}

void Session::whenHandled(std::function<void()> then)
{
    if (connection_ != nullptr) {
        connection_->queue().async(
            [connection = connection_, then = std::move(then)]() mutable { connection->whenHandled(std::move(then)); });
    }
}

void Session::close() noexcept
{
    if (const auto connection = std::exchange(connection_, nullptr)) {
        connection->queue().async([connection] { connection->close(); });
    }
}

} // namespace vexa::host
