#include <host/server/ListenAddress.hpp>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace vexa::host {
namespace {

std::string complaintAbout(const std::string& text)
{
    try {
        return "none, but " + ListenAddress::read(text).text();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

TEST(ListenAddress, ReadsAHostAndAPort)
{
    EXPECT_EQ(ListenAddress::read("127.0.0.1:4780"), (ListenAddress{"127.0.0.1", 4780}));
    EXPECT_EQ(ListenAddress::read("localhost:0"), (ListenAddress{"localhost", 0}));
    EXPECT_EQ(ListenAddress::read("[::1]:65535"), (ListenAddress{"::1", 65535}));
}

TEST(ListenAddress, WritesWhatItReads)
{
    for (const std::string text : {"127.0.0.1:4780", "localhost:1", "[::]:80"}) {
        EXPECT_EQ(ListenAddress::read(text).text(), text);
    }
}

TEST(ListenAddress, SaysWhatIsWrong)
{
    EXPECT_NE(complaintAbout("4780").find("HOST:PORT"), std::string::npos);
    EXPECT_NE(complaintAbout(":4780").find("the host is missing"), std::string::npos);
    EXPECT_NE(complaintAbout("::1:4780").find("brackets"), std::string::npos);
    for (const std::string text : {"host:", "host:65536", "host:-1", "host:80x", "host: 80"}) {
        EXPECT_NE(complaintAbout(text).find("from 0 to 65535"), std::string::npos) << text;
    }
}

} // namespace
} // namespace vexa::host
