#include <host/tool/top/CursesScreen.hpp>
#include <host/tool/top/TopScreen.hpp>
#include <host/tool/top/TopView.hpp>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr int exitCodeOfSignals = 128;

/// Whether the other end of the terminal is gone.
bool hasHungUp(int descriptor)
{
    pollfd state{descriptor, POLLIN, 0};
    return ::poll(&state, 1, 0) == 1 && (state.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

/// Brings together the samples, the keys, the signals and the screen.
class TopScreen {
public:
    TopScreen(boost::asio::io_context& context, SampleSource& source, const TopicOrder& order)
        : context_{context},
          endings_{context},
          resizings_{context, SIGWINCH},
          keys_{context},
          view_{source.url(), order, screen_.hasUnicode()}
    {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
            endings_.add(signal);
        }
        endings_.async_wait([this](const boost::system::error_code& error, int signal) {
            if (!error) {
                end(exitCodeOfSignals + signal);
            }
        });
        waitForResizing();
        if (::isatty(STDIN_FILENO) == 1) {
            keys_.assign(::dup(STDIN_FILENO));
            waitForKeys();
        }
        draw();
    }

    void sampled(ServiceSample sample)
    {
        view_.sampled(std::move(sample));
        draw();
    }

    void failed(const std::string& reason)
    {
        view_.failed(reason);
        draw();
    }

    [[nodiscard]] int exitCode() const noexcept { return exitCode_; }

private:
    void end(int exitCode)
    {
        exitCode_ = exitCode;
        context_.stop();
    }

    void waitForResizing()
    {
        resizings_.async_wait([this](const boost::system::error_code& error, int /*signal*/) {
            if (!error) {
                screen_.resize();
                draw();
                waitForResizing();
            }
        });
    }

    void waitForKeys()
    {
        keys_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                         [this](const boost::system::error_code& error) {
                             if (!error) {
                                 takeKeys();
                             }
                         });
    }

    void takeKeys()
    {
        bool isPressed = false;
        while (const auto key = screen_.nextKey()) {
            isPressed = true;
            if (!view_.press(*key)) {
                end(0);
                return;
            }
        }
        if (!isPressed && hasHungUp(STDIN_FILENO)) {
            end(exitCodeOfSignals + SIGHUP);
            return;
        }
        draw();
        waitForKeys();
    }

    void draw() { screen_.draw(view_.lines(screen_.size())); }

    boost::asio::io_context& context_;
    boost::asio::signal_set endings_;
    boost::asio::signal_set resizings_;
    boost::asio::posix::stream_descriptor keys_;
    CursesScreen screen_;
    TopView view_;
    int exitCode_ = 0;
};

} // namespace

int runTopScreen(boost::asio::io_context& context, SampleSource& source, double interval, const TopicOrder& order)
{
    TopScreen screen{context, source, order};
    boost::asio::co_spawn(context,
                          source.takeForEver(
                              interval, [&screen](ServiceSample sample) { screen.sampled(std::move(sample)); },
                              [&screen](const std::string& reason) { screen.failed(reason); }),
                          [](const std::exception_ptr& exception) {
                              if (exception != nullptr) {
                                  std::rethrow_exception(exception);
                              }
                          });
    context.run();
    return screen.exitCode();
}

} // namespace vexa::host
