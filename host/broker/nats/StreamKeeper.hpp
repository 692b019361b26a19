#pragma once

#include <host/broker/nats/JetStream.hpp>
#include <host/broker/nats/NatsBrokerOptions.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vexa::host {

/// Looks after the stream: makes it, brings its limits up to date, notices when it is another one.
class StreamKeeper final : public std::enable_shared_from_this<StreamKeeper> {
public:
    /// What is known of the stream.
    struct Stream {
        std::uint64_t lastSequence = 0;
        bool isReplaced = false; ///< whether it was made anew since it was last looked at
    };

    /// Called with the stream, or with why it cannot be used now.
    using Handler = std::function<void(const std::optional<Stream>& stream, const std::string& reason)>;

    StreamKeeper(JetStream& jetStream, const NatsBrokerOptions& options);

    /// Looks the stream up, and makes it when it is missing. When it is found for the first time, its limits are set.
    /// The keeper must be owned by a shared pointer; nobody is called once that is gone.
    void find(Handler handler);

private:
    /// \param complaint  what is said when it fails; a text that lives for ever
    void configure(std::string_view request, std::string_view complaint, Handler handler);
    void useAnswer(const Dictionary& answer, const Handler& handler);
    [[nodiscard]] Dictionary configuration() const;

    JetStream& jetStream_;
    const NatsBrokerOptions& options_;
    bool isUpToDate_ = false;
    std::string created_; ///< when the stream was made, as JetStream writes it
};

} // namespace vexa::host
