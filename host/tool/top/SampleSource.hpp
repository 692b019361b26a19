#pragma once

#include <host/tool/client/ConnectionOptions.hpp>
#include <host/tool/client/HttpClient.hpp>
#include <host/tool/top/ServiceSample.hpp>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace vexa::host {

/// There is no sample. The text is a sentence, without a full stop, that says why and what to do.
class SampleFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Asks a service for its pages again and again. For the thread of the context.
class SampleSource {
public:
    /// Throws std::exception, with a sentence that says what is wrong, when the options cannot be used.
    ///
    /// \param atMost  topics are asked for, the busiest ones; all when absent
    SampleSource(boost::asio::io_context& context, const ConnectionOptions& options, std::optional<std::size_t> atMost);

    /// Where the service is.
    [[nodiscard]] const std::string& url() const noexcept { return url_; }

    /// Takes one sample. Throws SampleFailure when there is none.
    [[nodiscard]] boost::asio::awaitable<ServiceSample> take();

    using Taken = std::function<void(ServiceSample sample)>;
    using Failed = std::function<void(const std::string& reason)>;

    /// Takes one sample after the other, `interval` seconds from one beginning to the next, and never ends by itself.
    [[nodiscard]] boost::asio::awaitable<void> takeForEver(double interval, Taken taken, Failed failed);

private:
    boost::asio::awaitable<HttpReply> page(std::string name, bool mayBeUnavailable);
    [[nodiscard]] std::string advice(HttpTrouble trouble) const;

    boost::asio::io_context& context_;
    const std::string url_;
    const bool isVerbose_;
    const std::string topicsPage_;
    std::string folder_;
    std::optional<HttpClient> client_;
};

} // namespace vexa::host
