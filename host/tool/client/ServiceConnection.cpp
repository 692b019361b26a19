#include <host/tool/client/ServiceConnection.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/platform/Text.hpp>

#include <cstdio>
#include <string>
#include <utility>

namespace vexa::host {

namespace {

/// Seconds after which a connection that has not opened yet is worth a line.
constexpr double patience = 2;

} // namespace

/// Tells of the connection's state, where it is not what a person expects.
class ServiceConnection::Notes final : public OruClientConnectionListener, public std::enable_shared_from_this<Notes> {
public:
    Notes(std::weak_ptr<OruWebSocketClient> transport, const std::string& url)
        : transport_{std::move(transport)}, url_{escapeControlCharacters(url)}
    {}

    void connectionOpened() override
    {
        const std::lock_guard lock{mutex_};
        if (std::exchange(hasComplained_, false)) {
            note(joined({"vexa: connected to ", url_}));
        }
        isOpen_ = true;
    }

    void connectionClosed() override
    {
        const std::lock_guard lock{mutex_};
        isOpen_ = false;
        complain("lost the connection to ");
    }

    /// Complains unless there is a connection by now.
    void checkOpen()
    {
        const std::lock_guard lock{mutex_};
        if (!isOpen_ && !hasComplained_) {
            complain("still trying to connect to ");
        }
    }

    /// Nothing is worth a line any more.
    void end()
    {
        const std::lock_guard lock{mutex_};
        hasEnded_ = true;
    }

private:
    void complain(std::string_view what)
    {
        const auto transport = transport_.lock();
        if (hasEnded_ || transport == nullptr) {
            return;
        }
        hasComplained_ = true;
        const std::string reason = transport->lastError();
        note(joined({"vexa: ", what, url_, reason.empty() ? "" : ": ", escapeControlCharacters(reason)}));
    }

    const std::weak_ptr<OruWebSocketClient> transport_;
    const std::string url_;
    std::mutex mutex_;
    bool isOpen_ = false;
    bool hasComplained_ = false;
    bool hasEnded_ = false;
};

ServiceConnection::ServiceConnection(const ConnectionOptions& options,
                                     std::shared_ptr<OruClientConnectionListener> listener)
{
    SystemPlatform& platform = SystemPlatform::shared();
    platform.setLogSink(options.isVerbose ? LogSink{&note} : LogSink{[](std::string_view) {}});
    OruWebSocketClientOptions transport = transportOptions(options);
    if (options.isVerbose) {
        transport.console = &note;
    }
    transport_ = OruWebSocketClient::make(std::move(transport), platform);
    notes_ = std::make_shared<Notes>(transport_, options.url);
    transport_->addConnectionListener(notes_);
    if (listener != nullptr) {
        transport_->addConnectionListener(std::move(listener));
    }
    platform.makeQueue("vexanotes")->asyncAfter(patience, [notes = notes_] { notes->checkOpen(); });
    transport_->start();
}

ServiceConnection::~ServiceConnection()
{
    notes_->end();
    transport_->stop();
}

void note(std::string_view line)
{
    static std::mutex mutex;
    const std::lock_guard lock{mutex};
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
}

} // namespace vexa::host
