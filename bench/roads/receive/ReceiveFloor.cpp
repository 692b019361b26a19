// The least that anyone has to do: the bytes of the same frames that a service sends, read much at once, framed by hand
// and parsed, without a thought for topics, reports or consumers.

#include <bench/roads/receive/ReceiveMeter.hpp>
#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Feeder.hpp>
#include <bench/roads/shared/JsonReader.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace {

using namespace vexa::bench;

constexpr std::size_t readBytes = std::size_t{64} * 1024;

/// The frames of a WebSocket that a service sends: unmasked and unfragmented.
class FrameReader {
public:
    explicit FrameReader(int socket) : socket_{socket}, bytes_(2 * readBytes) {}

    /// Hands each whole frame that has arrived to `use`, after waiting for something to arrive.
    template <class Use>
    void read(Use use)
    {
        if (bytes_.size() - end_ < readBytes) {
            bytes_.resize(2 * bytes_.size());
        }
        const std::size_t count = readSome(socket_, bytes_.data() + end_, readBytes);
        if (count == 0) {
            throw std::runtime_error{"the sender has closed the connection"};
        }
        end_ += count;
        std::size_t begin = 0;
        for (std::string_view frame = next(begin); frame.data() != nullptr; frame = next(begin)) {
            use(frame);
        }
        std::memmove(bytes_.data(), bytes_.data() + begin, end_ - begin);
        end_ -= begin;
    }

private:
    [[nodiscard]] std::size_t byteAt(std::size_t at) const { return static_cast<unsigned char>(bytes_[at]); }

    [[nodiscard]] std::size_t numberAt(std::size_t at, std::size_t size) const
    {
        constexpr std::size_t bitsPerByte = 8;
        std::size_t number = 0;
        for (std::size_t byte = 0; byte < size; ++byte) {
            number = (number << bitsPerByte) | byteAt(at + byte);
        }
        return number;
    }

    /// The payload of the frame at `begin`, which goes behind it; nothing when it has not arrived whole.
    [[nodiscard]] std::string_view next(std::size_t& begin) const
    {
        constexpr std::size_t lengthMask = 0x7f;
        constexpr std::size_t inTwoBytes = 126;
        constexpr std::size_t inEightBytes = 127;
        constexpr std::size_t plainHeader = 2;
        const std::size_t arrived = end_ - begin;
        if (arrived < plainHeader) {
            return {};
        }
        std::size_t length = byteAt(begin + 1) & lengthMask;
        const std::size_t more = length == inTwoBytes ? 2 : length == inEightBytes ? sizeof(std::uint64_t) : 0;
        if (arrived < plainHeader + more) {
            return {};
        }
        length = more > 0 ? numberAt(begin + plainHeader, more) : length;
        if (arrived - plainHeader - more < length) {
            return {};
        }
        const std::size_t payload = begin + plainHeader + more;
        begin = payload + length;
        return {bytes_.data() + payload, length};
    }

    const int socket_;
    std::vector<char> bytes_;
    std::size_t end_ = 0;
};

vexa::Dictionary receive(const ReceiveOptions& options)
{
    const ListeningSocket listening = ListeningSocket::open();
    Pipe acknowledgements = Pipe::open();
    ChildProcess sender = ChildProcess::running([&] {
        acknowledgements.writing = Descriptor{};
        const Descriptor socket = listening.accept();
        Feeder{socket.number(), acknowledgements.reading.number(), webSocketFrames(options.topics, options.batch)}.run(
            options.total(), options.window);
    });
    const Descriptor socket = connectTo(listening.port);
    ReceiveMeter meter{options, acknowledgements.writing.number()};
    FrameReader frames{socket.number()};
    const auto reader = std::make_unique<JsonReader>();
    meter.start();
    while (!meter.isDone()) {
        frames.read([&](std::string_view frame) {
            reader->read(frame, [&](const vexa::Value& message) {
                meter.received(message.get_object().at("messages").get_array().size());
            });
        });
    }
    meter.waitUntilDone(sender);
    return meter.figures("floor");
}

} // namespace

int main(int count, char** words)
{
    return receiveMain(count, words, {"read"}, receive);
}
