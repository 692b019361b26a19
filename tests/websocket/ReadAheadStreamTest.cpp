#include <host/websocket/ReadAheadStream.hpp>

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/_experimental/test/stream.hpp>

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace vexa::host {
namespace {

class ReadAheadStreamTest : public ::testing::Test {
protected:
    ReadAheadStreamTest() { stream.next_layer().connect(peer); }

    /// Reads up to `size` bytes; "error: ..." when that fails.
    std::string read(std::size_t size)
    {
        std::array<char, 4096> bytes{};
        std::string result;
        stream.async_read_some(boost::asio::buffer(bytes.data(), size),
                               [&](const boost::system::error_code& error, std::size_t count) {
                                   result = error ? "error: " + error.message() : std::string{bytes.data(), count};
                               });
        context.restart();
        context.run();
        return result;
    }

    boost::asio::io_context context{1};
    boost::beast::test::stream peer{context};
    ReadAheadStream<boost::beast::test::stream> stream{context};
};

TEST_F(ReadAheadStreamTest, manySmallReadsAskTheStreamBelowOnce)
{
    peer.write_some(boost::asio::buffer(std::string{"one, two, three"}));
    EXPECT_EQ(read(3), "one");
    EXPECT_EQ(read(2), ", ");
    EXPECT_EQ(read(100), "two, three");
    EXPECT_EQ(stream.next_layer().nread(), 1U);
    EXPECT_EQ(stream.received(), 15U);
}

TEST_F(ReadAheadStreamTest, whatCameBeforeTheEndIsReadBeforeIt)
{
    peer.write_some(boost::asio::buffer(std::string{"last words"}));
    peer.close();
    EXPECT_EQ(read(5), "last ");
    EXPECT_EQ(read(5), "words");
    EXPECT_EQ(read(5), "error: " + boost::system::error_code{boost::asio::error::eof}.message());
}

TEST_F(ReadAheadStreamTest, aReadOfNothingWaitsForNothing)
{
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(stream.next_layer().nread(), 0U);
}

} // namespace
} // namespace vexa::host
